// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <string>
#include <utility>

namespace velmorand {

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
        try {
            call();
        } catch (std::exception const& thrown) {
            report(name, thrown.what());
        } catch (...) {
            report(name, "an exception");
        }
    }

private:
    /** Writes on standard error what a listener to a name has thrown. */
    static void report(std::string const& name, std::string const& thrown);

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
