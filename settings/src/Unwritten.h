// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <string>
#include <utility>

namespace velmorand {

/** Reports an exception of a listener to `name` on standard error. `byWhom` may be empty. */
void reportThrown(std::string const& name, char const* byWhom, std::string const& thrown);

/** Calls a function of the program for a change of `name`, and reports its exceptions. */
template <class Call>
void callAndReport(std::string const& name, char const* byWhom, Call&& call) {
    try {
        call();
    } catch (std::exception const& thrown) {
        reportThrown(name, byWhom, thrown.what());
    } catch (...) {
        reportThrown(name, byWhom, "not a std::exception");
    }
}

/**
 * While an object of this class exists, the changes that are announced were made by another process, so there is no
 * caller that could handle the exceptions of listeners. Each `Listener` then reports its exceptions itself, and the
 * other listeners are still notified.
 * Locks: the caller holds the settings' lock.
 */
class Unwritten {
public:
    Unwritten() : _outer(std::exchange(_isNow, true)) {}
    Unwritten(Unwritten const&) = delete;
    Unwritten& operator=(Unwritten const&) = delete;
    ~Unwritten() { _isNow = _outer; }

    /** Calls a listener. Reports its exceptions, unless a writer can catch them. */
    template <class Call>
    static void call(std::string const& name, Call&& call) {
        if (!_isNow) {
            call();
            return;
        }
        Written const written;
        callAndReport(name, " (changed by another program)", std::forward<Call>(call));
    }

private:
    /** Suspends `Unwritten` while a listener is called: the listener can catch the exceptions of its own changes. */
    class Written {
    public:
        Written() : _outer(std::exchange(_isNow, false)) {}
        Written(Written const&) = delete;
        Written& operator=(Written const&) = delete;
        ~Written() { _isNow = _outer; }

    private:
        bool _outer;
    };

    static bool _isNow;

    bool _outer;
};

} // namespace velmorand
