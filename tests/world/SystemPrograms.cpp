#include "BrellinCore/platform/SystemPrograms.h"

#include <cstdlib>

// Takes the library's place in the executables that fault tests start: the tests choose what `ps` and `lsof` are.
namespace brellin::SystemPrograms {

const char* ps() {
    return std::getenv("HAVRICK_TEST_PS");
}

const char* lsof() {
    return std::getenv("HAVRICK_TEST_LSOF");
}

}  // namespace brellin::SystemPrograms
