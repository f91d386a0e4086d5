// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

namespace velmorand {

/** Whether to wait no longer; asked every now and then. */
using GiveUp = std::function<bool()>;

/**
 * Waits for the settings' lock until it is taken, the register is no longer available, or the caller gives up.
 * Result: whether the lock is taken; the caller gives it back.
 */
[[nodiscard]] bool takeLock(GiveUp const& giveUp);

void giveLockBack();

/** How often this thread holds the settings' lock, as far as this library has taken it. */
[[nodiscard]] int holdsOfThisThread() noexcept;

/** Counts a hold of the lock that this library has not taken: the register's, while it calls a listener. */
class RegistersHold {
public:
    RegistersHold() noexcept;
    RegistersHold(RegistersHold const&) = delete;
    RegistersHold& operator=(RegistersHold const&) = delete;
    ~RegistersHold();
};

/** Holds the settings' lock, for a thread that must not wait for it for ever. */
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
