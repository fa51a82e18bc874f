#include "BrellinCore/text/Utf8.h"
#include "BrellinCore/watch/WatchList.h"
#include "fuzz/Target.h"

namespace brellin {

void fuzz::feed(std::string_view input) {
    const auto target = WatchTarget::fromSpec(input);
    if (!target) {
        return;
    }
    const auto again = WatchTarget::fromSpec(target->key());
    require(again == target && again->key() == target->key(), "a key is a spec of the same target");
    require(std::hash<WatchTarget>()(*again) == std::hash<WatchTarget>()(*target),
            "equal targets have equal hashes");
    require(!target->describe().empty(), "a target can be described");

    WatchList list;
    require(list.add(*target) && !list.add(*again), "a key stands in a list once");
    const std::string document = list.document();
    require(Utf8::isValid(document), "a list's file is UTF-8");
    const WatchList::Loaded loaded = WatchList::fromDocument(document);
    require(loaded.skipped == 0 && loaded.list.targets.size() == 1, "a target is kept");
    require(!Utf8::isValid(input) || loaded.list == list, "a target that is a text is kept as it is");
    require(list.remove(target->key()) && list.targets.empty(), "a target is removed by its key");
}

}  // namespace brellin
