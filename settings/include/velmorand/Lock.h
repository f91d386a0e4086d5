// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmorand/Export.h"

namespace velmorand {

/**
 * Holds the settings' lock for as long as it exists, so that other threads see either all or none of the changes made
 * meanwhile.
 *
 *     Lock const lock;
 *     width.set(800);
 *     height.set(600);
 *
 * Listeners are still notified after each single change; `Changes` notifies them when all changes are in place. The
 * lock is recursive: a thread that holds it may take it again. Never wait for another thread while holding it. It is
 * not taken after the register's end, nor in a forked child if a thread of the parent held it at the fork.
 *
 * Guide: docs/guide.md#threads.
 */
class VELMORAND_SETTINGS_EXPORT Lock {
public:
    /** Waits for the lock. */
    Lock();
    Lock(Lock const&) = delete;
    Lock& operator=(Lock const&) = delete;
    ~Lock();

private:
    bool _held;
};

} // namespace velmorand
