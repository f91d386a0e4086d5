// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <string>
#include <utility>

namespace velmorand {

/** Writes on standard error what a listener has thrown for a change: of a name, and by whom, if that is known. */
void reportThrown(std::string const& name, char const* byWhom, std::string const& thrown);

/** Calls a function of the program's, and reports what it throws for a change. */
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
 * While one lives, the changes that are announced have no writer in this process, who could get what a listener throws.
 * Each `Listener` reports it then, so that the others are notified all the same. Locks: only with the settings' lock
 * held.
 */
class Unwritten {
public:
    Unwritten() : _outer(std::exchange(_isNow, true)) {}
    Unwritten(Unwritten const&) = delete;
    Unwritten& operator=(Unwritten const&) = delete;
    ~Unwritten() { _isNow = _outer; }

    /** Calls a listener to a name, and reports what it throws unless a writer gets it. */
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
    /** What a listener changes itself does have a writer: the listener. */
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
