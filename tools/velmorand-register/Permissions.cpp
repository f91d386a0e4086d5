// SPDX-License-Identifier: Apache-2.0
#include "Permissions.h"

#include "Catalogues.h"
#include "Expectation.h"
#include "NearestName.h"

namespace tool {

namespace {

Locks locksIn(Places const& places) {
    if (!places.globalDirectory || places.scope.value_or(Scope::user) != Scope::user)
        return {};
    Settings global;
    fileIn(directoryOf(places, Scope::global)).load(global);
    return Locks(global);
}

} // namespace

Permissions::Permissions(Places const& places)
    : _declarations(readCatalogues(places.catalogues)), _locks(locksIn(places)) {}

std::string Permissions::objectionTo(std::string const& name, Value const& value) const {
    auto const declared = _declarations.find(name);
    std::string reason =
        declared == _declarations.end() ? std::string() : tool::objectionTo(value, declared->second);
    if (auto const entry = _locks.entryFor(name); reason.empty() && entry)
        reason = "the administrator has locked " + (*entry == name ? "it" : '"' + *entry + '"');
    return reason.empty() ? reason : reason + " (--force sets it anyway)";
}

std::optional<std::string> Permissions::similarTo(std::string const& name) const {
    return _declarations.count(name) > 0 ? std::nullopt : nearestName(declaredIn(_declarations, ""), name);
}

} // namespace tool
