#pragma once

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

}  // namespace StandardOutput

}  // namespace brellin
