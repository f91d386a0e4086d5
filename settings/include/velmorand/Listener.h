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
 * Listeners that unregister automatically when they are destroyed.
 *
 *     Listener drawing{"editor", [](std::string const& name) { markAsOutOfDate(name); }};
 *     Listener fonts{settings::size, [](double size) { setSize(size); }};
 *     QueuedListener shown{settings::size, inThreadOf(&window), [&](double size) { window.resizeText(size); }};
 *
 * A `Listener` is called immediately, on the thread that made the change, with the settings' lock held. Use it for
 * short work, such as marking something as out of date. A `QueuedListener` collects the names and delivers them later,
 * on the thread of the program's event loop, with no lock held. Use it for everything else, and always if the work
 * takes a lock, waits, or must run on one thread, as in a user interface.
 *
 * **Keys.** A key is the name of a property, or the name of a group, for everything in it. The property or group need
 * not exist. Doubled, leading and trailing "/" are ignored, and the empty key, `everything`, is the group of all
 * settings. A listener under a key with a level "." or ".." is never called, because no property has such a level.
 *
 * This library announces names without such extra "/", but the writers of `_Register` announce a name as it is passed
 * to them. A trailing "/" makes no difference. If a name contains a doubled "/", only listeners to the groups before
 * the doubled "/" are notified. If it begins with a "/", only listeners to everything are notified.
 *
 * **Changes.** Each listener is notified of a change once, whether it is made by this library, the writers of
 * `_Register` or another program. Changes by other operations of `_Register`, such as `delProperty`, `load` and those
 * of the file system, are announced only if `markAsChanged` is called for them. Listeners to everything are not
 * notified of a name whose first level is not valid UTF-8, nor of a name passed to `markAsChanged` whose first level
 * has not existed in any scope since the listener was created.
 *
 * Create a `LiveSettings` or call `initialize` before you create a listener: creating a listener opens the register,
 * and otherwise it opens without its files.
 *
 * A listener may be created in one module of a program and destroyed in another. A plug-in must destroy its listeners
 * before it is unloaded. After the register's end, while the process exits, a new listener is never called, and
 * destroying a listener only releases its memory.
 *
 * Locks: a `Listener`'s function is called with the settings' lock held. So do not hold a lock that such a function
 * takes while you use the settings, or create or destroy a listener: that could deadlock.
 *
 * Guide: docs/guide.md#listen-for-changes.
 */
namespace velmorand {

template <class T>
class Property;

/** The key of all settings. */
inline constexpr char const* everything = "";

/**
 * Schedules a task: the program's event loop must run it later, once, on the thread that is to call the handler.
 * `inThreadOf` (velmorand/QtThread.h) returns an executor for an event loop of Qt.
 */
using Executor = std::function<void(std::function<void()> task)>;

namespace detail {

/** Whether an argument in the position of a handler is a sender: whether it converts to `void*`. */
template <class Argument>
inline constexpr bool isSender = std::is_convertible_v<Argument, void*>;

/** Wraps a function of the property's value in a function of a name. */
template <class T, class Call>
std::function<void(std::string const&)> withValueOf(Property<T> const& property, Call&& call) {
    static_assert(std::is_invocable_v<std::decay_t<Call>&, T const&>,
                  "a listener to a property is called with its value");
    return [property, call = asFunction<void(T const&)>(std::forward<Call>(call))](std::string const&) {
        call(property.get());
    };
}

template <class Call>
std::function<void(std::string const&)> withName(Call&& call) {
    static_assert(std::is_invocable_v<std::decay_t<Call>&, std::string const&>,
                  "a listener is called with the name of the property");
    return asFunction<void(std::string const&)>(std::forward<Call>(call));
}

} // namespace detail

/**
 * Calls a function whenever a property changes, for as long as this object exists.
 *
 *     Listener listener{"editor", [](std::string const& name) { std::cout << name << " changed\n"; }};
 *     Listener everyone{everything, [](std::string const& name) { std::cout << name << " changed\n"; }};
 *
 * It may be destroyed at any time and on any thread: even inside its own call, in which case the function object exists
 * until the call returns, and even at exit, after the register. The destructor waits for a call that is running on
 * another thread.
 * Locks: creating and destroying it takes the settings' lock; the call is made with the lock held.
 */
class VELMORAND_SETTINGS_EXPORT Listener {
public:
    /** Listens to nothing. */
    Listener() noexcept;

    /**
     * Listens to the property or group `key`, and calls `call(name)` with the name exactly as its writer passed it.
     * Listeners to the property are called first, then those to its groups, innermost first; listeners with the same
     * key are called in the order of their creation. Listeners to everything are called last: with the listeners to the
     * first level of the name, or after them. Changes made with `sender` are ignored, unless it is null.
     *
     * If the call throws, the other listeners are still notified, and then the exception reaches the writer. If several
     * throw, the writer gets the first exception, and the others are printed on standard error. If another program made
     * the change, all are printed, `std::bad_alloc` included. In this program's changes, `std::bad_alloc` reaches the
     * writer at once, and so does any exception if a writer of `_Register` made the change outside of a
     * `_Register::Callback`; the next change then notifies all listeners of the name again.
     *
     * Cost: a listener to everything needs about 100 bytes for each first level of a name that exists, or has existed
     * while there was such a listener.
     */
    template <class Call>
    Listener(std::string const& key, Call&& call, void* sender = nullptr)
        : Listener(key, Hears::group, detail::withName(std::forward<Call>(call)), sender) {}

    /**
     * Listens to the property, and calls `call(property.get())` whenever it is written or removed in any scope, even if
     * the value in force is the same as before. A function that computes the fallback is then called with the settings'
     * lock held, and its exceptions are treated like those of the call. Otherwise as above. Requires
     * velmorand/Property.h.
     * Owner: the listener keeps a copy of the property, and so its declaration.
     */
    template <class T, class Call>
    Listener(Property<T> const& property, Call&& call, void* sender = nullptr)
        : Listener(property.name(), Hears::property, detail::withValueOf(property, std::forward<Call>(call)),
                   sender) {}

    Listener(Listener&& other) noexcept;
    Listener& operator=(Listener&& other) noexcept;
    ~Listener();

private:
    friend class QueuedListener;

    class Entry;
    using Function = std::function<void(std::string const&)>;

    /** The scope of a key: the property or group and everything in it, or only the property. */
    enum class Hears { group, property };

    Listener(std::string const& key, Hears hears, Function call, void* sender);

    std::shared_ptr<Entry> _entry;
};

/**
 * Collects the names of changed properties, without duplicates, until they are delivered: by the program's loop, which
 * calls `deliver`, or through an executor. A moved-from object may only be destroyed or assigned to.
 *
 *     QueuedListener changes{"editor", [&loop] { loop.wake(); }};
 *     changes.deliver([](std::string const& name) { show(name); }); // in the loop
 *
 *     QueuedListener shown{"editor", inThreadOf(&window), [](std::string const& name) { show(name); }};
 *
 * Once the object has been destroyed, its handler is not called any more, even if the executor still has tasks. The
 * object may be destroyed on any thread, even inside the handler, which then exists until it returns. The destructor
 * waits for a call of the handler that is running on another thread: do not hold a lock that the handler takes, nor the
 * settings' lock if the handler uses the settings. The same rules apply to assigning to the object.
 *
 * Locks: creating and destroying it takes the settings' lock. All other operations take only a private lock, for a few
 * instructions, so the caller may hold any lock.
 */
class VELMORAND_SETTINGS_EXPORT QueuedListener {
public:
    ///@{
    /** Collects changes to the property or in the group `key`, or to one declared property. */
    explicit QueuedListener(std::string const& key) : QueuedListener(key, [] {}) {}
    template <class T>
    explicit QueuedListener(Property<T> const& property) : QueuedListener(property, [] {}) {}
    ///@}

    ///@{
    /**
     * Changes made with `sender` are ignored, unless `sender` is null. `wake()` is called at the first change, and at
     * the first change after each `deliver`, on the thread that made the change, with the settings' lock held: it
     * should only set a flag or post an event. Its exceptions are treated like those of a `Listener`; the names stay
     * collected, and the next change that is collected calls it again.
     */
    template <class Wake>
    QueuedListener(std::string const& key, Wake&& wake, void* sender = nullptr)
        : QueuedListener(key, Listener::Hears::group, waking(std::forward<Wake>(wake)), nullptr, sender) {}
    template <class T, class Wake>
    QueuedListener(Property<T> const& property, Wake&& wake, void* sender = nullptr)
        : QueuedListener(property.name(), Listener::Hears::property, waking(std::forward<Wake>(wake)),
                         nullptr, sender) {}
    ///@}

    ///@{
    /**
     * Delivers the changes automatically: `executor(task)` is called as `wake` is, and `task()` calls `handle(name)`
     * for each name collected so far, in byte order, or `handle(property.get())` once, with no lock held. Changes made
     * meanwhile are delivered by the next task. An exception of the handler is written to standard error, and the next
     * name is delivered, so `task()` never throws. If the executor runs tasks on several threads, the handler is called
     * on several threads at once. If the executor drops a task, nothing more is delivered.
     */
    template <class Execute, class Handle, std::enable_if_t<!detail::isSender<Handle>, int> = 0>
    QueuedListener(std::string const& key, Execute&& executor, Handle&& handle, void* sender = nullptr)
        : QueuedListener(key, Listener::Hears::group, executing(std::forward<Execute>(executor)),
                         detail::withName(std::forward<Handle>(handle)), sender) {}
    template <class T, class Execute, class Handle, std::enable_if_t<!detail::isSender<Handle>, int> = 0>
    QueuedListener(Property<T> const& property, Execute&& executor, Handle&& handle, void* sender = nullptr)
        : QueuedListener(property.name(), Listener::Hears::property,
                         executing(std::forward<Execute>(executor)),
                         detail::withValueOf(property, std::forward<Handle>(handle)), sender) {}
    ///@}

    QueuedListener(QueuedListener&& other) noexcept;
    QueuedListener& operator=(QueuedListener&& other) noexcept;
    ~QueuedListener();

    /** Whether there is nothing to deliver. */
    [[nodiscard]] bool empty() const;

    /**
     * Calls `handle(name)` for each name collected so far, in byte order, with no lock held. Changes made meanwhile are
     * kept for the next call. The handler may destroy this object.
     * Result: the number of names.
     * Errors: exceptions of `handle`. The names that follow the failed one are kept for the next call.
     */
    template <class Handle>
    std::size_t deliver(Handle&& handle) {
        return deliverTo(std::ref(handle));
    }

    /**
     * Calls `handle(property.get())` if the property has changed. For a listener to one property.
     * Result: the number of calls. Otherwise as above.
     */
    template <class T, class Handle>
    std::size_t deliver(Property<T> const& property, Handle&& handle) {
        return deliverTo([&](std::string const&) { handle(property.get()); });
    }

private:
    class Queue;
    using Handler = std::function<void(std::string const&)>;

    template <class Wake>
    static Executor waking(Wake&& wake) {
        static_assert(std::is_invocable_v<std::decay_t<Wake>&>, "wake is called without arguments");
        return [call = detail::asFunction<void()>(std::forward<Wake>(wake))](auto const&) { call(); };
    }

    template <class Execute>
    static Executor executing(Execute&& executor) {
        static_assert(std::is_invocable_v<std::decay_t<Execute>&, std::function<void()>>,
                      "an executor is called with a std::function<void()>");
        return detail::asFunction<void(std::function<void()>)>(std::forward<Execute>(executor));
    }

    QueuedListener(std::string const& key, Listener::Hears hears, Executor executor, Handler handler,
                   void* sender);

    std::size_t deliverTo(Handler const& handle);

    std::shared_ptr<Queue> _queue;
    Listener _listener;
};

} // namespace velmorand
