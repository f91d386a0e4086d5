// SPDX-License-Identifier: Apache-2.0
#include "Access.h"

#include <atomic>

#include <pthread.h>

#include <filesystem/ChangeCounter.h>
#include <filesystem/Lifetime.h>

#include "Names.h"

namespace velmorand {

namespace {

using utils::properties::_Register;

// Trivially destructible, so that static objects can use them at any time during exit.
std::atomic<Availability> state{Availability::available};
_Register* theRegister = nullptr; // guarded by the lock; null until the first use

void becomeUnavailable(Availability now) {
    state = now;
    registerState.fetch_add(1);
}

/**
 * A lock that was held during the fork stays locked in the child forever: the other threads of the parent do not exist
 * there, and the lock does not recognise the forking thread, because its thread ID has changed.
 */
void checkLockAfterFork() {
    if (!_Register::_mutex->try_lock())
        becomeUnavailable(Availability::lockAbandoned);
    else
        _Register::_mutex->unlock();
}

[[maybe_unused]] int const lockCheckedAfterForks = ::pthread_atfork(nullptr, nullptr, checkLockAfterFork);

/** The register, created on first use; null if it has been destroyed. The lock is held. */
_Register* openRegister() {
    if (theRegister != nullptr)
        return theRegister;
    _Register* const opened = _Register::getInstance();
    // If the register was used and destroyed without this library, `opened` is dangling.
    if (filesystem::callAtEnd(opened, [] { becomeUnavailable(Availability::destroyed); })) {
        theRegister = opened;
        filesystem::countChanges(*opened, registerState);
    } else {
        becomeUnavailable(Availability::destroyed);
    }
    return theRegister;
}

} // namespace

// On a separate cache line, to avoid false sharing: only changes of the register slow down readers.
alignas(64) std::atomic<std::uint64_t> registerState{1};

void countChange() noexcept {
    registerState.fetch_add(1);
}

Availability availability() noexcept {
    return state.load(std::memory_order_acquire);
}

char const* unavailabilityReason() noexcept {
    return availability() == Availability::destroyed
               ? "the process is exiting and its settings have been closed"
               : "the settings were locked when this process was forked";
}

Access::Access() : _register(availability() == Availability::available ? openRegister() : nullptr) {}

RequiredAccess::RequiredAccess(std::string const& failure) {
    if (!*this)
        throw utils::Exception(failure + ": " + unavailabilityReason());
}

RequiredAccess::RequiredAccess(std::string const& failure, std::string const& name) {
    if (!*this)
        throw utils::Exception(failure + ' ' + inQuotes(name) + ": " + unavailabilityReason());
}

} // namespace velmorand
