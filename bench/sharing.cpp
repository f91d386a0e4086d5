// SPDX-License-Identifier: Apache-2.0
//
// usage: velmorand-bench-sharing COUNT REPETITIONS
//
// Shares COUNT settings between processes in each of the ways, and prints lines of "row way median 90th-percentile",
// separated by tabs, with times in nanoseconds. In the row "save", a changed setting becomes durable and visible; in
// the row "hear", a listener in another process is notified of it. The ways are measured in turns, so that a
// disturbance of the machine affects all of them.
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
#include <type_traits>
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

/** The time of a clock that all processes share, in nanoseconds. */
std::int64_t now() {
    return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
}

/** Written by a process to its standard output. */
struct Report {
    int value;
    std::int64_t begin; ///< of a save
    std::int64_t end;   ///< of a save, or the time of the notification
};

/** Read by a saving process from its standard input: the place of an integer, and its new value. */
struct Change {
    std::size_t place;
    int value;
};

/**
 * A process of this program, with a task in one of the ways. Each way also saves in a separate process, so that
 * cleaning up after one way does not count as time of another.
 */
class Process {
public:
    Process(std::string task, std::string way, std::string directory, std::string what) : _way(way) {
        std::array<int, 2> changes{};
        std::array<int, 2> reports{};
        if (::pipe2(changes.data(), O_CLOEXEC) != 0 || ::pipe2(reports.data(), O_CLOEXEC) != 0)
            throw std::runtime_error("cannot create a pipe");
        _changes = changes[1];
        _reports = reports[0];
        std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
        std::array<char*, 6> arguments{program.data(),   task.data(), way.data(),
                                       directory.data(), what.data(), nullptr};
        ::posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, changes[0], STDIN_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions, reports[1], STDOUT_FILENO);
        int const error =
            ::posix_spawn(&_process, program.c_str(), &actions, nullptr, arguments.data(), environ);
        ::posix_spawn_file_actions_destroy(&actions);
        ::close(changes[0]);
        ::close(reports[1]);
        if (error != 0)
            throw std::runtime_error("cannot start a process");
        waitFor(ready);
    }
    Process(Process const&) = delete;
    Process& operator=(Process const&) = delete;
    ~Process() {
        ::kill(_process, SIGKILL);
        ::waitpid(_process, nullptr, 0);
        ::close(_changes);
        ::close(_reports);
    }

    Report save(Change change) const {
        if (::write(_changes, &change, sizeof change) != sizeof change)
            throw std::runtime_error(_way + ": a process has ended");
        return waitFor(change.value);
    }

    Report waitFor(int value) const {
        constexpr int mostMilliseconds = 60'000;
        Report report{};
        do {
            ::pollfd waiting{_reports, POLLIN, 0};
            if (::poll(&waiting, 1, mostMilliseconds) != 1)
                throw std::runtime_error(_way + ": no answer");
            if (::read(_reports, &report, sizeof report) != sizeof report)
                throw std::runtime_error(_way + ": a process has ended");
        } while (report.value != value);
        return report;
    }

private:
    std::string const _way;
    ::pid_t _process = 0;
    int _changes = -1;
    int _reports = -1;
};

void send(Report const& report) {
    if (::write(STDOUT_FILENO, &report, sizeof report) != sizeof report)
        ::_exit(1);
}

/** A measured way. */
struct Measured {
    std::string label;
    std::unique_ptr<Process> saving;
    std::unique_ptr<Process> listening;
    std::vector<std::int64_t> times;
};

Names namesOf(std::size_t count) {
    return {count, 100};
}

std::filesystem::path made(std::filesystem::path const& directory) {
    std::filesystem::create_directory(directory);
    return directory;
}

Measured opened(std::string const& label, std::filesystem::path const& directory, std::size_t size) {
    return {
        label,
        std::make_unique<Process>("--save", label, made(directory / label).string(), std::to_string(size)),
        nullptr,
        {}};
}

template <class... Ways>
std::vector<Measured> openAll(List<Ways...> /*all*/, std::filesystem::path const& directory,
                              std::size_t count) {
    std::vector<Measured> all;
    (all.push_back(opened(Ways::label, directory, count)), ...);
    auto const bytes = std::filesystem::file_size(directory / Live::label / "Velmorand.dat");
    all.push_back(opened(Floor::label, directory, bytes));
    return all;
}

std::vector<std::string> integersOf(Names const& names) {
    std::vector<std::string> integers;
    for (std::size_t i = 0; i < names.ordered().size(); ++i)
        if (isInteger(i))
            integers.push_back(names.ordered()[i]);
    std::shuffle(integers.begin(), integers.end(), std::minstd_rand(12345));
    return integers;
}

/** `size` is the number of settings; for the floor, the number of bytes. */
template <class Way>
bool saveIf(std::string const& label, std::filesystem::path const& directory, std::size_t size) {
    if (label != Way::label)
        return false;
    bool constexpr isFloor = std::is_same_v<Way, Floor>;
    Names const names = namesOf(isFloor ? 2 : size);
    std::vector<std::string> const integers = integersOf(names);
    auto const way = [&] {
        if constexpr (isFloor)
            return std::make_unique<Way>(directory, size);
        else
            return std::make_unique<Way>(directory, names);
    }();
    send({ready, 0, 0});
    Change change{};
    while (::read(STDIN_FILENO, &change, sizeof change) == sizeof change) {
        std::string const& name = integers[change.place % integers.size()];
        std::int64_t const begin = now();
        way->save(name, change.value);
        send({change.value, begin, now()});
    }
    return true;
}

template <class... Ways>
bool save(List<Ways...> /*all*/, std::string const& label, std::filesystem::path const& directory,
          std::size_t size) {
    return (saveIf<Ways>(label, directory, size) || ...) || saveIf<Floor>(label, directory, size);
}

template <class Way>
bool hearIf(std::string const& label, std::filesystem::path const& directory, std::string const& name) {
    if constexpr (Way::isHeard) {
        if (label == Way::label)
            Way::hear(directory, name, [](int value) { send({value, 0, now()}); });
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

/** Ends this process together with the measuring process, even if that is killed. */
void endWithParent() {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::pollfd reports{STDOUT_FILENO, 0, 0};
    if (::poll(&reports, 1, 0) != 0) // it has ended already
        ::_exit(1);
}

/** Waits until other processes and the disk have probably finished handling the last change. */
void settle() {
    std::this_thread::sleep_for(std::chrono::milliseconds(3));
}

void measureOnce(Measured& way, Change change) {
    settle();
    Report const saved = way.saving->save(change);
    way.times.push_back((way.listening ? way.listening->waitFor(change.value).end : saved.end) - saved.begin);
}

/** A new value each time, in all rows, because equal values are not announced. */
int nextValue() {
    static int value = 0;
    return ++value;
}

/** Measures all ways in rounds. Each round begins with another way. */
template <class NextPlace>
void measure(std::string const& row, std::vector<Measured>& ways, int repetitions, NextPlace nextPlace) {
    for (int i = 0; i < repetitions; ++i) {
        std::rotate(ways.begin(), ways.begin() + 1, ways.end());
        Change const change{nextPlace(), nextValue()};
        for (Measured& way : ways)
            measureOnce(way, change);
    }
    for (Measured& way : ways) {
        std::sort(way.times.begin(), way.times.end());
        std::cout << row << '\t' << way.label << '\t' << way.times[way.times.size() / 2] << '\t'
                  << way.times[way.times.size() * 9 / 10] << std::endl;
        way.times.clear();
    }
}

void measureAll(std::size_t count, int repetitions) {
    TemporaryDirectory const directory;
    std::vector<Measured> ways = openAll(Ways(), directory.path(), count);
    measure("save", ways, repetitions, [place = std::size_t{0}]() mutable { return place++; });

    auto const end = std::remove_if(ways.begin(), ways.end(),
                                    [](Measured const& way) { return !isHeard(Ways(), way.label); });
    ways.erase(end, ways.end());
    std::string const heard = integersOf(namesOf(count)).front();
    for (Measured& way : ways)
        if (way.label != Floor::label)
            way.listening = std::make_unique<Process>("--hear", way.label,
                                                      (directory.path() / way.label).string(), heard);
    measure("hear", ways, repetitions, [] { return std::size_t{0}; });
}

} // namespace

} // namespace bench::sharing

int main(int argc, char** argv) try {
    using namespace bench::sharing;
    if (argc == 5 && argv[1] == std::string("--hear")) {
        endWithParent();
        return hear(Ways(), argv[2], argv[3], argv[4]) ? 0 : 2;
    }
    if (argc == 5 && argv[1] == std::string("--save")) {
        endWithParent();
        return save(Ways(), argv[2], argv[3], std::stoul(argv[4])) ? 0 : 2;
    }
    if (argc != 3)
        return 2;
    std::signal(SIGPIPE, SIG_IGN); // so that an ended process is reported by name
    measureAll(std::stoul(argv[1]), std::atoi(argv[2]));
    return 0;
} catch (std::exception const& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
}
