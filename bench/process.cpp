// SPDX-License-Identifier: Apache-2.0
//
// usage: velmorand-bench-process
//
// Whole processes: each iteration runs this program again as a child with one task. The cost of the register is the
// difference from the row "nothing". The rows "start_and_read" run small programs that are linked only with the
// libraries they use.
#include <cstddef>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include <QSettings>
#include <QString>
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
constexpr std::size_t settingsOfAProgram = 371;
constexpr std::size_t settingsRead = 10;

void fill(std::size_t count) {
    for (std::string const& name : names(count).ordered())
        _Register::getInstance()->_writeInteger(nullptr, name, usualValue, utils::properties::SCOPE_USER);
}

void fillQSettings(std::string const& directory) {
    QSettings settings(QString::fromStdString(directory + "/settings.ini"), QSettings::IniFormat);
    for (std::string const& name : names(settingsOfAProgram).ordered())
        settings.setValue(QString::fromStdString(name), usualValue);
}

/** Runs the task of a child: its first argument; the others are the global and the user directory. */
int runChild(std::string const& task, std::string const& global, std::string const& user) {
    if (task != "--nothing")
        _Register::initialize(global, user);
    if (task == "--fill")
        fill(settingsOfADesktop);
    if (task == "--fill-some")
        fill(settingsOfAProgram);
    if (task == "--fill" || task == "--fill-some" || task == "--start-and-exit")
        return 0;
    ::_exit(0);
}

std::filesystem::path thisProgram() {
    return std::filesystem::read_symlink("/proc/self/exe");
}

/** Runs a program; the first argument is its path. Result: whether it succeeded. */
bool run(std::vector<std::string> arguments) {
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    ::pid_t child = 0;
    int status = 0;
    return ::posix_spawn(&child, pointers.front(), nullptr, nullptr, pointers.data(), environ) == 0 &&
           ::waitpid(child, &status, 0) == child && status == 0;
}

bool spawnChild(std::string const& task, std::string const& global, std::string const& user) {
    return run({thisProgram().string(), task, global, user});
}

void measure(benchmark::State& state, std::string const& task, std::string const& global,
             std::string const& user) {
    while (state.KeepRunning())
        if (!spawnChild(task, global, user))
            state.SkipWithError("a child failed");
}

void addPrograms(std::string const& user, std::string const& global) {
    auto const add = [&](char const* row, char const* program) {
        std::vector<std::string> arguments{thisProgram().parent_path() / program, user, global};
        auto const& all = names(settingsOfAProgram).shuffled();
        arguments.insert(arguments.end(), all.begin(), all.begin() + settingsRead);
        auto const measureProgram = [arguments](benchmark::State& state) {
            while (state.KeepRunning())
                if (!run(arguments))
                    state.SkipWithError("a child failed");
        };
        benchmark::RegisterBenchmark(row, measureProgram)->UseRealTime()->Unit(benchmark::kMillisecond);
    };
    add("process/start_and_read/nothing", "velmorand-bench-start-nothing");
    add("process/start_and_read/live", "velmorand-bench-start-live");
    add("process/start_and_read/initialize", "velmorand-bench-start-initialize");
    add("process/start_and_read/qsettings", "velmorand-bench-start-qsettings");
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
    bench::TemporaryDirectory const someDirectory;
    std::string const some = someDirectory.path().string();
    if (!bench::spawnChild("--fill", empty, full) || !bench::spawnChild("--fill-some", empty, some))
        return 1;
    bench::fillQSettings(some);
    bench::addAll(empty, full);
    bench::addPrograms(some, empty);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
} catch (std::exception const& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
}
