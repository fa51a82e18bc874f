#include "BrellinCore/platform/StandardOutput.h"

#include "BrellinCore/platform/Descriptor.h"

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

}  // namespace brellin::StandardOutput
