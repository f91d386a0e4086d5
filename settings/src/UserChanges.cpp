// SPDX-License-Identifier: Apache-2.0
#include "UserChanges.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include <filesystem/Direct.h>

#include "Names.h"

namespace velmorand {

namespace {

using filesystem::direct::Change;
using utils::properties::_Register;

[[noreturn]] void refuse(std::string const& name, std::string const& reason) {
    throw Exception("cannot write " + inQuotes(name) + ": " + reason);
}

/** Errors: `utils::Exception` if the changes write one of the groups of this clean name as a property. */
void requireRoom(UserChanges const& changes, std::string const& name) {
    for (auto const& [group, record] : changes)
        if (record && isIn(name, group))
            refuse(name, "the same changes write its group " + inQuotes(group) + " as a property");
}

} // namespace

void makeChanges(_Register& settings, UserChanges const& changes) {
    std::vector<Change> all;
    std::transform(changes.begin(), changes.end(), std::back_inserter(all), [](auto const& change) {
        return Change{change.first, change.second};
    });
    Change const* const refused = filesystem::direct::apply(settings, "user", all);
    if (refused == nullptr)
        return;
    std::string const name(refused->path);
    requireRoom(settings, name, SCOPE_USER);
    requireRoom(changes, name);
    refuse(name, "the name is too long");
}

void requireRoom(_Register const& settings, std::string const& name, RegisterScope scope) {
    if (settings.groupExists(name, scope))
        refuse(name, "it is a group");
    for (std::size_t end = name.find('/'); end != std::string::npos; end = name.find('/', end + 1)) {
        std::string const group = name.substr(0, end);
        if (!settings.propertyExists(group, scope))
            return;
        if (!settings.groupExists(group, scope))
            refuse(name, inQuotes(group) + " is a property");
    }
}

} // namespace velmorand
