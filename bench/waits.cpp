// SPDX-License-Identifier: Apache-2.0
//
// usage: velmorand-bench-waits live|plain COUNT SAVES
//
// Holds COUNT settings, and saves a changed one SAVES times on a thread of its own, while another thread reads
// without pause. Prints the reader's longest wait in each save, in nanoseconds, one in a line.
//
// A read during which the reader lost its processor to another thread, but did not sleep, has not waited for the
// settings, and does not count.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <sys/resource.h>

#include <velmorand/Initialize.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>
#include <velmorand/Save.h>

#include "Files.h"
#include "Names.h"

namespace {

using Clock = std::chrono::steady_clock;

/** Measures how long reads wait, on a thread of its own. */
class Reader {
public:
    explicit Reader(std::vector<std::string> const& names) : _names(names), _thread([this] { run(); }) {}
    Reader(Reader const&) = delete;
    Reader& operator=(Reader const&) = delete;
    ~Reader() {
        _isStopping = true;
        _thread.join();
    }

    /** The longest wait since the last call. */
    std::int64_t takeLongest() { return _longest.exchange(0); }

private:
    /** How often this thread has slept, and how often it was interrupted. */
    struct Switches {
        long sleeps;
        long interruptions;
    };

    static Switches switches() {
        ::rusage usage{};
        ::getrusage(RUSAGE_THREAD, &usage);
        return {usage.ru_nvcsw, usage.ru_nivcsw};
    }

    void run() {
        bench::Cycle cycle(_names);
        Switches before = switches();
        auto last = Clock::now();
        while (!_isStopping) {
            static_cast<void>(velmorand::read<int>(cycle.next()));
            auto const now = Clock::now();
            std::int64_t const wait = (now - last) / std::chrono::nanoseconds(1);
            last = now;
            if (wait > _longest) {
                note(wait, before);
                last = Clock::now();
            }
        }
    }

    void note(std::int64_t wait, Switches& before) {
        Switches const after = switches();
        bool const isInterrupted =
            after.interruptions != before.interruptions && after.sleeps == before.sleeps;
        before = after;
        std::int64_t longest = _longest;
        while (!isInterrupted && wait > longest && !_longest.compare_exchange_weak(longest, wait)) {
        }
    }

    std::vector<std::string> const& _names;
    std::atomic<std::int64_t> _longest{0};
    std::atomic<bool> _isStopping{false};
    std::thread _thread;
};

void save(velmorand::LiveSettings* live) {
    auto const result = live != nullptr ? live->sync() : velmorand::saveSettings();
    if (!result.saved)
        throw std::runtime_error(result.reason);
}

std::unique_ptr<velmorand::LiveSettings> open(bool isLive, std::string const& directory) {
    if (!isLive) {
        velmorand::initialize(directory + "/global", directory);
        return nullptr;
    }
    velmorand::LiveOptions options;
    options.userDirectory = directory;
    options.globalDirectory = directory + "/global";
    return std::make_unique<velmorand::LiveSettings>(options);
}

} // namespace

int main(int argc, char** argv) try {
    if (argc != 4)
        return 2;
    bench::TemporaryDirectory const directory;
    bench::Names const names(std::stoul(argv[2]), 100);
    auto const live = open(argv[1] == std::string("live"), directory.string());
    for (std::string const& name : names.ordered())
        velmorand::write(name, 0);
    save(live.get());

    Reader reader(names.shuffled());
    for (int i = 1; i <= std::atoi(argv[3]); ++i) {
        velmorand::write(names.shuffled().front(), i);
        reader.takeLongest();
        save(live.get());
        std::cout << reader.takeLongest() << '\n';
    }
    return 0;
} catch (std::exception const& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
}
