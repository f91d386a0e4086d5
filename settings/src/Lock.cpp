// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Lock.h"

#include <ctime>

#include <pthread.h>

#include "Access.h"
#include "Waiting.h"

namespace velmorand {

namespace {

thread_local int holds = 0;

/** Takes the lock if it becomes free within about 50 ms. */
bool takeSoon() {
    constexpr long wait = 50'000'000;
    constexpr long second = 1'000'000'000;
    // Uses the real-time clock, since ThreadSanitizer does not support waiting with another one. If the clock is set,
    // the wait ends early or late, which is harmless.
    timespec until = {};
    ::clock_gettime(CLOCK_REALTIME, &until);
    until.tv_nsec += wait;
    until.tv_sec += until.tv_nsec / second;
    until.tv_nsec %= second;
    return ::pthread_mutex_timedlock(utils::properties::_Register::_mutex->native_handle(), &until) == 0;
}

} // namespace

// At exit the lock is taken and never released, so waiting threads check regularly whether the register is still
// available.
bool takeLock(GiveUp const& giveUp) {
    while (availability() == Availability::available) {
        if (utils::properties::_Register::_mutex->try_lock() || takeSoon()) {
            ++holds;
            return true;
        }
        if (giveUp && giveUp())
            return false;
    }
    return false;
}

void giveLockBack() {
    --holds;
    // A forked child cannot release a lock that its parent took.
    if (availability() != Availability::lockAbandoned)
        utils::properties::_Register::_mutex->unlock();
}

int holdsOfThisThread() noexcept {
    return holds;
}

RegistersHold::RegistersHold() noexcept {
    ++holds;
}

RegistersHold::~RegistersHold() {
    --holds;
}

Lock::Lock() : _held(takeLock(nullptr)) {}

Lock::~Lock() {
    if (_held)
        giveLockBack();
}

} // namespace velmorand
