// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

namespace velmorand {

/** Returns whether to stop waiting; called about every 50 ms during a wait. */
using GiveUp = std::function<bool()>;

/**
 * Waits for the settings' lock until it is taken, the register becomes unavailable, or `giveUp` returns true.
 * Result: whether the lock is held; the caller must release it.
 */
[[nodiscard]] bool takeLock(GiveUp const& giveUp);

/** Releases the lock that `takeLock` has taken. */
void giveLockBack();

/** How many times this thread holds the settings' lock, except locks taken directly through the register's mutex. */
[[nodiscard]] int holdsOfThisThread() noexcept;

/** Adds to `holdsOfThisThread` the lock that the register itself holds while it calls a listener. */
class RegistersHold {
public:
    RegistersHold() noexcept;
    RegistersHold(RegistersHold const&) = delete;
    RegistersHold& operator=(RegistersHold const&) = delete;
    ~RegistersHold();
};

/** Holds the settings' lock. For threads that must not wait for it forever. */
class AbandonableLock {
public:
    explicit AbandonableLock(GiveUp const& giveUp) : _held(takeLock(giveUp)) {}
    AbandonableLock(AbandonableLock const&) = delete;
    AbandonableLock& operator=(AbandonableLock const&) = delete;
    ~AbandonableLock() {
        if (_held)
            giveLockBack();
    }

    [[nodiscard]] bool isHeld() const noexcept { return _held; }

private:
    bool _held;
};

} // namespace velmorand
