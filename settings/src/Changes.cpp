// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Changes.h"

#include <set>
#include <utility>

#include <filesystem/Direct.h>

#include "Access.h"
#include "Announcement.h"
#include "Locks.h"
#include "Names.h"
#include "UserChanges.h"

namespace velmorand {

namespace {

using filesystem::direct::Kind;

/** Whether a change would change nothing. The lock is held. */
bool isInPlace(utils::properties::_Register const& settings, std::string const& name,
               std::optional<std::string> const& record) {
    auto const entry = filesystem::direct::find(settings, {"user"}, name);
    return record ? entry.kind == Kind::file && entry.content == *record : entry.kind != Kind::file;
}

} // namespace

void Changes::putRecord(std::string const& name, std::optional<std::string> record) {
    std::string storage;
    _changes.insert_or_assign(propertyName(name, storage), std::move(record));
}

void Changes::reset(std::string const& name) {
    putRecord(name, std::nullopt);
}

void Changes::apply(void* sender) {
    if (empty())
        return;
    RequiredAccess const settings("the changes are not made");
    UserChanges changes;
    std::set<std::string> names;
    for (auto const& [name, record] : _changes) {
        if (record)
            requireUnlocked(*settings, name, name + " is not written");
        if (!isInPlace(*settings, name, record)) {
            changes.emplace(name, record);
            names.insert(name);
        }
    }
    makeChanges(*settings, changes);
    _changes.clear();
    announce(*settings, sender, std::move(names));
}

} // namespace velmorand
