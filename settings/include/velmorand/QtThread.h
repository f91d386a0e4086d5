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
 * The object may move to another thread; its tasks move with it. Once it has been destroyed, tasks are dropped, and a
 * `QueuedListener` no longer calls its handler. Like every QObject with queued calls, it must be destroyed on its own
 * thread, or after that thread has finished. The executor and its copies may be called and destroyed on any thread at
 * any time, before or after the object.
 *
 * A handler that runs a nested event loop, as a modal dialog does, may be called again in that loop.
 *
 * Errors: `utils::Exception` if `object` is null.
 * Locks: a call of the executor takes a private lock, which is also taken while the object is destroyed, and Qt's lock
 * on the thread's events. The caller may hold any lock.
 * Owner: the caller keeps the object.
 *
 * Guide: docs/recipes.md#handle-changes-in-qts-event-loop.
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT Executor inThreadOf(QObject* object);

} // namespace velmorand
