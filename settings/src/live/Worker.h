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
 * A thread that saves some time after a change and looks at files when they have changed. It sleeps while neither
 * happens.
 */
class Worker {
public:
    /**
     * `synchronise` saves and looks; it says whether everything is saved. It gets what tells it to wait no longer,
     * since the thread is to end. `isNews` says whether a file has changed since it was read.
     */
    Worker(std::vector<std::string> files, std::chrono::milliseconds delay, std::function<bool()> isNews,
           std::function<bool(GiveUp const&)> synchronise);
    Worker(Worker const&) = delete;
    Worker& operator=(Worker const&) = delete;
    ~Worker();

    /** There is something to save, and there was nothing before. From any thread, a forked child's included, with whatever locks held. */
    void wake() noexcept;

    /** Ends the thread and waits for it, unless it is this one. */
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
    std::atomic<std::chrono::steady_clock::time_point> _changedAt{}; ///< the first change that is not saved
    std::atomic<bool> _isStopping{false};
    ::pthread_t _thread{};
    bool _isStopped = false;
};

} // namespace velmorand::live
