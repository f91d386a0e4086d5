// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include <sys/syscall.h>
#include <unistd.h>

namespace support {

/** A thread that blocks on a lock held by the caller. After construction, the thread is waiting for the lock. */
class BlockedThread {
public:
    explicit BlockedThread(std::function<void()> body)
        : _thread([this, run = std::move(body)] {
              _id = ::syscall(SYS_gettid);
              run();
          }) {
        while (_id == 0 || isRunning(_id))
            std::this_thread::yield();
    }
    BlockedThread(BlockedThread const&) = delete;
    BlockedThread& operator=(BlockedThread const&) = delete;
    ~BlockedThread() { join(); }

    void join() {
        if (_thread.joinable())
            _thread.join();
    }

private:
    /** Whether the kernel reports a thread as running: neither asleep nor ended. */
    static bool isRunning(long thread) {
        std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
        std::string status;
        std::getline(file, status);
        auto const name = status.rfind(") "); // the state, one letter, follows it
        return name != std::string::npos && status[name + 2] != 'S';
    }

    std::atomic<long> _id{0};
    std::thread _thread;
};

} // namespace support
