// SPDX-License-Identifier: Apache-2.0
//
// usage: velmorand-bench-waits live|plain|merge COUNT TIMES
//
// Works on COUNT settings in one thread while another thread reads continuously. TIMES times, saves them after one of
// them has changed, with live settings or without; or merges the changes of 100 of them that another process has saved.
// Prints a line for each time with two durations in nanoseconds, separated by a tab: of the longest read that overlaps
// the work, and of the longest one during which the reader did not just lose its processor to another thread.
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <velmorand/Changes.h>
#include <velmorand/Initialize.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>
#include <velmorand/Save.h>

#include "Files.h"
#include "Names.h"

namespace {

using Clock = std::chrono::steady_clock;

/** The longest reads during one piece of work. */
struct Waits {
    std::int64_t longest = 0;
    std::int64_t longestOwn = 0; ///< of reads that did not just lose the processor to another thread
};

/** Measures the duration of reads in a separate thread. */
class Reader {
public:
    Reader(std::vector<std::string> const& names, std::size_t times)
        : _names(names), _waits(times), _thread([this] { run(); }) {}
    Reader(Reader const&) = delete;
    Reader& operator=(Reader const&) = delete;
    ~Reader() { stop(); }

    /** Must be called when the work begins and when it ends. */
    void beginOrEnd() { ++_begunAndEnded; }

    /** Ends the thread. Result: the longest reads for each time. */
    std::vector<Waits> const& stop() {
        _isStopping = true;
        if (_thread.joinable())
            _thread.join();
        return _waits;
    }

private:
    /** The numbers of voluntary and involuntary context switches of this thread. */
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
        while (!_isStopping) {
            std::size_t const first = _begunAndEnded / 2;
            std::string const& name = cycle.next();
            auto const begin = Clock::now();
            static_cast<void>(velmorand::read<int>(name));
            std::int64_t const wait = (Clock::now() - begin) / std::chrono::nanoseconds(1);
            std::size_t const end = (_begunAndEnded + 1) / 2;
            if (std::any_of(at(first), at(end),
                            [wait](Waits const& waits) { return wait > waits.longestOwn; }))
                note(first, end, wait, before);
        }
    }

    [[nodiscard]] std::vector<Waits>::const_iterator at(std::size_t time) const {
        return _waits.begin() + static_cast<std::ptrdiff_t>(time);
    }

    /** Records a read that overlaps the times from `first` up to, but not including, `end`. */
    void note(std::size_t first, std::size_t end, std::int64_t wait, Switches& before) {
        Switches const after = switches();
        bool const isInterrupted =
            after.interruptions != before.interruptions && after.sleeps == before.sleeps;
        before = after;
        for (std::size_t time = first; time < end; ++time) {
            _waits[time].longest = std::max(_waits[time].longest, wait);
            if (!isInterrupted)
                _waits[time].longestOwn = std::max(_waits[time].longestOwn, wait);
        }
    }

    std::vector<std::string> const& _names;
    std::vector<Waits> _waits;                  // used only by the thread until it has ended
    std::atomic<std::size_t> _begunAndEnded{0}; // counts each time twice: at its start and at its end
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

/** Another process with live settings, which changes and saves names on request until the object is destroyed. */
class OtherProcess {
public:
    /** Must be created before the first use of the settings, and before any thread. */
    OtherProcess(std::string const& directory, std::vector<std::string> names) : _names(std::move(names)) {
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, _ends.data()) != 0)
            throw std::runtime_error("cannot create a socket");
        _process = ::fork();
        if (_process < 0)
            throw std::runtime_error("cannot create a process");
        ::close(_ends[_process == 0 ? 0 : 1]);
        if (_process == 0)
            ::_exit(serve(directory));
    }
    OtherProcess(OtherProcess const&) = delete;
    OtherProcess& operator=(OtherProcess const&) = delete;
    ~OtherProcess() {
        ::close(_ends[0]);
        ::waitpid(_process, nullptr, 0);
    }

    /** Returns when the other process has saved its names with a new value. */
    void save(int value) const {
        if (::write(_ends[0], &value, sizeof value) != sizeof value ||
            ::read(_ends[0], &value, sizeof value) != sizeof value)
            throw std::runtime_error("the other process has ended");
    }

private:
    int serve(std::string const& directory) try {
        std::unique_ptr<velmorand::LiveSettings> live;
        int value = 0;
        while (::read(_ends[1], &value, sizeof value) == sizeof value) {
            if (live == nullptr) // the settings to open exist only now
                live = open(true, directory);
            velmorand::Changes changes;
            for (std::string const& name : _names)
                changes.write(name, value);
            changes.apply();
            ::save(live.get());
            if (::write(_ends[1], &value, sizeof value) != sizeof value)
                return 1;
        }
        return 0;
    } catch (std::exception const& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }

    std::vector<std::string> _names;
    std::array<int, 2> _ends{};
    ::pid_t _process = 0;
};

} // namespace

int main(int argc, char** argv) try {
    if (argc != 4)
        return 2;
    std::string const way = argv[1];
    std::size_t const times = std::stoul(argv[3]);
    bench::TemporaryDirectory const directory;
    bench::Names const names(std::stoul(argv[2]), 100);
    std::unique_ptr<OtherProcess> other;
    if (way == "merge") {
        constexpr std::ptrdiff_t changed = 100;
        auto const first = names.shuffled().begin();
        other = std::make_unique<OtherProcess>(directory.string(), std::vector(first, first + changed));
    }
    auto live = open(way != "plain", directory.string());
    for (std::string const& name : names.ordered())
        velmorand::write(name, 0);
    save(live.get());
    if (live != nullptr) {
        // Opened again, because the background thread has begun to save all of that, and would delay the first saves.
        live.reset();
        live = open(true, directory.string());
    }

    Reader reader(names.shuffled(), times);
    for (std::size_t i = 1; i <= times; ++i) {
        if (other == nullptr)
            velmorand::write(names.shuffled().front(), static_cast<int>(i));
        reader.beginOrEnd();
        if (other != nullptr)
            other->save(static_cast<int>(i));
        save(live.get());
        reader.beginOrEnd();
    }
    for (Waits const& waits : reader.stop())
        std::cout << waits.longest << '\t' << waits.longestOwn << '\n';
    return 0;
} catch (std::exception const& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
}
