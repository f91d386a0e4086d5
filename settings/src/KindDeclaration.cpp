// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Declared.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <filesystem/Direct.h>

#include "Access.h"
#include "Declarations.h"
#include "Locks.h"
#include "Names.h"
#include "Overrides.h"
#include "Recall.h"
#include "Record.h"
#include "velmorand/AnyValue.h"
#include "velmorand/Property.h"

namespace velmorand::detail {

namespace {

template <class Kind>
struct Fetched {
    std::optional<Kind> value;
    std::uint64_t state; ///< of the register; 0 if the value must not be kept
    std::string problem; ///< why an existing value cannot be read; otherwise empty
};

/** Fetches the value in force. Reports an invalid value as a `problem` instead of throwing an exception. */
template <class Kind>
Fetched<Kind> fetch(std::string const& name) {
    Access const settings;
    if (!settings)
        return {std::nullopt, 0, {}};
    // Changes that a thread makes while it holds the lock must not be visible to other threads until it releases it.
    std::uint64_t const now = settings.isOutermost() ? registerState.load(std::memory_order_relaxed) : 0;
    auto const entry = findInForce(*settings, name);
    switch (entry.kind) {
    case filesystem::direct::Kind::none:
        return {std::nullopt, now, {}};
    case filesystem::direct::Kind::directory:
        return {std::nullopt, now, expectedInsteadOf<Kind>("a group")};
    case filesystem::direct::Kind::file:
        break;
    }
    if (auto value = decoded<Kind>(entry.content))
        return {std::move(value), now, {}};
    return {std::nullopt, now, whyNotDecoded<Kind>(entry.content)};
}

} // namespace

template <class Kind>
KindDeclaration<Kind>::KindDeclaration(std::string name, Fallback fallback, std::size_t keptSize)
    : Declaration(std::move(name), fallback, keptSize) {}

template <class Kind>
KindDeclaration<Kind>::~KindDeclaration() = default;

template <class Kind>
void KindDeclaration<Kind>::readInto(void* value) {
    auto const fetched = fetch<Kind>(name());
    void const* inForce = fetched.value ? load(*fetched.value, value) : nullptr;
    // A computed fallback may differ the next time.
    bool const isLasting = inForce != nullptr || _state->fallback == Fallback::constant;
    if (inForce == nullptr)
        inForce = loadFallback(value);
    if (_state->keptSize == 0 || !isLasting)
        return;
    std::uint64_t bits = 0;
    std::memcpy(&bits, inForce, _state->keptSize);
    rememberIn(_state->state, _state->bits, fetched.state, bits);
}

template <class Kind>
std::string KindDeclaration<Kind>::problem() const {
    auto fetched = fetch<Kind>(name());
    std::string const problem = fetched.value ? objectionTo(*fetched.value) : std::move(fetched.problem);
    if (!problem.empty())
        return name() + ": " + problem;
    return fetched.value ? std::string() : objectionToName(name());
}

template <class Kind>
std::string KindDeclaration<Kind>::problemOf(std::string_view record) const {
    auto const value = decoded<Kind>(record);
    return value ? objectionTo(*value) : whyNotDecoded<Kind>(record);
}

template <class Kind>
void KindDeclaration<Kind>::store(Kind const& value, void* sender) const {
    RequiredAccess const settings("cannot write", name());
    requireFits(name(), value);
    bool const isSame = filesystem::direct::find(*settings, {"user"}, name()).content == encoded(value);
    if (!isSame || velmorand::isLocked(*settings, name()))
        detail::store(name(), value, SCOPE_USER, sender);
}

template <class Kind>
void KindDeclaration<Kind>::override(Kind const& value, void* sender) const {
    putOverride(name(), value, sender);
}

template <class Kind>
void KindDeclaration<Kind>::describe(DeclaredProperty& description) const {
    description.kind = kindNames.at(AnyValue(Kind()).index());
    description.problem = problem();
    describeDetails(description);
}

template class KindDeclaration<std::string>;
template class KindDeclaration<double>;
template class KindDeclaration<int>;
template class KindDeclaration<bool>;
template class KindDeclaration<std::vector<std::string>>;
template class KindDeclaration<std::vector<double>>;
template class KindDeclaration<std::vector<int>>;
template class KindDeclaration<std::vector<bool>>;

} // namespace velmorand::detail
