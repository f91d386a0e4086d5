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
 * A thread with an event loop of Qt and an object in it, which is destroyed in the thread when the loop has ended. All
 * that threads hand to each other goes through what ThreadSanitizer sees, which does not see Qt's own locks.
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

    /** Runs `call` in the loop, after all that has been posted to it, and waits until it has returned. */
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
    std::thread _thread; // after all that it uses
};

} // namespace support
