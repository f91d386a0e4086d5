// SPDX-License-Identifier: Apache-2.0
//
// usage: velmorand-bench-waits live|plain COUNT SAVES
//
// Saves COUNT settings, one of them changed, SAVES times in one thread while another thread reads continuously. Prints
// a line for each save with two durations in nanoseconds, separated by a tab: of the longest read that overlaps the
// save, and of the longest one during which the reader did not just lose its processor to another thread.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
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

/** The longest reads during a save. */
struct Waits {
    std::int64_t longest = 0;
    std::int64_t longestOwn = 0; ///< of reads that did not just lose the processor to another thread
};

/** Measures the duration of reads in a separate thread. */
class Reader {
public:
    Reader(std::vector<std::string> const& names, std::size_t saves)
        : _names(names), _waits(saves), _thread([this] { run(); }) {}
    Reader(Reader const&) = delete;
    Reader& operator=(Reader const&) = delete;
    ~Reader() { stop(); }

    /** Must be called when a save begins and when it ends. */
    void beginOrEndSave() { ++_begunAndEnded; }

    /** Ends the thread. Result: the longest reads for each save. */
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

    [[nodiscard]] std::vector<Waits>::const_iterator at(std::size_t save) const {
        return _waits.begin() + static_cast<std::ptrdiff_t>(save);
    }

    /** Records a read that overlaps the saves from `first` up to, but not including, `end`. */
    void note(std::size_t first, std::size_t end, std::int64_t wait, Switches& before) {
        Switches const after = switches();
        bool const isInterrupted =
            after.interruptions != before.interruptions && after.sleeps == before.sleeps;
        before = after;
        for (std::size_t save = first; save < end; ++save) {
            _waits[save].longest = std::max(_waits[save].longest, wait);
            if (!isInterrupted)
                _waits[save].longestOwn = std::max(_waits[save].longestOwn, wait);
        }
    }

    std::vector<std::string> const& _names;
    std::vector<Waits> _waits;                  // used only by the thread until it has ended
    std::atomic<std::size_t> _begunAndEnded{0}; // counts each save twice: at its start and at its end
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
    auto live = open(argv[1] == std::string("live"), directory.string());
    for (std::string const& name : names.ordered())
        velmorand::write(name, 0);
    save(live.get());
    if (live != nullptr) {
        // Opened again, because the background thread has begun to save all of that, and would delay the first saves.
        live.reset();
        live = open(true, directory.string());
    }

    std::size_t const saves = std::stoul(argv[3]);
    Reader reader(names.shuffled(), saves);
    for (std::size_t i = 1; i <= saves; ++i) {
        velmorand::write(names.shuffled().front(), static_cast<int>(i));
        reader.beginOrEndSave();
        save(live.get());
        reader.beginOrEndSave();
    }
    for (Waits const& waits : reader.stop())
        std::cout << waits.longest << '\t' << waits.longestOwn << '\n';
    return 0;
} catch (std::exception const& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
}
