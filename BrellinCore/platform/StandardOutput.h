#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace brellin {

/// This process's standard output, unbuffered.
namespace StandardOutput {

enum class Outcome {
    written,
    readerGone,  ///< the pipe's other end is closed: nobody wants more
    failed,      ///< the disk is full, or the like
};

Outcome write(std::string_view text);

/// True when a person reads it.
bool isTerminal();

/// How many columns the terminal has; nullopt when it is none, or does not say.
std::optional<std::size_t> columns();

}  // namespace StandardOutput

}  // namespace brellin
