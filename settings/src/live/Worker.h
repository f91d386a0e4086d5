// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>

#include <sys/types.h>

#include <filesystem/FileWatch.h>

namespace velmorand::live {

/**
 * A thread that saves some time after a change and looks at files when they have changed. It sleeps while neither
 * happens.
 */
class Worker {
public:
    /** `synchronise` saves and looks; it says whether everything is saved. The files are `watch`'s. */
    Worker(std::unique_ptr<filesystem::FileWatch> watch, std::chrono::milliseconds delay,
           std::function<bool()> synchronise);
    Worker(Worker const&) = delete;
    Worker& operator=(Worker const&) = delete;
    ~Worker();

    /** There is something to save. From any thread, a forked child's included, with whatever locks held. */
    void wake() noexcept;

    /** Ends the thread and waits for it, unless it is this one. */
    void stop();

    /** Becomes true when the thread is to end, for what it waits for. */
    [[nodiscard]] std::atomic<bool> const& isStopping() const noexcept { return _isStopping; }

private:
    void run();

    std::unique_ptr<filesystem::FileWatch> const _watch;
    std::chrono::milliseconds const _delay;
    std::function<bool()> const _synchronise;
    ::pid_t const _process;
    int _wake;
    std::atomic<bool> _isStopping{false};
    std::thread _thread;
};

} // namespace velmorand::live
