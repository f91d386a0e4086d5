// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <future>
#include <thread>
#include <utility>

#include <QEventLoop>
#include <QObject>

#include <velmorand/QtThread.h>

namespace support {

/**
 * A thread with an event loop of Qt and an object in it, which is destroyed in the thread after the loop has ended.
 * Threads exchange data only in ways that ThreadSanitizer recognises; it does not see Qt's own locks.
 */
class EventLoop {
public:
    EventLoop()
        : _thread([this] {
              QObject object;
              QEventLoop loop;
              _object = &object;
              _loop = &loop;
              _isReady.set_value();
              loop.exec();
          }) {
        _isReady.get_future().wait();
    }
    EventLoop(EventLoop const&) = delete;
    EventLoop& operator=(EventLoop const&) = delete;
    ~EventLoop() {
        velmorand::inThreadOf(_object)([this] { _loop->quit(); });
        _thread.join();
    }

    [[nodiscard]] QObject* object() const { return _object; }

    /** Runs `call` in the loop, after all events posted before, and waits until it has returned. */
    void run(std::function<void()> call) const {
        std::promise<void> done;
        velmorand::inThreadOf(_object)([&] {
            call();
            done.set_value();
        });
        done.get_future().wait();
    }

private:
    QObject* _object = nullptr;
    QEventLoop* _loop = nullptr;
    std::promise<void> _isReady;
    std::thread _thread; // last, because it uses the other members
};

} // namespace support
