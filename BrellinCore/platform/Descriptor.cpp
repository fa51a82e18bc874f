#include "BrellinCore/platform/Descriptor.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace brellin {

namespace {

/// Decides after a failed read or write whether to try again. A host may hand down a descriptor that does
/// not block; then the wait happens here.
bool mayTryAgain(int descriptor, short event) {
    if (errno == EINTR) {
        return true;
    }
    if (errno != EAGAIN && errno != EWOULDBLOCK) {
        return false;
    }
    pollfd waiting{descriptor, event, 0};
    return ::poll(&waiting, 1, -1) >= 0 || errno == EINTR;
}

}  // namespace

Descriptor::Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    if (this != &other) {
        close();
        number_ = std::exchange(other.number_, -1);
    }
    return *this;
}

Descriptor::~Descriptor() {
    close();
}

void Descriptor::close() noexcept {
    if (number_ >= 0) {
        ::close(std::exchange(number_, -1));
    }
}

std::optional<std::size_t> Descriptor::readSome(char* buffer, std::size_t size) const {
    for (;;) {
        const ssize_t count = ::read(number_, buffer, size);
        if (count >= 0) {
            return static_cast<std::size_t>(count);
        }
        if (!mayTryAgain(number_, POLLIN)) {
            return std::nullopt;
        }
    }
}

bool Descriptor::writeAll(std::string_view bytes) const {
    while (!bytes.empty()) {
        const ssize_t count = ::write(number_, bytes.data(), bytes.size());
        if (count >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (!mayTryAgain(number_, POLLOUT)) {
            return false;
        }
    }
    return true;
}

}  // namespace brellin
