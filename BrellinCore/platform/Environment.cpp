#include "BrellinCore/platform/Environment.h"

#include <unistd.h>

#include <string_view>

extern char** environ;  // NOLINT: macOS leaves the declaration to the program

namespace brellin {

Environment processEnvironment() {
    Environment environment;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view text = *entry;
        const std::size_t equals = text.find('=');
        if (equals != std::string_view::npos) {
            environment.emplace(text.substr(0, equals), text.substr(equals + 1));
        }
    }
    return environment;
}

}  // namespace brellin
