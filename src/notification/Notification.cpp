// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include "register/Lock.h"
#include "utils/properties/Register.h"

namespace utils::properties {

namespace {

using Listeners = std::multimap<std::string, _Register::Callback*>;

/**
 * A round of telling the entries of one key. Listeners may add and remove entries while it goes on: it tells
 * those that were there when it began, in the order of their adding, and that still are when their turn
 * comes.
 */
class Round {
public:
    /** `first` is the first of the key's entries. */
    Round(Listeners& listeners, Listeners::iterator first) : _outer(_innermost), _next(first) {
        // Entries added from now on stand behind these.
        for (auto entry = first; entry != listeners.end() && entry->first == first->first; ++entry)
            ++_left;
        _innermost = this;
    }
    Round(Round const&) = delete;
    Round& operator=(Round const&) = delete;
    ~Round() { _innermost = _outer; }

    void tell(void* sender, std::string const& name) {
        while (_left > 0) {
            _current = &*_next;
            ++_next;
            --_left;
            // The entry, and with it the listener, may be gone when either call returns.
            _Register::Callback* const listener = _current->second;
            if (listener->owner() != sender && _current != nullptr)
                listener->propertyChanged(name);
        }
    }

    /** Takes an entry that is about to be removed out of every round that would still come to it. */
    static void forget(Listeners::iterator entry) {
        for (Round* round = _innermost; round != nullptr; round = round->_outer)
            round->skip(entry);
    }

private:
    void skip(Listeners::iterator entry) {
        // Entries are told apart by their place in memory, of whichever register they are.
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
    Listeners::value_type const* _current = nullptr; ///< the entry being told; null when it has been removed
    Listeners::iterator _next;
    std::size_t _left = 0;
};

Round* Round::_innermost = nullptr;

using PendingName = std::set<std::string>::node_type;

/**
 * What the last announcement leaves to the next, so that a change needs no memory of its own: guarded by the
 * register's lock, but for the moment of `markAsChanged`'s insertion, for which its callers see to it that
 * they are alone.
 */
struct Spares {
    PendingName node;
    std::string key;
};

Spares spares;

PendingName makeNode(std::string const& name) {
    if (spares.node.empty()) {
        std::set<std::string> one;
        return one.extract(one.insert(name).first);
    }
    spares.node.value() = name;
    return std::move(spares.node);
}

/**
 * The names taken out of the pending ones to be announced. What is not told to the end goes back to them. A
 * listener that makes a change of its own therefore announces that change only, and cannot disturb the walk
 * it is called from.
 */
class Announcement {
public:
    explicit Announcement(std::set<std::string>& pending) : _pending(pending) { _names.swap(pending); }
    Announcement(Announcement const&) = delete;
    Announcement& operator=(Announcement const&) = delete;
    ~Announcement() { _pending.merge(_names); }

    [[nodiscard]] std::set<std::string> const& names() const { return _names; }
    void done() {
        if (!_names.empty())
            spares.node = _names.extract(_names.begin());
        _names.clear();
    }

private:
    std::set<std::string>& _pending;
    std::set<std::string> _names;
};

/** The same for a change that is announced at once: it is pending only when it is not told to the end. */
class SingleAnnouncement {
public:
    SingleAnnouncement(std::set<std::string>& pending, std::string const& name)
        : _pending(pending), _name(makeNode(name)) {}
    SingleAnnouncement(SingleAnnouncement const&) = delete;
    SingleAnnouncement& operator=(SingleAnnouncement const&) = delete;
    ~SingleAnnouncement() {
        if (!_name.empty())
            _pending.insert(std::move(_name));
    }

    [[nodiscard]] std::string const& name() const { return _name.value(); }
    void done() { spares.node = std::move(_name); }

private:
    std::set<std::string>& _pending;
    PendingName _name;
};

/** Shortens a key to that of the group around it; false when there is none. */
bool shorten(std::string& key) {
    auto const* const slash = static_cast<char const*>(::memrchr(key.data(), '/', key.size()));
    if (key.size() == 1 || slash == nullptr)
        return false;
    key.resize(std::max<std::size_t>(1, static_cast<std::size_t>(slash - key.data())));
    return true;
}

constexpr std::size_t longKey = 512; // from here on looking for each level costs more than skipping some

/**
 * Shortens a key that has no entries past the groups around it that have none either: what encloses it and is
 * there stands before it, and shares with it no more than the one before it does. `behind` is the first entry
 * behind it.
 */
void skip(std::string& key, Listeners const& listeners, Listeners::const_iterator behind) {
    if (behind == listeners.begin()) {
        key.resize(1);
        return;
    }
    std::string const& before = std::prev(behind)->first;
    auto const shared = std::mismatch(before.begin(), before.end(), key.begin(), key.end()).second;
    // With the byte behind what is shared: that may be the slash which ends the group.
    key.erase(shared + 1, key.end());
}

void announce(Listeners& listeners, void* sender, std::string const& name) {
    if (name.empty())
        return;
    std::string key = std::move(spares.key);
    key = name;
    do {
        auto const first = listeners.lower_bound(key);
        if (first != listeners.end() && first->first == key)
            Round(listeners, first).tell(sender, name);
        else if (key.size() > longKey)
            skip(key, listeners, first);
    } while (shorten(key));
    spares.key = std::move(key);
}

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
    Announcement announcement(_changedProperties);
    for (std::string const& name : announcement.names())
        announce(_callbacks, sender, name);
    announcement.done();
}

void _Register::announceChange(void* sender, std::string const& name) {
    if (!_changedProperties.empty()) {
        markAsChanged(sender, name);
    } else if (!_callbacks.empty()) {
        SingleAnnouncement announcement(_changedProperties, name);
        announce(_callbacks, sender, announcement.name());
        announcement.done();
    }
}

void _Register::markAsChanged(void* sender, std::string const& name) {
    auto inserted = _changedProperties.insert(makeNode(name)); // without the lock: this is meant
    if (!inserted.inserted)
        spares.node = std::move(inserted.node); // the name is pending already
    notify(sender);
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
