#include "bench/Conversation.h"

#include "BrellinCore/platform/Pipe.h"
#include "bench/Spawn.h"

#include <sys/ioctl.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace brellin::bench {

namespace {

// Reserved and touched once, so that no turn pays for the growth of the buffer.
constexpr std::size_t largestReplies = std::size_t{8} << 20U;

}  // namespace

Conversation::Conversation(const std::vector<std::string>& command, const Environment& environment)
    : replies_(largestReplies) {
    auto input = Pipe::open();
    auto output = Pipe::open();
    if (!input || !output) {
        throw std::runtime_error("no pipe");
    }
    pid_ = spawn(command, environment, input->readEnd.get(), output->writeEnd.get());
    toProgram_ = std::move(input->writeEnd);
    fromProgram_ = std::move(output->readEnd);
}

Conversation::~Conversation() {
    toProgram_.close();
    fromProgram_.close();
    waitForExit(pid_);
}

std::string_view Conversation::ask(std::string_view lines, std::size_t count) {
    std::size_t filled = 0;
    bool open = toProgram_.writeAll(lines);
    while (open && count > 0) {
        char* piece = replies_.data() + filled;
        const auto size = fromProgram_.readSome(piece, replies_.size() - filled).value_or(0);
        filled += size;
        count -= std::min(count, static_cast<std::size_t>(std::count(piece, piece + size, '\n')));
        open = size > 0;
    }
    if (!open) {
        throw std::runtime_error("a program ended in the middle of its conversation");
    }
    return {replies_.data(), filled};
}

std::string_view Conversation::askUndisturbed(std::string_view lines, std::size_t replySize) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    toProgram_.writeAll(lines);
    while (waitingBytes() < replySize) {
        if (std::chrono::steady_clock::now() > end) {
            throw std::runtime_error("a program does not answer");
        }
        std::this_thread::yield();
    }
    return {replies_.data(), fromProgram_.readSome(replies_.data(), replies_.size()).value_or(0)};
}

std::size_t Conversation::waitingBytes() const {
    int count = 0;
    if (::ioctl(fromProgram_.get(), FIONREAD, &count) != 0) {
        throw std::runtime_error("a pipe does not tell what is in it");
    }
    return static_cast<std::size_t>(count);
}

long Conversation::residentKilobytes() const {
    std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
    for (std::string word; status >> word;) {
        if (word == "VmRSS:") {
            long kilobytes = 0;
            status >> kilobytes;
            return kilobytes;
        }
    }
    return 0;
}

}  // namespace brellin::bench
