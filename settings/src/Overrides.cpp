// SPDX-License-Identifier: Apache-2.0
#include "Overrides.h"

#include <functional>
#include <map>
#include <utility>
#include <vector>

#include "Access.h"
#include "Announcement.h"
#include "Locks.h"
#include "Names.h"
#include "Record.h"
#include "velmorand/Property.h"

namespace velmorand {

namespace {

using utils::properties::_Register;

/** Records by clean names. */
using Overrides = std::map<std::string, std::string>;

/** Guarded by the register's lock. Never destroyed, because static objects may read settings during exit. */
Overrides& overrides() {
    static auto* const all = new Overrides;
    return *all;
}

/** The override in force, or null. */
std::string const* overrideOf(_Register const& settings, std::string const& name) {
    Overrides const& all = overrides();
    if (all.empty())
        return nullptr;
    auto const found = all.find(cleanName(name));
    return found == all.end() || isLocked(settings, found->first) ? nullptr : &found->second;
}

/** Changes the override of a clean name, and notifies the listeners if the value in force has changed. */
template <class Change>
void changeOverride(_Register& settings, std::string const& name, void* sender, Change&& change) {
    auto const before = findInForce(settings, name);
    std::string const content(before.content);
    std::forward<Change>(change)();
    countChange();
    auto const now = findInForce(settings, name);
    if (now.kind != before.kind || now.content != content)
        announce(settings, sender, {name});
}

} // namespace

bool isOverridden(_Register const& settings, std::string const& name) {
    return overrideOf(settings, name) != nullptr;
}

std::vector<std::string> overriddenNames() {
    std::vector<std::string> names;
    for (auto const& [name, record] : overrides())
        names.push_back(name);
    return names;
}

filesystem::direct::Entry findInForce(_Register const& settings, std::string const& name) {
    std::string const* const overriding = overrideOf(settings, name);
    return overriding != nullptr ? filesystem::direct::Entry{filesystem::direct::Kind::file, *overriding}
                                 : findInScopes(settings, name);
}

template <class T>
void putOverride(std::string const& name, T const& value, void* sender) {
    RequiredAccess const settings("cannot override", name);
    std::string storage;
    std::string const& clean = propertyName(name, storage);
    requireUnlocked(*settings, clean, "cannot override");
    requireFits(clean, value);
    std::string content = encoded(value);
    changeOverride(*settings, clean, sender,
                   [&] { overrides().insert_or_assign(clean, std::move(content)); });
}

// The eight kinds.
template void putOverride(std::string const&, std::string const&, void*);
template void putOverride(std::string const&, double const&, void*);
template void putOverride(std::string const&, int const&, void*);
template void putOverride(std::string const&, bool const&, void*);
template void putOverride(std::string const&, std::vector<std::string> const&, void*);
template void putOverride(std::string const&, std::vector<double> const&, void*);
template void putOverride(std::string const&, std::vector<int> const&, void*);
template void putOverride(std::string const&, std::vector<bool> const&, void*);

namespace detail {

void clearOverride(std::string const& name, void* sender) {
    Access const settings;
    if (!settings)
        return;
    std::string const clean = cleanName(name);
    if (auto const found = overrides().find(clean); found != overrides().end())
        changeOverride(*settings, clean, sender, [found] { overrides().erase(found); });
}

bool isOverridden(std::string const& name) {
    Access const settings;
    return settings && velmorand::isOverridden(*settings, name);
}

} // namespace detail

} // namespace velmorand
