// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <pthread.h>
#include <sys/types.h>

#include <filesystem/FileWatch.h>

#include "../Waiting.h"

namespace velmorand::live {

/**
 * A thread that saves settings some time after a change, and reads the files when they have changed. Otherwise it
 * sleeps.
 */
class Worker {
public:
    /**
     * `synchronise` saves and reads the files, and returns whether everything is saved; it must stop waiting when its
     * argument returns true, because the thread must end. `isNews` returns whether a file has changed since it was
     * read.
     */
    Worker(std::vector<std::string> files, std::chrono::milliseconds delay, std::function<bool()> isNews,
           std::function<bool(GiveUp const&)> synchronise);
    Worker(Worker const&) = delete;
    Worker& operator=(Worker const&) = delete;
    ~Worker();

    /** Called after the first unsaved change, on any thread, even in a forked child, and with any locks held. */
    void wake() noexcept;

    /** Ends the thread and waits for it, unless it is the calling thread. */
    void stop();

private:
    static void* begin(void* worker) noexcept;
    void run();
    [[nodiscard]] bool mayBeNews() const;
    [[nodiscard]] bool beginWatch(std::unique_ptr<filesystem::FileWatch>& watch) const;
    [[nodiscard]] bool synchronise() const;

    std::vector<std::string> const _files;

    std::chrono::milliseconds const _delay;
    std::function<bool()> const _isNews;
    std::function<bool(GiveUp const&)> const _synchronise;

    ::pid_t const _process;
    int _wake;
    std::atomic<std::chrono::steady_clock::time_point> _changedAt{}; ///< time of the first unsaved change
    std::atomic<bool> _isStopping{false};
    ::pthread_t _thread{};
    bool _isStopped = false;
};

} // namespace velmorand::live
