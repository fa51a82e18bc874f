#include "BrellinCore/platform/StandardOutput.h"

#include "BrellinCore/platform/Descriptor.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

namespace brellin::StandardOutput {

Outcome write(std::string_view text) {
    static const Descriptor output(STDOUT_FILENO);
    if (output.writeAll(text)) {
        return Outcome::written;
    }
    return errno == EPIPE ? Outcome::readerGone : Outcome::failed;
}

bool isTerminal() {
    return ::isatty(STDOUT_FILENO) == 1;
}

std::optional<std::size_t> columns() {
    winsize size{};
    const bool isKnown = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? std::optional<std::size_t>(size.ws_col) : std::nullopt;
}

}  // namespace brellin::StandardOutput
