// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <new>
#include <string>
#include <utility>

#include <cxxabi.h>

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
    } catch (abi::__forced_unwind const&) { // the end of a thread, which must not be stopped
        throw;
    } catch (...) {
        reportThrown(name, byWhom, "not a std::exception");
    }
}

/**
 * While an object of this class exists, changes that this library has made or merged are announced. Each `Listener`
 * then passes its exceptions to this object, and the other listeners are still notified. Without such an object, a
 * writer of `_Register` announces its change, and exceptions leave its announcement at once.
 * Locks: the caller holds the settings' lock.
 */
class Notifying {
public:
    enum class Writer {
        caller,       ///< receives the first exception from `rethrow`; the others are reported
        otherProgram, ///< cannot receive any exception; all are reported
    };

    explicit Notifying(Writer writer) : _writer(writer), _outer(std::exchange(_innermost, this)) {}
    Notifying(Notifying const&) = delete;
    Notifying& operator=(Notifying const&) = delete;
    /** Reports the first exception if another one keeps it from being thrown. */
    ~Notifying() {
        _innermost = _outer;
        try {
            if (_thrown)
                callAndReport(_name, "", [this] { rethrow(); });
        } catch (std::bad_alloc const&) { // no memory for the line
        }
    }

    /** Throws the first exception of a listener, if there is one. */
    void rethrow() {
        if (_thrown)
            std::rethrow_exception(std::exchange(_thrown, nullptr));
    }

    /** Calls a listener to `name`. */
    template <class Call>
    static void call(std::string const& name, Call&& call) {
        Notifying* const around = _innermost;
        if (around == nullptr) {
            call();
            return;
        }
        Suspension const suspension;
        if (around->_writer == Writer::otherProgram)
            callAndReport(name, " (changed by another program)", std::forward<Call>(call));
        else
            around->collect(name, std::forward<Call>(call));
    }

private:
    /** Suspends the announcement while a listener is called: the listener can catch the exceptions of its own changes. */
    class Suspension {
    public:
        Suspension() : _outer(std::exchange(_innermost, nullptr)) {}
        Suspension(Suspension const&) = delete;
        Suspension& operator=(Suspension const&) = delete;
        ~Suspension() { _innermost = _outer; }

    private:
        Notifying* _outer;
    };

    template <class Call>
    void collect(std::string const& name, Call&& call) {
        try {
            call();
        } catch (std::bad_alloc const&) {
            throw; // the name stays pending, so that no listener misses a change because of a lack of memory
        } catch (abi::__forced_unwind const&) {
            throw;
        } catch (...) {
            if (_thrown) {
                callAndReport(name, "", [] { throw; });
            } else {
                _name = name;
                _thrown = std::current_exception();
            }
        }
    }

    static Notifying* _innermost;

    Writer _writer;
    Notifying* _outer;
    std::string _name;          ///< of the change for which the first exception was thrown
    std::exception_ptr _thrown; ///< the first exception
};

} // namespace velmorand
