// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmorand/Export.h"

namespace velmorand {

/**
 * Holds the lock of all settings for as long as it exists, so that other threads see several operations as one: they
 * read all of the changes or none.
 *
 *     Lock const lock;
 *     width.set(800);
 *     height.set(600);
 *
 * Listeners are notified of each change before the next is made; `Changes` notifies them when all changes are in place.
 * The lock is recursive: a thread that holds it may take it again. Never wait for another thread while holding it.
 * After the register's end, while the process exits, there is nothing to guard, and the lock is not taken.
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
