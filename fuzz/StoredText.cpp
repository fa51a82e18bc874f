#include "BrellinCore/store/Store.h"
#include "fuzz/Target.h"
#include "tests/world/TemporaryDirectory.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <optional>
#include <string>
#include <vector>

namespace brellin {

namespace {

using fuzz::require;

/// Takes everything back that one input wrote: events cannot be deleted, and the database must not grow.
class Undone {
  public:
    explicit Undone(Store& store) : store_(store) { store_.rawExecForTesting("BEGIN"); }
    Undone(const Undone&) = delete;
    Undone& operator=(const Undone&) = delete;
    ~Undone() { store_.rawExecForTesting("ROLLBACK"); }

  private:
    Store& store_;
};

/// What the store keeps of a text: all of it up to the first NUL.
std::string kept(const std::string& text) {
    return text.substr(0, text.find('\0'));
}

std::optional<std::string> kept(const std::optional<std::string>& text) {
    return text ? std::optional(kept(*text)) : std::nullopt;
}

class Inputs {
  public:
    explicit Inputs(std::string_view bytes)
        : data_(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()) {}

    std::string text() { return data_.ConsumeRandomLengthString(longestText); }
    std::optional<std::string> optionalText() {
        return data_.ConsumeBool() ? std::optional(text()) : std::nullopt;
    }
    template <typename Number>
    Number number() {
        return data_.ConsumeIntegral<Number>();
    }

  private:
    static constexpr std::size_t longestText = 200;
    FuzzedDataProvider data_;
};

void feedNames(Store& store, const std::string& sessionId, Inputs& inputs) {
    const std::string name = inputs.text();
    const auto ref = inputs.optionalText();
    const auto from = inputs.number<std::int64_t>();
    const auto to = inputs.number<std::int64_t>();
    store.openName(sessionId, name, ref, inputs.optionalText(), from);
    require(store.currentName(sessionId) == CurrentName{kept(name), kept(ref)}, "an open name is current");
    require(
        store.nameHistory(sessionId) == std::vector{NameWindow{kept(name), kept(ref), from, std::nullopt}},
        "an open name is in the history");
    store.closeName(sessionId, to);
    require(!store.currentName(sessionId), "a closed name is not current");
    require(store.nameHistory(sessionId) == std::vector{NameWindow{kept(name), kept(ref), from, to}},
            "a closed name stays in the history");
}

void feedEvents(Store& store, const std::string& sessionId, Inputs& inputs) {
    const std::string kind = inputs.text();
    const auto detail = inputs.optionalText();
    const std::string certainty = inputs.text();
    const auto at = inputs.number<std::int64_t>();
    require(!store.hasEvent(sessionId, kind), "nothing has happened yet");
    store.appendEvent(sessionId, kind, detail, certainty, at);
    require(store.hasEvent(sessionId, kind), "an event has happened");
    require(
        store.events(sessionId) == std::vector{StoredEvent{at, kept(kind), kept(detail), kept(certainty)}},
        "an event is kept as it is");
}

}  // namespace

void fuzz::feed(std::string_view input) {
    static const world::TemporaryDirectory root;
    static Store store(root.path());
    const Undone undone(store);
    Inputs inputs(input);

    const std::string path = inputs.text();
    store.recordAccount({.path = path, .label = inputs.text(), .identityEmail = inputs.optionalText()},
                        inputs.number<std::int64_t>());
    const std::string sessionId = inputs.text();
    store.upsertSession({.sessionId = sessionId,
                         .accountPath = path,
                         .cwd = inputs.optionalText(),
                         .startedAt = inputs.number<std::int64_t>()},
                        inputs.number<std::int64_t>());
    require(store.knownSessionIds() == std::set{kept(sessionId)}, "a session is known by its id");
    feedNames(store, sessionId, inputs);
    feedEvents(store, sessionId, inputs);
    store.appendObservation(sessionId, inputs.number<std::int32_t>(), {.method = inputs.text()},
                            inputs.optionalText(), inputs.number<std::int64_t>());
    const std::string key = inputs.text();
    store.ensureEntity(key, inputs.text(), inputs.number<std::int64_t>());
    require(store.knownSessionIds() == std::set{kept(sessionId), kept(key)},
            "a target is known by its key");
}

}  // namespace brellin
