#include "BrellinCore/accounts/ClaudeAccount.h"

namespace brellin {

std::string_view rawValue(ClaudeAccount::Source source) {
    switch (source) {
        case ClaudeAccount::Source::defaultHome:
            return "defaultHome";
        case ClaudeAccount::Source::environment:
            return "environment";
        case ClaudeAccount::Source::alias:
            return "alias";
        case ClaudeAccount::Source::orphanDirectory:
            return "orphanDirectory";
    }
    return {};
}

std::optional<ClaudeAccount::Source> sourceFromRaw(std::string_view text) {
    using enum ClaudeAccount::Source;
    for (const ClaudeAccount::Source source : {defaultHome, environment, alias, orphanDirectory}) {
        if (rawValue(source) == text) {
            return source;
        }
    }
    return std::nullopt;
}

bool ClaudeAccount::ByRawValue::operator()(Source left, Source right) const {
    return rawValue(left) < rawValue(right);
}

}  // namespace brellin
