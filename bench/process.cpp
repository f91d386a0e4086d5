// SPDX-License-Identifier: Apache-2.0
//
// usage: velmorand-bench-process
//
// Whole processes: each iteration runs this program anew, as a child that does one thing. What a row costs
// more than "nothing" is the register's.
#include <cstddef>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <utils/properties/Register.h>

#include "Files.h"
#include "Names.h"
#include "Rows.h"

using utils::properties::_Register;

namespace bench {

namespace {

constexpr std::size_t settingsOfADesktop = 13'000;

/** What children do, as their first argument says; the others are the global and the user directory. */
int runChild(std::string const& task, std::string const& global, std::string const& user) {
    if (task != "--nothing")
        _Register::initialize(global, user);
    if (task == "--fill")
        for (std::string const& name : names(settingsOfADesktop).ordered())
            _Register::getInstance()->_writeInteger(nullptr, name, usualValue, utils::properties::SCOPE_USER);
    if (task == "--fill" || task == "--start-and-exit")
        return 0;
    ::_exit(0);
}

bool spawnChild(std::string task, std::string global, std::string user) {
    std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
    char* arguments[] = {program.data(), task.data(), global.data(), user.data(), nullptr};
    ::pid_t child = 0;
    int status = 0;
    return ::posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ) == 0 &&
           ::waitpid(child, &status, 0) == child && status == 0;
}

void measure(benchmark::State& state, std::string const& task, std::string const& global,
             std::string const& user) {
    while (state.KeepRunning())
        if (!spawnChild(task, global, user))
            state.SkipWithError("a child failed");
}

void addAll(std::string const& empty, std::string const& full) {
    auto const add = [](char const* row, char const* task, std::string const& global,
                        std::string const& user) {
        benchmark::RegisterBenchmark(row, measure, task, global, user)
            ->UseRealTime()
            ->Unit(benchmark::kMillisecond);
    };
    add("process/nothing", "--nothing", empty, empty);
    add("process/start", "--start", empty, empty);
    add("process/start_with_global_file", "--start", full, empty);
    add("process/start_with_user_file", "--start", empty, full);
    add("process/start_with_user_file_and_exit", "--start-and-exit", empty, full);
}

} // namespace

} // namespace bench

int main(int argc, char** argv) try {
    constexpr int childArguments = 4;
    if (argc == childArguments)
        return bench::runChild(argv[1], argv[2], argv[3]);

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    bench::TemporaryDirectory const emptyDirectory;
    bench::TemporaryDirectory const fullDirectory;
    std::string const empty = emptyDirectory.path().string();
    std::string const full = fullDirectory.path().string();
    if (!bench::spawnChild("--fill", empty, full))
        return 1;
    bench::addAll(empty, full);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
} catch (std::exception const& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
}
