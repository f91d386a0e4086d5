// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

namespace threads {

/** `count`, multiplied by VELMORAND_STRESS if it is set, for long runs. */
inline int rounds(int count) {
    char const* const factor = std::getenv("VELMORAND_STRESS");
    return factor == nullptr ? count
                             : count * std::max(static_cast<int>(std::strtol(factor, nullptr, 10)), 1);
}

/**
 * Threads that begin together. Only the register's own locks synchronise them, so that a race detector notices missing
 * ones.
 */
class Crew {
public:
    /** Adds `count` threads that call `task(thread, round)` `rounds` times; each call makes `operations` operations. */
    template <class Task>
    void add(int count, int rounds, int operations, Task task) {
        for (int thread = 0; thread < count; ++thread)
            _bodies.emplace_back([=]() mutable {
                for (int round = 0; round < rounds; ++round)
                    task(thread, round);
            });
        _operations += long{count} * rounds * operations;
    }

    /** Runs the threads to their end, and prints the number of operations and the time taken. */
    void run() {
        std::promise<void> gate;
        std::shared_future<void> const open = gate.get_future().share();
        std::atomic<int> ready{0};
        std::vector<std::thread> running;
        for (auto& body : _bodies)
            running.emplace_back([&ready, open, &body] {
                ++ready;
                open.wait();
                body();
            });
        while (ready != static_cast<int>(_bodies.size()))
            std::this_thread::yield();
        auto const begin = std::chrono::steady_clock::now();
        gate.set_value();
        for (std::thread& thread : running)
            thread.join();
        std::chrono::duration<double> const time = std::chrono::steady_clock::now() - begin;
        std::cout << _bodies.size() << " threads, " << _operations << " operations, " << time.count()
                  << " s\n";
    }

private:
    std::vector<std::function<void()>> _bodies;
    long _operations = 0;
};

} // namespace threads
