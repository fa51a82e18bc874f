#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace brellin::fuzz {

/// What a target does with one input. Every target defines it in a source file of its own; the sanitizers
/// watch over memory and arithmetic, `require` over everything else.
void feed(std::string_view input);

/// Ends the process when a property does not hold; libFuzzer then keeps the input.
inline void require(bool condition, const char* property) {
    if (!condition) {
        std::fprintf(stderr, "violated: %s\n", property);
        std::abort();
    }
}

}  // namespace brellin::fuzz
