// SPDX-License-Identifier: Apache-2.0
#include "LockChanges.h"

#include <algorithm>
#include <iterator>

#include <filesystem/Direct.h>

#include "Locks.h"
#include "Overrides.h"

namespace velmorand {

namespace {

using filesystem::direct::Kind;
using filesystem::direct::Walk;
using utils::properties::_Register;

/** Whether locking a name would change its value in the scopes. A group does not count as a value. */
bool hidesAnother(_Register const& settings, std::string const& name) {
    auto const unlocked = filesystem::direct::find(settings, {"user", "global", "temp"}, name);
    auto const locked = filesystem::direct::find(settings, {"global", "temp"}, name);
    if (unlocked.kind != Kind::file && locked.kind != Kind::file)
        return false;
    return unlocked.kind != locked.kind || unlocked.content != locked.content;
}

/** A name, and everything below it in the user's scope. */
std::vector<std::string> usersUnder(_Register const& settings, std::string const& name) {
    std::vector<std::string> names{name};
    for (Walk walk(settings, "user", name); walk.next();) {
        names.push_back(name + '/' + std::string(walk.path()));
        if (walk.kind() == Kind::directory)
            names.back().pop_back(); // the "/"
    }
    return names;
}

} // namespace

void noteLockChanges(_Register const& settings, std::vector<std::string>& names,
                     std::function<void()> const& change) {
    Locks const before = locksOf(settings);
    change();
    Locks const& now = locksOf(settings);
    auto const isOther = [&](std::string const& name) {
        return before.entryFor(name).has_value() != now.entryFor(name).has_value();
    };
    std::vector<std::string> entries;
    std::set_symmetric_difference(before.entries().begin(), before.entries().end(), now.entries().begin(),
                                  now.entries().end(), std::back_inserter(entries));
    for (std::string const& entry : entries)
        for (std::string const& name : usersUnder(settings, entry.substr(0, entry.size() - 1)))
            if (isOther(name) && hidesAnother(settings, name))
                names.push_back(name);
    for (std::string const& name : overriddenNames())
        if (isOther(name))
            names.push_back(name);
}

} // namespace velmorand
