#include "BrellinCore/platform/SystemPrograms.h"

#include <unistd.h>

namespace brellin::SystemPrograms {

const char* ps() {
    return "/bin/ps";
}

const char* lsof() {
    // macOS has it in sbin, most Linux distributions in bin.
    constexpr const char* preferred = "/usr/sbin/lsof";
    return ::access(preferred, F_OK) == 0 ? preferred : "/usr/bin/lsof";
}

}  // namespace brellin::SystemPrograms
