// SPDX-License-Identifier: Apache-2.0
#include "Memory.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include <QString>

#include <filesystem/Direct.h>

#include "../Everything.h"
#include "../LockChanges.h"
#include "../Notifying.h"

namespace velmorand::live {

namespace {

using filesystem::ChangeLog;
using filesystem::TreeChange;
using filesystem::TreeImage;
using filesystem::direct::Kind;
using utils::properties::_Register;

constexpr std::string_view userScope = "user";
constexpr std::string_view globalScope = "global";

QString pathOf(std::string_view scope, std::string const& path) {
    std::string const whole = '/' + std::string(scope) + '/' + path;
    return QString::fromUtf8(whole.data(), static_cast<int>(whole.size()));
}

bool isAtOrBelow(std::string const& path, std::string const& above) {
    return above.empty() || (path.compare(0, above.size(), above) == 0 &&
                             (path.size() == above.size() || path[above.size()] == '/'));
}

/** Whether `path` equals one of `paths`, or is above or below one. `paths` are sorted, and none is below another. */
bool concerns(std::vector<std::string> const& paths, std::string const& path) {
    auto const next = std::lower_bound(paths.begin(), paths.end(), path, ChangeLog::precedes);
    return (next != paths.end() && isAtOrBelow(*next, path)) ||
           (next != paths.begin() && isAtOrBelow(path, *std::prev(next)));
}

/** The current content of a path. */
struct State {
    std::string path;
    Kind kind;
    std::string content;
    std::optional<TreeImage> below;
};

State stateOf(_Register const& theRegister, std::string const& path) {
    auto const entry = filesystem::direct::find(theRegister, {userScope}, path);
    State state{path, entry.kind, std::string(entry.content), {}};
    // If the scope itself has been removed, it counts as empty.
    if (entry.kind == Kind::directory || path.empty())
        state.below = TreeImage::of(theRegister, "/user/" + path);
    return state;
}

Changes differences(TreeImage const& base, State const& state) {
    if (state.below)
        return base.differencesToDirectory(state.path, *state.below);
    return state.kind == Kind::file ? base.differencesToFile(state.path, state.content)
                                    : base.differencesToNothing(state.path);
}

std::vector<std::string> united(std::vector<std::string> some, std::vector<std::string> const& more) {
    if (some.empty())
        return more;
    some.insert(some.end(), more.begin(), more.end());
    return ChangeLog::outermost(std::move(some));
}

/** Gives access to the register's pending names. */
struct Pending : _Register {
    static std::set<std::string>& names(_Register& theRegister) {
        return theRegister.*(&Pending::_changedProperties);
    }
};

/** Gives access to the register's listeners. */
struct Listeners : _Register {
    static std::multimap<std::string, Callback*> const& of(_Register const& theRegister) {
        return theRegister.*(&Listeners::_callbacks);
    }
};

/** Whether a listener is still registered under a key: another listener may have removed it. */
bool listens(_Register const& theRegister, std::string const& key, _Register::Callback* listener) {
    auto const [first, last] = Listeners::of(theRegister).equal_range(key);
    return std::any_of(first, last, [=](auto const& entry) { return entry.second == listener; });
}

/**
 * Notifies all listeners of a name, even if some throw. Listeners that have already been notified are notified again.
 */
void notifyEach(_Register const& theRegister, void* sender, std::string const& name) {
    for (std::string key = name; !key.empty();) {
        std::vector<_Register::Callback*> listeners;
        auto const [first, last] = Listeners::of(theRegister).equal_range(key);
        std::transform(first, last, std::back_inserter(listeners),
                       [](auto const& entry) { return entry.second; });
        for (_Register::Callback* const listener : listeners)
            if (listens(theRegister, key, listener) && listener->owner() != sender)
                Notifying::call(name, [&] { listener->propertyChanged(name); });
        std::size_t const slash = key.rfind('/');
        key.resize(slash == std::string::npos ? 0 : slash);
    }
}

/** A log that has outlived its register. Volatile, so that the pointer is stored, and leak checkers find the log. */
ChangeLog* volatile leftBehind = nullptr;

} // namespace

Memory::Memory(_Register& theRegister, Image user, Image global, std::function<void()> wake)
    : _register(theRegister), _user(std::move(user)), _global(std::move(global)),
      _log(std::make_unique<ChangeLog>(theRegister, std::string(userScope), std::move(wake))) {}

std::optional<Collected> Memory::collect(void* sender, GiveUp const& giveUp) {
    Collected collected{};
    std::vector<State> states;
    {
        AbandonableLock const lock(giveUp);
        if (!lock.isHeld() || _log == nullptr)
            return std::nullopt;
        bringInLocked(sender);
        addPending(_log->take());
        std::vector<std::string> paths = united(_collected, _pending);
        std::transform(paths.begin(), paths.end(), std::back_inserter(states),
                       [this](std::string const& path) { return stateOf(_register, path); });
        _collected = std::move(paths);
        _pending.clear();
        collected.number = ++_collections;
        collected.merges = _merges;
        collected.base = _user;
    }
    for (State const& state : states) {
        Changes changes = differences(*collected.base, state);
        std::move(changes.begin(), changes.end(), std::back_inserter(collected.changes));
    }
    return collected;
}

void Memory::post(Merged merged) {
    std::lock_guard<std::mutex> const lock(_inboxMutex);
    _inbox.push_back(std::move(merged));
}

void Memory::postGlobal(Image global) {
    std::lock_guard<std::mutex> const lock(_inboxMutex);
    _newGlobal = std::move(global);
}

void Memory::bringIn(void* sender, GiveUp const& giveUp) {
    AbandonableLock const lock(giveUp);
    if (lock.isHeld() && _log != nullptr)
        bringInLocked(sender);
}

void Memory::end() {
    AbandonableLock const lock(nullptr);
    if (lock.isHeld())
        _log.reset();
    else if (_log != nullptr) // called twice if both the destructor and the exit handler run
        leftBehind = _log.release();
}

bool Memory::isSaved(GiveUp const& giveUp) const {
    AbandonableLock const lock(giveUp);
    if (!lock.isHeld() || _log == nullptr)
        return true;
    if (!_isDurable)
        return false;
    // Paths without a difference do not count. Changes that another thread is saving count as unsaved until the result
    // has been applied.
    auto const paths = united(_collected, _pending);
    return _log->isEmpty() && std::all_of(paths.begin(), paths.end(), [this](std::string const& path) {
               return differences(*_user, stateOf(_register, path)).empty();
           });
}

void Memory::bringInLocked(void* sender) {
    std::deque<Merged> inbox;
    Image global;
    {
        std::lock_guard<std::mutex> const lock(_inboxMutex);
        inbox.swap(_inbox);
        global.swap(_newGlobal);
    }
    _merges += inbox.size();
    std::vector<std::string> names;
    for (Merged& merged : inbox)
        bringInUser(merged, names);
    if (global != nullptr)
        bringInGlobal(global, names);
    announce(sender, names);
}

void Memory::bringInUser(Merged& merged, std::vector<std::string>& names) {
    addPending(_log->take());
    _isDurable = merged.isDurable;
    if (merged.isSaved && merged.number == _collections)
        _collected.clear();
    // Paths that this process may have changed meanwhile are left to the next merge.
    auto const end = std::remove_if(merged.changes.begin(), merged.changes.end(),
                                    [this](TreeChange const& change) { return isChangedHere(change.path); });
    bool const isWhole = end == merged.changes.end();
    merged.changes.erase(end, merged.changes.end());
    apply(SCOPE_USER, merged.changes, names);
    static_cast<void>(_log->take()); // these changes came from the file
    _user = isWhole ? merged.base : std::make_shared<TreeImage const>(merged.before->with(merged.changes));
}

void Memory::bringInGlobal(Image const& global, std::vector<std::string>& names) {
    noteLockChanges(_register, names, [&] { apply(SCOPE_GLOBAL, _global->differencesTo(*global), names); });
    _global = global;
}

bool Memory::isChangedHere(std::string const& path) const {
    return concerns(_pending, path) || concerns(_collected, path);
}

void Memory::addPending(std::vector<std::string> paths) {
    if (!paths.empty())
        _pending = united(std::move(paths), _pending);
}

/** Makes changes in the register, and adds the names of properties whose values have changed. */
void Memory::apply(RegisterScope scope, Changes const& changes, std::vector<std::string>& names) {
    std::string_view const directory = scope == SCOPE_USER ? userScope : globalScope;
    for (TreeChange const& change : changes)
        if (applyOne(directory, change))
            names.push_back(change.path);
    // A directory is removed after its content.
    for (auto change = changes.rbegin(); change != changes.rend(); ++change)
        if (change->kind == TreeChange::Kind::removed)
            removeIfEmpty(directory, change->path);
}

/** Result: whether a property was added, removed or changed. */
bool Memory::applyOne(std::string_view scope, TreeChange const& change) {
    switch (change.kind) {
    case TreeChange::Kind::removed:
        return removeFile(scope, change.path);
    case TreeChange::Kind::directory: {
        makeRoom(scope, change.path);
        bool const wasFile = removeFile(scope, change.path);
        filesystem::direct::makeDirectories(_register, scope, change.path);
        return wasFile;
    }
    case TreeChange::Kind::file:
        break;
    }
    auto const there = filesystem::direct::find(_register, {scope}, change.path);
    if (there.kind == Kind::file && there.content == change.content)
        return false;
    if (there.kind == Kind::directory)
        _register.RAMFileSystem::remove(pathOf(scope, change.path));
    char* const content =
        there.kind == Kind::file
            ? filesystem::direct::rewrite(_register, scope, change.path, change.content.size())
            : makeFile(scope, change.path, change.content.size());
    if (content == nullptr)
        return false;
    change.content.copy(content, change.content.size());
    return true;
}

/** Creates a property and its groups, and removes a property in the way. Result: as for `filesystem::direct::make`. */
char* Memory::makeFile(std::string_view scope, std::string const& path, std::size_t size) {
    makeRoom(scope, path);
    auto const slash = path.rfind('/');
    std::string const around = path.substr(0, slash == std::string::npos ? 0 : slash);
    return filesystem::direct::make(_register, scope, around, path, size);
}

bool Memory::removeFile(std::string_view scope, std::string const& path) {
    return filesystem::direct::find(_register, {scope}, path).kind == Kind::file &&
           _register.RAMFileSystem::remove(pathOf(scope, path));
}

void Memory::removeIfEmpty(std::string_view scope, std::string const& path) {
    QString const place = pathOf(scope, path);
    if (_register.RAMFileSystem::isDirectory(place) && _register.RAMFileSystem::getFileList(place).empty())
        _register.RAMFileSystem::remove(place);
}

/** Removes a property whose name is needed for a group. */
void Memory::makeRoom(std::string_view scope, std::string const& path) {
    for (std::size_t end = path.find('/'); end != std::string::npos; end = path.find('/', end + 1))
        if (removeFile(scope, path.substr(0, end)))
            return;
}

/** Notifies the listeners of each name once. */
void Memory::announce(void* sender, std::vector<std::string> const& names) {
    Notifying const notifying(Notifying::Writer::otherProgram);
    for (std::string const& name : std::set<std::string>(names.begin(), names.end())) {
        std::set<std::string>& pending = Pending::names(_register);
        bool const wasPending = pending.count(name) != 0;
        try {
            expectAnnouncement(name);
            _register.markAsChanged(sender, name);
        } catch (...) {      // thrown by a `_Register::Callback`; a `Listener` reports exceptions itself
            if (!wasPending) // otherwise an announcement that is in progress removes it
                pending.erase(name);
            notifyEach(_register, sender, name);
        }
    }
}

} // namespace velmorand::live
