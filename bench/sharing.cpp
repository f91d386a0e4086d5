// SPDX-License-Identifier: Apache-2.0
//
// usage: velmorand-bench-sharing COUNT REPETITIONS
//
// Shares COUNT settings between processes in each of the ways, and prints lines of "row way median 90th-percentile",
// with tabs between and times in nanoseconds. In the row "save" one changed setting becomes durable and visible; in
// the row "hear" a listener in another process hears of it. The ways take turns, so what disturbs the machine for a
// while disturbs all alike.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <csignal>
#include <poll.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Files.h"
#include "Names.h"
#include "Ways.h"
#include "sharing/Floor.h"

namespace bench::sharing {

namespace {

/** By the system's clock that all processes share. */
std::int64_t now() {
    return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
}

/** What a listening process writes to its standard output. */
struct Report {
    int value;
    std::int64_t time;
};

/** A process of this program that listens in one of the ways. */
class Listening {
public:
    Listening(std::string way, std::string directory, std::string name) : _way(way) {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0)
            throw std::runtime_error("cannot make a pipe");
        _reports = ends[0];
        std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
        std::string task = "--hear";
        std::array<char*, 6> arguments{program.data(),   task.data(), way.data(),
                                       directory.data(), name.data(), nullptr};
        ::posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        int const error =
            ::posix_spawn(&_process, program.c_str(), &actions, nullptr, arguments.data(), environ);
        ::posix_spawn_file_actions_destroy(&actions);
        ::close(ends[1]);
        if (error != 0)
            throw std::runtime_error("cannot start a listener");
        waitFor(ready);
    }
    Listening(Listening const&) = delete;
    Listening& operator=(Listening const&) = delete;
    ~Listening() {
        ::kill(_process, SIGKILL);
        ::waitpid(_process, nullptr, 0);
        ::close(_reports);
    }

    /** Result: when the listener heard the value. */
    std::int64_t waitFor(int value) const {
        constexpr int mostMilliseconds = 10'000;
        Report report{};
        do {
            ::pollfd waiting{_reports, POLLIN, 0};
            if (::poll(&waiting, 1, mostMilliseconds) != 1)
                throw std::runtime_error(_way + ": a listener does not hear");
            if (::read(_reports, &report, sizeof report) != sizeof report)
                throw std::runtime_error(_way + ": a listener has ended");
        } while (report.value != value);
        return report.time;
    }

private:
    std::string const _way;
    ::pid_t _process = 0;
    int _reports = -1;
};

/** One way under measurement, whatever its class. */
struct Measured {
    std::string label;
    std::function<void(std::string const&, int)> save;
    std::unique_ptr<Listening> listener;
    std::vector<std::int64_t> times;
};

template <class Way>
Measured measured(std::shared_ptr<Way> way) {
    return {Way::label, [way](std::string const& name, int value) { way->save(name, value); }, nullptr, {}};
}

std::filesystem::path made(std::filesystem::path const& directory) {
    std::filesystem::create_directory(directory);
    return directory;
}

template <class... Ways>
std::vector<Measured> openAll(List<Ways...> /*all*/, std::filesystem::path const& directory,
                              Names const& names) {
    std::vector<Measured> all;
    (all.push_back(measured(std::make_shared<Ways>(made(directory / Ways::label), names))), ...);
    auto const bytes = std::filesystem::file_size(directory / Live::label / "Velmorand.dat");
    all.push_back(measured(std::make_shared<Floor>(made(directory / Floor::label), bytes)));
    return all;
}

template <class Way>
bool hearIf(std::string const& label, std::filesystem::path const& directory, std::string const& name) {
    if constexpr (Way::isHeard) {
        if (label == Way::label)
            Way::hear(directory, name, [](int value) {
                Report const report{value, now()};
                if (::write(STDOUT_FILENO, &report, sizeof report) != sizeof report)
                    ::_exit(1);
            });
    }
    return label == Way::label;
}

template <class... Ways>
bool hear(List<Ways...> /*all*/, std::string const& label, std::filesystem::path const& directory,
          std::string const& name) {
    return (hearIf<Ways>(label, directory, name) || ...);
}

template <class... Ways>
bool isHeard(List<Ways...> /*all*/, std::string const& label) {
    return ((Ways::isHeard && label == Ways::label) || ...) || label == Floor::label;
}

/** A listener must not outlive the process that measures, however that ends. */
void endWithParent() {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::pollfd reports{STDOUT_FILENO, 0, 0};
    if (::poll(&reports, 1, 0) != 0) // it has ended already
        ::_exit(1);
}

/** Lets what the last change has caused in other processes, and on the disk, come to its end. */
void settle() {
    std::this_thread::sleep_for(std::chrono::milliseconds(3));
}

void measureOnce(Measured& way, std::string const& name, int value) {
    settle();
    std::int64_t const begin = now();
    way.save(name, value);
    way.times.push_back((way.listener ? way.listener->waitFor(value) : now()) - begin);
}

/** Another one each time, in all rows: nobody is notified of an equal value. */
int nextValue() {
    static int value = 0;
    return ++value;
}

/** Each round begins with another way. */
template <class NextName>
void measure(std::string const& row, std::vector<Measured>& ways, int repetitions, NextName const& nextName) {
    for (int i = 0; i < repetitions; ++i) {
        std::rotate(ways.begin(), ways.begin() + 1, ways.end());
        std::string const& name = nextName();
        int const value = nextValue();
        for (Measured& way : ways)
            measureOnce(way, name, value);
    }
    for (Measured& way : ways) {
        std::sort(way.times.begin(), way.times.end());
        std::cout << row << '\t' << way.label << '\t' << way.times[way.times.size() / 2] << '\t'
                  << way.times[way.times.size() * 9 / 10] << std::endl;
        way.times.clear();
    }
}

std::vector<std::string> integersOf(Names const& names) {
    std::vector<std::string> integers;
    for (std::size_t i = 0; i < names.ordered().size(); ++i)
        if (isInteger(i))
            integers.push_back(names.ordered()[i]);
    std::shuffle(integers.begin(), integers.end(), std::minstd_rand(12345));
    return integers;
}

void measureAll(std::size_t count, int repetitions) {
    TemporaryDirectory const directory;
    Names const names(count, 100);
    std::vector<Measured> ways = openAll(Ways(), directory.path(), names);
    std::vector<std::string> const integers = integersOf(names);
    Cycle cycle(integers);
    measure("save", ways, repetitions, [&]() -> std::string const& { return cycle.next(); });

    auto const end = std::remove_if(ways.begin(), ways.end(),
                                    [](Measured const& way) { return !isHeard(Ways(), way.label); });
    ways.erase(end, ways.end());
    std::string const& heard = integers.front();
    for (Measured& way : ways)
        if (way.label != Floor::label)
            way.listener =
                std::make_unique<Listening>(way.label, (directory.path() / way.label).string(), heard);
    measure("hear", ways, repetitions, [&]() -> std::string const& { return heard; });
}

} // namespace

} // namespace bench::sharing

int main(int argc, char** argv) try {
    using namespace bench::sharing;
    if (argc == 5 && argv[1] == std::string("--hear")) {
        endWithParent();
        return hear(Ways(), argv[2], argv[3], argv[4]) ? 0 : 2;
    }
    if (argc != 3)
        return 2;
    measureAll(std::stoul(argv[1]), std::atoi(argv[2]));
    return 0;
} catch (std::exception const& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
}
