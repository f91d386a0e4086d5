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
 * Guards all targets: an object is not destroyed while a call is queued to it. A task takes it first of all, so that what
 * it needs is handed over under a lock that ThreadSanitizer sees; it does not see those of Qt. It is held during a
 * fork, so that a child finds it free.
 */
std::mutex targetsMutex;

[[maybe_unused]] int const targetsHeldDuringForks = ::pthread_atfork(
    [] { targetsMutex.lock(); }, [] { targetsMutex.unlock(); }, [] { targetsMutex.unlock(); });

/** Null once the object is being destroyed. */
struct Target {
    QObject* object;
};

/** Keeps a target up to date while an executor has it. */
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
#ifndef __clang_analyzer__ // it believes that the call, which Qt deletes, is leaked
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
