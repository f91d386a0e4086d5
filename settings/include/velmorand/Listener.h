// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <boost/thread/lock_guard.hpp>

#include "utils/properties/Register.h"

/**
 * Listeners that leave the register by themselves.
 *
 * A `Listener` is called at once, on the thread that made the change, with the register's lock held: for work
 * that is short, such as to note that something is out of date. A `QueuedListener` collects the names and
 * hands them over when the program's own loop asks, with no lock held: for everything else, and whenever what
 * is to be done takes a lock, waits, or belongs to one thread, as a user interface does.
 *
 * `_Register::initialize` comes first: whatever uses the register before, making a listener too, builds it
 * without the register files. Keys are compared as text, as `_Register::addCallback` says.
 *
 * Locks: the register's lock comes first, those taken inside a `Listener`'s call come after it. So a lock that
 * is taken there is never held while the register is called, or while a listener is made or destroyed.
 */
namespace utils::properties {

namespace detail {

/** Whether the register has been destroyed, or is about to be. Guarded by the register's lock. */
inline bool registerIsGone = false;

/** To be called when the register has been made: what is made after it is destroyed before it. */
inline void watchRegister() {
    struct Watch {
        ~Watch() {
            boost::lock_guard<boost::recursive_mutex> const lock(*_Register::_mutex);
            registerIsGone = true;
        }
    };
    static Watch const watch;
}

/**
 * What the register knows of a listener. It is called through a plain pointer, so it outlives the handle for
 * as long as a call is under way.
 */
class ListenerEntry : public _Register::Callback, public std::enable_shared_from_this<ListenerEntry> {
public:
    void* owner() final { return _sender; }

    void propertyChanged(std::string const& name) final {
        auto const self = shared_from_this(); // the call may destroy the handle
        if (!_left)
            call(name);
    }

    void enter(std::string const& key) {
        boost::lock_guard<boost::recursive_mutex> const lock(*_Register::_mutex);
        if (registerIsGone)
            return;
        _Register::getInstance()->addCallback(key, this);
        watchRegister();
    }

    void leave() {
        boost::lock_guard<boost::recursive_mutex> const lock(*_Register::_mutex);
        _left = true;
        if (!registerIsGone) {
            _Register::getInstance()->removeCallback(this);
            return;
        }
        // The process exits. The register may still be about and know this entry: it stays, and does nothing.
        static auto* const kept = new std::vector<std::shared_ptr<ListenerEntry>>;
        kept->push_back(shared_from_this());
    }

protected:
    /** Without a sender to be left out it is its own, which no change can have. */
    explicit ListenerEntry(void* sender) : _sender(sender != nullptr ? sender : this) {}

    virtual void call(std::string const& name) = 0;

private:
    void* _sender;
    bool _left = false;
};

template <class Call>
class CallingEntry final : public ListenerEntry {
public:
    template <class From>
    CallingEntry(From&& call, void* sender) : ListenerEntry(sender), _call(std::forward<From>(call)) {}

private:
    void call(std::string const& name) override { _call(name); }

    Call _call;
};

} // namespace detail

/**
 * Calls something whenever a property changes, for as long as this object lives.
 *
 *     Listener listener{"editor", [](std::string const& name) { std::cout << name << " changed\n"; }};
 *
 * It may be destroyed at any time: on any thread, where it waits for a call that is under way on another;
 * inside its own call, whose callable lives until it returns; and at exit, after the register.
 * Locks: making and destroying it takes the register's lock; the call is made with the lock held.
 */
class Listener {
public:
    Listener() = default;

    /**
     * Listens to the property or to the group `key`, and calls `call(name)` with the name as its writer gave
     * it. Changes made with `sender`, unless it is null, are left out. What the call throws reaches the writer.
     */
    template <class Call>
    Listener(std::string const& key, Call&& call, void* sender = nullptr)
        : _entry(
              std::make_shared<detail::CallingEntry<std::decay_t<Call>>>(std::forward<Call>(call), sender)) {
        static_assert(std::is_invocable_v<std::decay_t<Call>&, std::string const&>,
                      "a listener is called with the name of the property");
        _entry->enter(key);
    }

    Listener(Listener&& other) noexcept = default;
    Listener& operator=(Listener&& other) noexcept {
        Listener old(std::move(other));
        std::swap(_entry, old._entry);
        return *this;
    }
    ~Listener() {
        if (_entry)
            _entry->leave();
    }

private:
    std::shared_ptr<detail::ListenerEntry> _entry;
};

/**
 * Collects the names of properties that change, each once, until they are asked for. One that has been moved
 * from is only destroyed or assigned to.
 *
 *     QueuedListener changes{"editor", [&loop] { loop.wake(); }};
 *     changes.deliver([](std::string const& name) { show(name); }); // in the loop
 *
 * Locks: making and destroying it takes the register's lock; everything else takes only a lock of its own, for
 * a few instructions, so it is safe whatever else is locked.
 */
class QueuedListener {
public:
    explicit QueuedListener(std::string const& key) : QueuedListener(key, [] {}) {}

    /**
     * Collects changes to the property or in the group `key`, but for those made with `sender`, unless it is
     * null. `wake()` is called at the first change, and again at the first after each `deliver`, on the thread
     * that made the change, with the register's lock held: it only sets a flag or posts an event.
     */
    template <class Wake>
    QueuedListener(std::string const& key, Wake&& wake, void* sender = nullptr)
        : _queue(std::make_shared<Queue>()),
          _listener(
              key,
              [queue = _queue, wake = std::forward<Wake>(wake)](std::string const& name) mutable {
                  if (!queue->add(name))
                      return;
                  try {
                      wake();
                  } catch (...) {
                      queue->sleep(); // nobody has been woken: the next change tries again
                      throw;
                  }
              },
              sender) {}

    /** Whether there is nothing to hand over. */
    [[nodiscard]] bool empty() const {
        std::lock_guard<std::mutex> const lock(_queue->mutex);
        return _queue->names.empty();
    }

    /**
     * Calls `handle(name)` for each name collected so far, in the order of their bytes, with no lock held.
     * Names that change meanwhile wait for the next time.
     * Result: how many there were.
     * Errors: what `handle` throws; the names it was not called with stay collected, for the next time.
     */
    template <class Handle>
    std::size_t deliver(Handle&& handle) {
        auto const queue = _queue; // the handler may destroy this object
        std::set<std::string> names;
        {
            std::lock_guard<std::mutex> const lock(queue->mutex);
            names.swap(queue->names);
            queue->isAwake = false;
        }
        std::size_t count = 0;
        try {
            for (; !names.empty(); ++count)
                handle(names.extract(names.begin()).value());
        } catch (...) {
            std::lock_guard<std::mutex> const lock(queue->mutex);
            queue->names.merge(names);
            throw;
        }
        return count;
    }

private:
    struct Queue {
        /** Result: whether somebody is to be woken. */
        bool add(std::string const& name) {
            std::lock_guard<std::mutex> const lock(mutex);
            names.insert(name);
            return !std::exchange(isAwake, true);
        }

        void sleep() {
            std::lock_guard<std::mutex> const lock(mutex);
            isAwake = false;
        }

        std::mutex mutex;
        std::set<std::string> names;
        bool isAwake = false; // woken since the names were last handed over
    };

    std::shared_ptr<Queue> _queue;
    Listener _listener;
};

} // namespace utils::properties
