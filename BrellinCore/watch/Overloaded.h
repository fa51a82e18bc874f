#pragma once

namespace brellin {

/// One function object out of several, for std::visit: a variant with a case that none of them takes does
/// not compile.
template <typename... Handlers>
struct Overloaded : Handlers... {
    using Handlers::operator()...;
};
template <typename... Handlers>
Overloaded(Handlers...) -> Overloaded<Handlers...>;  // clang 14 does not deduce it by itself

}  // namespace brellin
