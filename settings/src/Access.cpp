// SPDX-License-Identifier: Apache-2.0
#include "Access.h"

#include <atomic>

#include <pthread.h>

#include <filesystem/Lifetime.h>

namespace velmorand {

namespace {

using utils::properties::_Register;

// Without destructors, so that static objects of any age can use them while the process exits.
std::atomic<Availability> state{Availability::available};
_Register* theRegister = nullptr; // guarded by the lock; null until the first use

/**
 * In a forked child only the forking thread goes on. If another thread held the lock nobody will release it; if the
 * forking thread itself did, the lock does not know it under its new identity.
 */
void checkLockAfterFork() {
    if (!_Register::_mutex->try_lock())
        state = Availability::lockAbandoned;
    else
        _Register::_mutex->unlock();
}

[[maybe_unused]] int const registered = ::pthread_atfork(nullptr, nullptr, checkLockAfterFork);

/** The register, opened now if it has not been used yet; null if it has been destroyed. The lock is held. */
_Register* openRegister() {
    if (theRegister != nullptr)
        return theRegister;
    _Register* const opened = _Register::getInstance();
    // If it was used and destroyed without this library, only its address is left.
    if (filesystem::callAtEnd(opened, [] { state = Availability::destroyed; }))
        theRegister = opened;
    else
        state = Availability::destroyed;
    return theRegister;
}

} // namespace

Availability availability() noexcept {
    return state.load(std::memory_order_acquire);
}

char const* unavailabilityReason() noexcept {
    return availability() == Availability::destroyed
               ? "the process is exiting and its settings have been closed"
               : "another thread was using the settings when this process was forked";
}

Access::Access() : _register(availability() == Availability::available ? openRegister() : nullptr) {}

RequiredAccess::RequiredAccess(std::string const& what) {
    if (!*this)
        throw utils::Exception(what + ": " + unavailabilityReason());
}

} // namespace velmorand
