// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "velmorand/Callable.h"
#include "velmorand/Export.h"

/**
 * Listeners that unregister themselves when they are destroyed.
 *
 * A `Listener` is called at once, on the thread that made the change, with the settings' lock held: for short
 * work, such as marking something as out of date. A `QueuedListener` collects the names and delivers them when
 * the program's own loop asks, with no lock held: for everything else, and whenever the work takes a lock,
 * waits, or belongs to one thread, as a user interface does.
 *
 * Create a `LiveSettings` first, or call `initialize`: creating a listener opens the register, and without either it
 * opens without its files. Keys are compared with names byte by byte, as `_Register::addCallback` describes.
 *
 * A listener may be created in one module of a program and destroyed in another; a plug-in's listeners are gone
 * when they are destroyed, so the plug-in may be unloaded after that. After the register's end, while the
 * process exits, a new listener hears nothing, and destroying one only releases its memory.
 *
 * Locks: the settings' lock comes first; locks that a `Listener`'s call takes come after it. So never hold such
 * a lock while using the settings, or while creating or destroying a listener.
 */
namespace velmorand {

/**
 * Calls a function whenever a property changes, for as long as this object lives.
 *
 *     Listener listener{"editor", [](std::string const& name) { std::cout << name << " changed\n"; }};
 *
 * It may be destroyed at any time: on any thread, waiting for a call that is running on another; inside its own
 * call, in which case the function lives until it returns; and at exit, after the register.
 * Locks: creating and destroying it takes the settings' lock; the call is made with the lock held.
 */
class VELMORAND_SETTINGS_EXPORT Listener {
public:
    /** Listens to nothing. */
    Listener() noexcept;

    /**
     * Listens to the property or group `key` and calls `call(name)` with the name as its writer gave it.
     * Changes made with `sender` are left out, unless it is null. Exceptions of the call reach the writer; those for a
     * change by another program are written on standard error (`LiveSettings.h`).
     */
    template <class Call>
    Listener(std::string const& key, Call&& call, void* sender = nullptr)
        : Listener(key, detail::asFunction<void(std::string const&)>(std::forward<Call>(call)), sender,
                   Checked()) {
        static_assert(std::is_invocable_v<std::decay_t<Call>&, std::string const&>,
                      "a listener is called with the name of the property");
    }

    Listener(Listener&& other) noexcept;
    Listener& operator=(Listener&& other) noexcept;
    ~Listener();

private:
    class Entry;
    struct Checked {};

    Listener(std::string const& key, std::function<void(std::string const&)> call, void* sender,
             Checked checked);

    std::shared_ptr<Entry> _entry;
};

/**
 * Collects the names of properties that change, each once, until they are delivered. An object that has been
 * moved from may only be destroyed or assigned to.
 *
 *     QueuedListener changes{"editor", [&loop] { loop.wake(); }};
 *     changes.deliver([](std::string const& name) { show(name); }); // in the loop
 *
 * Locks: creating and destroying it takes the settings' lock. Everything else takes only a lock of its own, for
 * a few instructions, so it is safe whatever else is locked.
 */
class VELMORAND_SETTINGS_EXPORT QueuedListener {
public:
    explicit QueuedListener(std::string const& key) : QueuedListener(key, [] {}) {}

    /**
     * Collects changes of the property or in the group `key`, except those made with `sender`, unless it is
     * null. `wake()` is called at the first change, and at the first after each `deliver`, on the thread that
     * made the change, with the settings' lock held: it should only set a flag or post an event. If it throws,
     * the writer gets the exception and the next change calls it again.
     */
    template <class Wake>
    QueuedListener(std::string const& key, Wake&& wake, void* sender = nullptr)
        : QueuedListener(key, detail::asFunction<void()>(std::forward<Wake>(wake)), sender, Checked()) {}

    QueuedListener(QueuedListener&& other) noexcept;
    QueuedListener& operator=(QueuedListener&& other) noexcept;
    ~QueuedListener();

    /** Whether there is nothing to deliver. */
    [[nodiscard]] bool empty() const;

    /**
     * Calls `handle(name)` for each name collected so far, in byte order, with no lock held. Names that change
     * meanwhile wait for the next call. The handler may destroy this object.
     * Result: the number of names.
     * Errors: what `handle` throws; the names not handled yet stay collected.
     */
    template <class Handle>
    std::size_t deliver(Handle&& handle) {
        return deliverTo(std::ref(handle));
    }

private:
    class Queue;
    struct Checked {};

    QueuedListener(std::string const& key, std::function<void()> wake, void* sender, Checked checked);

    std::size_t deliverTo(std::function<void(std::string const&)> const& handle);

    std::shared_ptr<Queue> _queue;
    Listener _listener;
};

} // namespace velmorand
