// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

#include "register/Lock.h"
#include "utils/properties/Register.h"

namespace utils::properties {

namespace {

using Listeners = std::multimap<std::string, _Register::Callback*>;

/**
 * Notifies the listeners of one key. They may add and remove entries meanwhile: only entries that existed at the
 * beginning are called, in the order in which they were added, and entries that are removed before their turn are
 * skipped.
 */
class Round {
public:
    /** `last` is the last entry of the key. */
    Round(Listeners& listeners, Listeners::iterator last) : _outer(_innermost), _next(last) {
        // Entries that are added from now on follow these in the map.
        for (; _next != listeners.begin() && std::prev(_next)->first == last->first; --_next)
            ++_left;
        _innermost = this;
    }
    Round(Round const&) = delete;
    Round& operator=(Round const&) = delete;
    ~Round() { _innermost = _outer; }

    void notify(void* sender, std::string const& name) {
        while (_left > 0) {
            _current = &*_next;
            ++_next;
            --_left;
            // Either call may remove the entry, and the listener may then be deleted.
            _Register::Callback* const listener = _current->second;
            if (listener->owner() != sender && _current != nullptr)
                listener->propertyChanged(name);
        }
    }

    /** Removes an entry, which is about to be erased, from every round that has not reached it yet. */
    static void forget(Listeners::iterator entry) {
        for (Round* round = _innermost; round != nullptr; round = round->_outer)
            round->skip(entry);
    }

private:
    void skip(Listeners::iterator entry) {
        // Entries are compared by address, because a round may belong to another register.
        if (_current == &*entry) {
            _current = nullptr;
            return;
        }
        auto ahead = _next;
        for (auto i = _left; i > 0; --i, ++ahead) {
            if (&*ahead != &*entry)
                continue;
            if (ahead == _next)
                ++_next;
            --_left;
            return;
        }
    }

    static Round* _innermost; ///< guarded by the register's lock

    Round* _outer;
    Listeners::value_type const* _current = nullptr; ///< the entry being called; null once it is removed
    Listeners::iterator _next;
    std::size_t _left = 1; ///< entries that have not been called
};

Round* Round::_innermost = nullptr;

using Pending = std::set<std::string>;

/**
 * Memory that announcements reuse, so that a change rarely allocates. Guarded by the register's lock, except in the
 * unlocked part of `markAsChanged`, whose callers must keep other threads out.
 */
struct Spares {
    Pending one; ///< empty, or has one element whose value does not matter
    std::vector<Pending::const_iterator> names;
    std::string key;
};

Spares spares;

/** Adds a name to the pending ones, unless it is pending already. Result: its position. */
Pending::const_iterator record(Pending& pending, std::string const& name) {
    if (!pending.empty() || spares.one.empty())
        return pending.insert(name).first;
    // Changing the only element cannot break the order of the set, and the elements are not const objects.
    const_cast<std::string&>(*spares.one.begin()) = name;
    pending.swap(spares.one);
    return pending.begin();
}

void forget(Pending& pending, Pending::const_iterator name) {
    if (pending.size() == 1 && spares.one.empty())
        pending.swap(spares.one);
    else
        pending.erase(name);
}

/** Shortens a key to its enclosing group; false if there is none. */
bool shorten(std::string& key) {
    auto const* const slash = static_cast<char const*>(::memrchr(key.data(), '/', key.size()));
    if (key.size() == 1 || slash == nullptr)
        return false;
    key.erase(std::max<std::size_t>(1, static_cast<std::size_t>(slash - key.data())));
    return true;
}

/** The length of the longest common prefix of two keys, in bytes. */
std::size_t sharedSize(std::string const& left, std::string const& right) {
    std::size_t const most = std::min(left.size(), right.size());
    constexpr std::size_t step = 8; // compared by one instruction
    std::size_t shared = 0;
    while (shared + step <= most && std::memcmp(left.data() + shared, right.data() + shared, step) == 0)
        shared += step;
    while (shared < most && left[shared] == right[shared])
        ++shared;
    return shared;
}

/**
 * Shortens a key without entries to the innermost group around it that may have entries: such a group sorts before the
 * key, so its name is not longer than the part that the key shares with `before`, the greatest key of an entry that does
 * not sort after it.
 * Result: false if no group around the key can have entries.
 */
bool narrow(std::string& key, std::string const& before) {
    std::size_t const shared = sharedSize(key, before);
    if (shared == key.size())
        return true;        // the key itself has entries
    key.resize(shared + 1); // the byte after the shared part may be the "/" after the group
    return shorten(key);
}

void announce(Listeners& listeners, void* sender, std::string const& name) {
    if (name.empty())
        return;
    std::string key = std::move(spares.key);
    key = name;
    while (true) {
        auto last = listeners.upper_bound(key);
        if (last == listeners.begin() || !narrow(key, (--last)->first))
            break;
        // Now `key` is a prefix of the last entry's key.
        if (key.size() != last->first.size())
            continue;
        Round(listeners, last).notify(sender, name);
        if (!shorten(key))
            break;
    }
    spares.key = std::move(key);
}

/**
 * One announcement of pending names. They stay pending until every listener has been called; if one throws, they stay
 * for the next announcement.
 *
 * A listener may start another announcement from inside this one. The inner one skips names that the outer one is
 * announcing, unless such a name has just changed again, and never removes them. Names that become pending meanwhile
 * are not part of this announcement.
 */
class Announcement {
public:
    /** `changed` is the name whose change causes the announcement, or the end of `pending`. */
    Announcement(Pending& pending, Pending::const_iterator changed)
        : _outer(_innermost), _pending(pending), _names(std::move(spares.names)) {
        if (pending.size() == 1 && changed != pending.cend())
            _names.push_back(changed); // the usual case
        else
            collect(changed);
        _innermost = this;
    }
    Announcement(Announcement const&) = delete;
    Announcement& operator=(Announcement const&) = delete;
    ~Announcement() { _innermost = _outer; }

    void run(Listeners& listeners, void* sender) {
        for (auto const name : _names)
            announce(listeners, sender, *name);
        for (auto const name : _names)
            if (!isBeingAnnounced(*name))
                forget(_pending, name);
        _names.clear();
        spares.names = std::move(_names);
    }

private:
    void collect(Pending::const_iterator changed) {
        for (auto name = _pending.cbegin(); name != _pending.cend(); ++name) {
            if (name != changed && isBeingAnnounced(*name))
                continue;
            _names.push_back(name);
        }
    }

    /** Whether an outer announcement of the same register includes a name. */
    [[nodiscard]] bool isBeingAnnounced(std::string const& name) const {
        for (Announcement const* around = _outer; around != nullptr; around = around->_outer)
            if (&around->_pending == &_pending && around->holds(name))
                return true;
        return false;
    }

    [[nodiscard]] bool holds(std::string const& name) const {
        auto const place = std::lower_bound(
            _names.begin(), _names.end(), name,
            [](Pending::const_iterator held, std::string const& wanted) { return *held < wanted; });
        return place != _names.end() && **place == name;
    }

    static Announcement* _innermost; ///< guarded by the register's lock

    Announcement* _outer;
    Pending& _pending;
    std::vector<Pending::const_iterator> _names; ///< in the order of the set
};

Announcement* Announcement::_innermost = nullptr;

void removeEntries(Listeners& listeners, Listeners::iterator first, Listeners::iterator last,
                   _Register::Callback* callback) {
    while (first != last) {
        auto const entry = first++;
        if (entry->second != callback)
            continue;
        Round::forget(entry);
        listeners.erase(entry);
    }
}

} // namespace

void _Register::notify(void* sender) {
    Lock const lock(*_mutex);
    Announcement(_changedProperties, _changedProperties.end()).run(_callbacks, sender);
}

void _Register::announceChange(void* sender, std::string const& name) {
    if (_callbacks.empty() && _changedProperties.empty())
        return;
    auto const changed = record(_changedProperties, name);
    Announcement(_changedProperties, changed).run(_callbacks, sender);
}

void _Register::markAsChanged(void* sender, std::string const& name) {
    record(_changedProperties, name); // Intentional: without the lock.
    Lock const lock(*_mutex);
    // Looked up again: another thread may have announced and removed the name meanwhile.
    Announcement(_changedProperties, _changedProperties.find(name)).run(_callbacks, sender);
}

void _Register::addCallback(std::string const& key, Callback* callback) {
    if (callback == nullptr)
        throw Exception("Null callback.");
    Lock const lock(*_mutex);
    _callbacks.emplace(key, callback);
}

void _Register::removeCallback(std::string const& key, Callback* callback) {
    Lock const lock(*_mutex);
    auto const [first, last] = _callbacks.equal_range(key);
    removeEntries(_callbacks, first, last, callback);
}

void _Register::removeCallback(Callback* callback) {
    Lock const lock(*_mutex);
    removeEntries(_callbacks, _callbacks.begin(), _callbacks.end(), callback);
}

} // namespace utils::properties
