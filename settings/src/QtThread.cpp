// SPDX-License-Identifier: Apache-2.0
#include "velmorand/QtThread.h"

#include <memory>
#include <mutex>
#include <utility>

#include <pthread.h>

#include <QMetaObject>

#include <utils/Exception.h>

namespace velmorand {

namespace {

/**
 * Guards all targets, so that no object is destroyed while a call is being queued to it. Each task also locks it before
 * it runs, because ThreadSanitizer does not see Qt's own synchronisation. Held during a fork, so that the child finds
 * it free.
 */
std::mutex targetsMutex;

[[maybe_unused]] int const targetsHeldDuringForks = ::pthread_atfork(
    [] { targetsMutex.lock(); }, [] { targetsMutex.unlock(); }, [] { targetsMutex.unlock(); });

/** `object` becomes null when the object is being destroyed. */
struct Target {
    QObject* object;
};

/** The connection of an executor and its copies to their target. */
class Connection {
public:
    explicit Connection(QObject* object) : _target(std::make_shared<Target>(Target{object})) {
        std::lock_guard<std::mutex> const lock(targetsMutex);
        _connection = QObject::connect(object, &QObject::destroyed, [target = _target] {
            std::lock_guard<std::mutex> const locked(targetsMutex);
            target->object = nullptr;
        });
    }
    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;
    ~Connection() {
        std::lock_guard<std::mutex> const lock(targetsMutex);
        if (_target->object != nullptr)
            QObject::disconnect(_connection);
    }

    void queue(std::function<void()> task) const {
        auto call = [run = std::move(task)] {
            { std::lock_guard<std::mutex> const handedOver(targetsMutex); }
            run();
        };
        std::lock_guard<std::mutex> const lock(targetsMutex);
#ifndef __clang_analyzer__ // it reports a leak of the call, which Qt deletes
        if (_target->object != nullptr)
            QMetaObject::invokeMethod(_target->object, std::move(call), Qt::QueuedConnection);
#endif
    }

private:
    std::shared_ptr<Target> const _target;
    QMetaObject::Connection _connection;
};

} // namespace

Executor inThreadOf(QObject* object) {
    if (object == nullptr)
        throw utils::Exception("inThreadOf: the object is null");
    return [connection = std::make_shared<Connection>(object)](std::function<void()> task) {
        connection->queue(std::move(task));
    };
}

} // namespace velmorand
