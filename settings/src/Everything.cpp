// SPDX-License-Identifier: Apache-2.0
#include "Everything.h"

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <filesystem/Direct.h>
#include <filesystem/EntryNotice.h>

#include "Access.h"

namespace velmorand {

namespace {

using filesystem::direct::Walk;
using utils::properties::_Register;

using Entries = std::multimap<std::string, _Register::Callback*>;

/** Gives access to the register's listener entries. */
struct Open : _Register {
    static void add(_Register& settings, Entries entries) noexcept {
        (settings.*(&Open::_callbacks)).merge(entries);
    }
};

/** The listeners to everything. Each has an entry in the register under each of `keys`. */
struct Everything {
    std::set<std::string, std::less<>> keys;
    std::vector<_Register::Callback*> listeners;
};

// Null if there are no such listeners. Guarded by the lock. A plain pointer, because listeners may outlive all static
// objects.
Everything* everyone = nullptr;

std::set<std::string, std::less<>> keysNow(_Register const& settings) {
    std::set<std::string, std::less<>> keys{"/"};
    for (char const* const scope : {"user", "global", "temp"})
        for (Walk walk(settings, scope); walk.next(); walk.skip())
            keys.emplace(walk.path().substr(0, walk.path().find('/')));
    return keys;
}

/** Called before an entry is created directly in a scope, and before a name is announced. */
void addKey(std::string_view key) {
    Access const settings;
    if (!settings || everyone->keys.find(key) != everyone->keys.end())
        return;
    Entries entries;
    for (_Register::Callback* const listener : everyone->listeners)
        entries.emplace(key, listener);
    everyone->keys.emplace(key);
    Open::add(*settings, std::move(entries));
}

} // namespace

void listenToEverything(_Register& settings, _Register::Callback* listener) {
    std::unique_ptr<Everything> first;
    if (everyone == nullptr)
        first = std::make_unique<Everything>(Everything{keysNow(settings), {}});
    Everything& all = first ? *first : *everyone;
    Entries entries;
    for (std::string const& key : all.keys)
        entries.emplace(key, listener);
    all.listeners.push_back(listener);
    // Nothing below can fail.
    Open::add(settings, std::move(entries));
    if (first) {
        everyone = first.release();
        filesystem::noticeEntries(settings, addKey);
    }
}

void expectAnnouncement(std::string const& name) {
    if (everyone != nullptr && !name.empty() && name.front() != '/')
        addKey(std::string_view(name).substr(0, name.find('/')));
}

void stopListeningToEverything(_Register& settings, _Register::Callback* listener) {
    for (std::string const& key : everyone->keys)
        settings.removeCallback(key, listener);
    auto& listeners = everyone->listeners;
    listeners.erase(std::find(listeners.begin(), listeners.end(), listener));
    if (!listeners.empty())
        return;
    filesystem::noticeEntries(settings, nullptr);
    delete std::exchange(everyone, nullptr);
}

} // namespace velmorand
