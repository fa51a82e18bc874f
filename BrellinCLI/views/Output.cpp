#include "BrellinCLI/views/Output.h"

#include "BrellinCore/platform/StandardOutput.h"
#include "BrellinCore/text/Utf8.h"

#include <fmt/format.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <utility>

namespace brellin::cli {

namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 5> signColours = {{
    {"● ", "\033[32m"},
    {"✓ ", "\033[32m"},
    {"! ", "\033[33m"},
    {"✕ ", "\033[31m"},
    {"? ", "\033[33m"},
}};

bool wantsColour() {
    const char* noColour = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return (noColour == nullptr || *noColour == '\0') && terminal != nullptr &&
           std::string_view(terminal) != "dumb";
}

std::string withColour(std::string line) {
    for (const auto& [sign, colour] : signColours) {
        if (line.starts_with(sign)) {
            return fmt::format("{}{}\033[0m{}", colour, sign, std::string_view(line).substr(sign.size()));
        }
    }
    return line;
}

std::string forTerminal(std::string_view text) {
    const bool coloured = wantsColour();
    std::string result;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        std::string line = Utf8::printable(text.substr(start, end - start));
        result += (coloured ? withColour(std::move(line)) : line) + "\n";
        start = end + 1;
    }
    return result;
}

}  // namespace

void print(std::string_view text) {
    const std::string bytes = StandardOutput::isTerminal() ? forTerminal(text) : fmt::format("{}\n", text);
    switch (StandardOutput::write(bytes)) {
        case StandardOutput::Outcome::written:
            return;
        case StandardOutput::Outcome::readerGone:
            throw ReaderGone();
        case StandardOutput::Outcome::failed:
            throw std::runtime_error("standard output cannot be written");
    }
}

void printError(std::string_view text) noexcept {
    try {
        const std::string line = fmt::format("havrick: {}\n", Utf8::printable(text));
        std::fwrite(line.data(), 1, line.size(), stderr);
    } catch (const std::exception&) {
        return;  // no memory for a complaint
    }
}

}  // namespace brellin::cli
