#include "BrellinCore/accounts/IdentityReader.h"
#include "BrellinCore/text/Utf8.h"
#include "fuzz/Target.h"

#include <boost/json/serialize.hpp>

namespace brellin {

void fuzz::feed(std::string_view input) {
    const auto address = IdentityReader::emailInDocument(input);
    if (!address) {
        return;
    }
    require(!address->empty() && Utf8::isValid(*address), "an address is a text");
    const boost::json::object document = {{"oauthAccount", {{"emailAddress", *address}}}};
    require(IdentityReader::emailInDocument(boost::json::serialize(document)) == address,
            "an address that is written out is read as the same");
}

}  // namespace brellin
