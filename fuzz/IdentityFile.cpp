#include "BrellinCore/text/JsonReader.h"
#include "fuzz/JsonDocument.h"
#include "fuzz/Pieces.h"
#include "fuzz/Target.h"

#include <array>

namespace brellin {

void fuzz::feed(std::string_view input) {
    std::optional<std::string> address;
    const auto members = std::to_array<JsonReader::Member>({{"emailAddress", &address, "oauthAccount"}});
    const auto document = JsonDocument::parse(input);
    const auto expected = JsonDocument::text(JsonDocument::at(document, "/oauthAccount/emailAddress"));
    const bool isObject = document && document->is_object();

    require(JsonReader::read(input, members) == isObject,
            "what is not an object, and that alone, is refused");
    require(address == expected, "the address is that of the document");
    require(readInPieces(input, members) == isObject, "pieces are refused for the same reasons");
    require(address == expected, "the address is the same in pieces");
}

}  // namespace brellin
