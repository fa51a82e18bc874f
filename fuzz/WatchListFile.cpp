#include "BrellinCore/text/Utf8.h"
#include "BrellinCore/watch/WatchList.h"
#include "fuzz/JsonDocument.h"
#include "fuzz/Target.h"

#include <algorithm>

namespace brellin {

namespace json = boost::json;

void fuzz::feed(std::string_view input) {
    const WatchList::Loaded loaded = WatchList::fromDocument(input);
    const auto value = JsonDocument::parse(input);
    const json::array* specs = value ? value->if_array() : nullptr;
    const bool isList = specs != nullptr && std::ranges::all_of(*specs, [](const json::value& spec) {
                            return spec.is_string();
                        });
    require(loaded.isReadable == isList, "a list of strings, and nothing else, is a watch list");
    require(loaded.list.targets.size() + loaded.skipped == (isList ? specs->size() : 0),
            "every entry counts");
    const std::string document = loaded.list.document();
    require(Utf8::isValid(document), "a list's file is UTF-8");
    const WatchList::Loaded again = WatchList::fromDocument(document);
    require(again.skipped == 0, "a list holds only what its file may hold");
    require(again.list == loaded.list, "a list that is written out is read as the same");
    require(again.list.document() == document, "a list has one written form");
}

}  // namespace brellin
