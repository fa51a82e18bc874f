#include "BrellinCore/platform/Sha256.h"

#include <sodium.h>

namespace brellin {

std::array<unsigned char, 32> sha256(std::string_view bytes) {
    // sodium_init is left out on purpose: hashing needs none of what it sets up (the random source, the
    // choice of implementations), and it ends the process where no descriptor is left to open.
    std::array<unsigned char, 32> digest{};
    static_assert(digest.size() == crypto_hash_sha256_BYTES);
    crypto_hash_sha256(digest.data(), reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    return digest;
}

}  // namespace brellin
