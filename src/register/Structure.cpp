// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <vector>

#include <filesystem/Path.h>

#include "register/Direct.h"
#include "register/Lock.h"
#include "register/Scopes.h"
#include "register/Text.h"
#include "utils/properties/Register.h"

namespace utils::properties {

namespace {

/** The group part of a name: everything before its last "/". */
std::string groupOf(std::string const& name) {
    // The leading "/" keeps a byte order mark at the start of the name, which the conversion would otherwise drop.
    return toUtf8(filesystem::dirName(toQString('/' + name)).mid(1));
}

QString pathOf(_Register const& object, std::string const& name, RegisterScope scope) {
    return toQString(object._nameToPath(name, scope));
}

} // namespace

void _Register::addGroup(std::string const& name, RegisterScope scope) {
    if (direct::isOpen(*this) && isScope(scope)) {
        direct::makeDirectories(*this, scopeDirectory(scope), name);
        return;
    }

    // Goes up to the first group whose parent exists, then down again. A loop instead of recursion, because the depth
    // of a name is unbounded. The name of each group is a prefix of `whole`, so only its length is kept.
    std::string const whole = toUtf8(toQString('/' + name).mid(1));
    std::string group = whole;
    std::vector<std::size_t> missing;
    while (true) {
        QString const path = pathOf(*this, group, scope);
        if (exists(path))
            break;
        missing.push_back(group.size());
        if (exists(filesystem::dirName(path)) || group.empty())
            break; // the scope itself is missing
        group = groupOf(group);
    }
    for (auto length = missing.rbegin(); length != missing.rend(); ++length)
        mkdir(pathOf(*this, whole.substr(0, *length), scope));
}

void _Register::addProperty(std::string const& name, RegisterScope scope) {
    checkScope(scope); // before the lock, as in the writers
    Lock const lock(*_mutex);
    QString const path = pathOf(*this, name, scope);
    if (exists(path))
        return;
    if (direct::isOpen(*this) && direct::makeProperty(*this, name, scope, 0) != nullptr)
        return;
    addGroup(groupOf(name), scope);
    filesystem::FileHandle* handle = nullptr;
    open(path, &handle, MODE_WRITE);
    close(handle); // null if the property could not be created, which is not reported
}

void _Register::delProperty(std::string const& name, RegisterScope scope) {
    checkScope(scope);
    Lock const lock(*_mutex);
    QString const path = pathOf(*this, name, scope);
    if (exists(path))
        remove(path);
}

bool _Register::groupExists(std::string const& name, RegisterScope scope) const {
    Lock const lock(*_mutex);
    if (direct::isOpen(*this) && isScope(scope))
        return direct::find(*this, {scopeDirectory(scope)}, name).kind == direct::Kind::directory;
    return isDirectory(pathOf(*this, name, scope));
}

bool _Register::groupExists(std::string const& name) const {
    Lock const lock(*_mutex);
    return std::any_of(existenceOrder.begin(), existenceOrder.end(),
                       [&](RegisterScope scope) { return isDirectory(pathOf(*this, name, scope)); });
}

bool _Register::propertyExists(std::string const& name, RegisterScope scope) const {
    Lock const lock(*_mutex);
    if (direct::isOpen(*this) && isScope(scope))
        return direct::find(*this, {scopeDirectory(scope)}, name).kind != direct::Kind::none;
    return exists(pathOf(*this, name, scope));
}

bool _Register::propertyExists(std::string const& name) const {
    Lock const lock(*_mutex);
    if (direct::isOpen(*this))
        return direct::locate(*this, name).kind != direct::Kind::none;
    return std::any_of(existenceOrder.begin(), existenceOrder.end(),
                       [&](RegisterScope scope) { return exists(pathOf(*this, name, scope)); });
}

std::set<filesystem::DirEntry> _Register::propertyList(std::string const& group, RegisterScope scope) const {
    QString const path = pathOf(*this, group, scope);
    if (!isDirectory(path))
        throw Exception(group + " does not exist or is not a group.");
    std::set<filesystem::DirEntry> entries = getFileList(path);
    if (!direct::isOpen(*this)) // this project's own file system never lists "." and ".."
        for (char const* const unlisted : {".", ".."})
            entries.erase({QString::fromLatin1(unlisted)});
    return entries;
}

filesystem::FileHandle* _Register::openProperty(std::string const& name,
                                                filesystem::FileSystem::FileSystemMode mode,
                                                RegisterScope scope) {
    Lock const lock(*_mutex);
    std::string const group = groupOf(name);
    if (!groupExists(group)) // Intentional: the group may exist in any scope.
        throw Exception("Group " + group + " does not exist !");
    filesystem::FileHandle* handle = nullptr;
    if (!open(pathOf(*this, name, scope), &handle, mode))
        throw Exception("Cannot open property named " + name + " !");
    return handle;
}

void _Register::closeProperty(filesystem::FileHandle& handle) {
    close(&handle);
}

} // namespace utils::properties
