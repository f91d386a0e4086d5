// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>

#include "velmorand/Export.h"
#include "velmorand/Listener.h"

namespace velmorand {

/**
 * An executor that runs its tasks in the event loop of the thread in which `object` lives, as queued calls to it:
 *
 *     QueuedListener sizes{settings::size, inThreadOf(&window), [&](double size) { window.resizeText(size); }};
 *
 * The object may move to another thread, taking the tasks with it. Once it has been destroyed, tasks are dropped: a
 * `QueuedListener` calls its handler no more. Like every QObject with queued calls, it must be destroyed on its own
 * thread, or after that thread has finished. The executor and its copies may be called and destroyed on any thread
 * at any time, before or after the object.
 *
 * A handler that runs an event loop of its own, as a modal dialog does, may be called again inside it.
 *
 * Errors: `utils::Exception` if `object` is null.
 * Locks: a call of the executor takes a lock of its own, which is also taken while the object is destroyed, and Qt's lock
 * on the thread's events. It is safe whatever else is locked.
 * Owner: the caller keeps the object.
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT Executor inThreadOf(QObject* object);

} // namespace velmorand
