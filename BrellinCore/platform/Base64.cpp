#include "BrellinCore/platform/Base64.h"

#include <sodium.h>

namespace brellin {

std::string base64(std::string_view bytes) {
    std::string text(sodium_base64_ENCODED_LEN(bytes.size(), sodium_base64_VARIANT_ORIGINAL), '\0');
    sodium_bin2base64(text.data(), text.size(), reinterpret_cast<const unsigned char*>(bytes.data()),
                      bytes.size(), sodium_base64_VARIANT_ORIGINAL);
    text.pop_back();  // the zero byte that ends it
    return text;
}

}  // namespace brellin
