#include "BrellinCore/text/Utf8.h"
#include "BrellinCore/watch/WatchList.h"
#include "fuzz/Target.h"

namespace brellin {

void fuzz::feed(std::string_view input) {
    const WatchList::Loaded loaded = WatchList::fromDocument(input);
    const std::string document = loaded.list.document();
    require(Utf8::isValid(document), "a list's file is UTF-8");
    const WatchList::Loaded again = WatchList::fromDocument(document);
    require(again.skipped == 0, "a list holds only what its file may hold");
    require(again.list == loaded.list, "a list that is written out is read as the same");
    require(again.list.document() == document, "a list has one written form");
}

}  // namespace brellin
