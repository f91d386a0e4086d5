// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Group.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <optional>
#include <set>

#include <filesystem/Direct.h>

#include "Access.h"
#include "Announcement.h"
#include "Locks.h"
#include "Names.h"
#include "UserChanges.h"

namespace velmorand {

namespace {

using filesystem::direct::Kind;
using filesystem::direct::Walk;
using utils::properties::_Register;

char const* directoryOf(RegisterScope scope) {
    switch (scope) {
    case SCOPE_GLOBAL:
        return "global";
    case SCOPE_USER:
        return "user";
    case SCOPE_TEMPORARY:
        return "temp";
    }
    throw Exception("Bad scope value.");
}

std::string inGroup(std::string const& group, std::string_view name) {
    std::string full = group;
    if (!full.empty())
        full += '/';
    return full += name;
}

/** The name of a walk's entry, relative to the walk's group. */
std::string_view nameOf(Walk const& entry) {
    std::string_view const path = entry.path();
    return entry.kind() == Kind::directory ? path.substr(0, path.size() - 1) : path;
}

Kind usersKind(_Register const& settings, std::string const& name) {
    return filesystem::direct::find(settings, {directoryOf(SCOPE_USER)}, name).kind;
}

/** The names of one kind directly in a group, in byte order. */
std::vector<std::string> namesIn(_Register const& settings, RegisterScope scope, std::string const& group,
                                 Kind kind) {
    return filesystem::direct::list(settings, directoryOf(scope), group, kind);
}

std::vector<std::string> list(RegisterScope scope, std::string const& group, Kind kind) {
    Access const settings;
    return settings ? namesIn(*settings, scope, group, kind) : std::vector<std::string>();
}

/** The names of one kind directly in a group, in any scope; without locked names that only the user's scope has. */
std::vector<std::string> list(std::string const& group, Kind kind) {
    Access const settings;
    if (!settings)
        return {};
    std::vector<std::string> names = namesIn(*settings, SCOPE_USER, group, kind);
    if (Locks const& locks = locksOf(*settings); !locks.empty()) {
        auto const isLocked = [&](std::string const& name) {
            return locks.entryFor(inGroup(group, name)).has_value();
        };
        names.erase(std::remove_if(names.begin(), names.end(), isLocked), names.end());
    }
    for (RegisterScope const scope : {SCOPE_GLOBAL, SCOPE_TEMPORARY}) {
        std::vector<std::string> const others = namesIn(*settings, scope, group, kind);
        std::vector<std::string> all;
        std::set_union(names.begin(), names.end(), others.begin(), others.end(), std::back_inserter(all));
        names = std::move(all);
    }
    return names;
}

/** The changes that remove a group from the user's scope. */
struct Removal {
    UserChanges changes;
    std::set<std::string> names; ///< the properties that are removed
};

Removal removalOf(_Register const& settings, std::string const& group) {
    Removal removal;
    for (Walk walk(settings, directoryOf(SCOPE_USER), group); walk.next();) {
        if (walk.kind() == Kind::file)
            removal.names.insert(inGroup(group, walk.path()));
        if (group.empty() && walk.nameBegin() == 0) // one by one, because the scope itself must stay
            removal.changes.emplace(nameOf(walk), std::nullopt);
    }
    if (!group.empty() && usersKind(settings, group) == Kind::directory)
        removal.changes.emplace(group, std::nullopt);
    return removal;
}

void make(_Register& settings, Removal removal, void* sender) {
    makeChanges(settings, removal.changes);
    announce(settings, sender, std::move(removal.names));
}

/** The changes that copy a group's user and global properties, except locked user ones, into the user's scope. */
UserChanges copiesOf(_Register const& settings, std::string const& from, std::string const& to) {
    UserChanges copies;
    for (Walk walk(settings, directoryOf(SCOPE_USER), from); walk.next();)
        if (walk.kind() == Kind::file && !isLocked(settings, inGroup(from, walk.path())))
            copies.emplace(inGroup(to, walk.path()), walk.content());
    for (Walk walk(settings, directoryOf(SCOPE_GLOBAL), from); walk.next();) {
        std::string const name = inGroup(from, nameOf(walk));
        Kind const users = isLocked(settings, name) ? Kind::none : usersKind(settings, name);
        if (walk.kind() == Kind::file && users == Kind::none)
            copies.emplace(inGroup(to, walk.path()), walk.content());
        else if (walk.kind() == Kind::directory && users == Kind::file)
            walk.skip();
    }
    return copies;
}

std::string subjectOf(std::string const& group) {
    return group.empty() ? "the group of all settings" : inQuotes(group);
}

/** The changes that copy a group. Errors: `utils::Exception`, beginning with `what`, if it cannot be copied. */
UserChanges checkedCopiesOf(_Register const& settings, std::string const& what, std::string const& from,
                            std::string const& to) {
    if (from.empty() || isIn(to, from))
        throw Exception(what + ": the new name is inside the group");
    if (settings.propertyExists(to))
        throw Exception(what + ": " + inQuotes(to) + " already exists");
    UserChanges copies = copiesOf(settings, from, to);
    for (auto const& [name, record] : copies)
        requireUnlocked(settings, name, what + ':');
    return copies;
}

void addNames(UserChanges const& copies, std::set<std::string>& names) {
    for (auto const& [name, record] : copies)
        names.insert(name);
}

} // namespace

Group::Group(std::string const& name) : _name(cleanName(name)) {}

std::string Group::nameOf(std::string const& relative) const {
    return cleanName(_name + '/' + relative);
}

std::vector<std::string> Group::properties() const {
    return list(_name, Kind::file);
}

std::vector<std::string> Group::properties(RegisterScope scope) const {
    return list(scope, _name, Kind::file);
}

std::vector<std::string> Group::groups() const {
    return list(_name, Kind::directory);
}

std::vector<std::string> Group::groups(RegisterScope scope) const {
    return list(scope, _name, Kind::directory);
}

bool Group::contains(std::string const& relative) const {
    Access const settings;
    return settings && findInScopes(*settings, nameOf(relative)).kind != Kind::none;
}

bool Group::contains(std::string const& relative, RegisterScope scope) const {
    Access const settings;
    return settings && settings->propertyExists(nameOf(relative), scope);
}

void Group::remove(void* sender) const {
    RequiredAccess const settings("cannot remove " + subjectOf(_name));
    make(*settings, removalOf(*settings, _name), sender);
}

void Group::remove(std::string const& relative, void* sender) const {
    std::string const name = nameOf(relative);
    RequiredAccess const settings("cannot remove " + subjectOf(name));
    if (name == _name)
        throw Exception("cannot remove from " + subjectOf(name) + ": the name is empty");
    if (usersKind(*settings, name) == Kind::file)
        make(*settings, {{{name, std::nullopt}}, {name}}, sender);
    else
        make(*settings, removalOf(*settings, name), sender);
}

Group Group::copy(std::string const& name, void* sender) const {
    std::string storage;
    std::string const& to = propertyName(name, storage);
    std::string const what = "cannot copy " + subjectOf(_name) + " to " + inQuotes(to);
    RequiredAccess const settings(what);
    UserChanges const copies = checkedCopiesOf(*settings, what, _name, to);
    std::set<std::string> names;
    addNames(copies, names);
    Group group(to);
    makeChanges(*settings, copies);
    announce(*settings, sender, std::move(names));
    return group;
}

Group Group::rename(std::string const& name, void* sender) const {
    std::string storage;
    std::string const& to = propertyName(name, storage);
    if (to == _name)
        return *this;
    std::string const what = "cannot rename " + subjectOf(_name) + " to " + inQuotes(to);
    RequiredAccess const settings(what);
    UserChanges changes = checkedCopiesOf(*settings, what, _name, to);
    Removal removal = removalOf(*settings, _name);
    for (std::string const& removed : removal.names)
        requireUnlocked(*settings, removed, what + ':');
    addNames(changes, removal.names);
    changes.merge(removal.changes);
    Group group(to);
    makeChanges(*settings, changes);
    announce(*settings, sender, std::move(removal.names));
    return group;
}

std::string levelFrom(std::string_view text) {
    if (text.empty())
        return "%"; // unambiguous, because the text "%" becomes "%25"
    bool const isText = isUtf8(text);
    bool const isReserved = text == "." || text == "..";
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string level;
    for (char const character : text) {
        auto const byte = static_cast<unsigned char>(character);
        bool const isAscii = byte < 0x80;
        bool const isControl = byte < 0x20 || byte == 0x7F;
        bool const isKept =
            !isReserved && !isControl && character != '/' && character != '%' && (isAscii || isText);
        if (isKept)
            level += character;
        else
            level += {'%', digits[byte >> 4U], digits[byte & 0xFU]};
    }
    return level;
}

std::string textFrom(std::string_view level) {
    if (level == "%")
        return {};
    std::string text;
    while (!level.empty()) {
        unsigned char value = 0;
        char const* const digits = level.data() + 1;
        bool const isEscape = level[0] == '%' && level.size() >= 3 &&
                              std::from_chars(digits, digits + 2, value, 16).ptr == digits + 2;
        text += isEscape ? static_cast<char>(value) : level[0];
        level.remove_prefix(isEscape ? 3 : 1);
    }
    return text;
}

} // namespace velmorand
