// SPDX-License-Identifier: Apache-2.0
#include "Trial.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>
#include <utility>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace crash {

namespace {

void put(std::filesystem::path const& file, std::string const& bytes) {
    std::ofstream stream(file, std::ios::binary);
    if (!(stream << bytes).flush())
        throw std::runtime_error("cannot write " + file.string());
}

std::vector<std::string> environmentWith(std::vector<std::string> variables) {
    for (char** variable = environ; *variable != nullptr; ++variable)
        variables.emplace_back(*variable);
    return variables;
}

std::vector<char*> pointers(std::vector<std::string>& strings) {
    std::vector<char*> result;
    result.reserve(strings.size() + 1);
    for (std::string& string : strings)
        result.push_back(string.data());
    result.push_back(nullptr);
    return result;
}

} // namespace

std::optional<std::string> contentOf(std::filesystem::path const& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

bool Outcome::wasKilled() const {
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

bool Outcome::exitedWith(int code) const {
    return WIFEXITED(status) && WEXITSTATUS(status) == code;
}

Trial::Trial(std::size_t size, std::string manner)
    : _directory(std::filesystem::canonical(_place.path()) / "user"), _size(size),
      _manner(std::move(manner)) {
    std::filesystem::create_directory(_directory);
}

Trial::Trial(std::filesystem::path inside, std::size_t size)
    : _directory(std::move(inside)), _size(size), _manner("register") {}

std::filesystem::path Trial::parent() {
    bool const isChosen = std::getenv("TMPDIR") != nullptr || ::access("/dev/shm", W_OK | X_OK) != 0;
    return isChosen ? std::filesystem::temp_directory_path() : "/dev/shm";
}

Files Trial::files() const {
    Files files;
    for (auto const& entry : std::filesystem::directory_iterator(_directory))
        files[entry.path().filename().string()] = contentOf(entry.path()).value_or("");
    return files;
}

void Trial::reset(std::optional<int> state) {
    reset(state ? Files{{name, bytesOf(*state)}} : Files{});
}

void Trial::reset(Files const& files) {
    for (auto const& entry : std::filesystem::directory_iterator(_directory))
        std::filesystem::remove_all(entry.path());
    for (auto const& [file, bytes] : files)
        put(_directory / file, bytes);
}

std::string const& Trial::bytesOf(int state) {
    auto const known = _bytes.find(state);
    if (known != _bytes.end())
        return known->second;
    Trial maker(_size);
    if (!maker.run("", "make", state).exitedWith(0))
        throw std::runtime_error("cannot make state " + std::to_string(state));
    return _bytes[state] = maker.registerFile().value();
}

std::optional<int> Trial::stateOf(std::optional<std::string> const& bytes) const {
    if (!bytes)
        return std::nullopt;
    for (auto const& [state, known] : _bytes)
        if (known == *bytes)
            return state;
    return -1;
}

Outcome Trial::run(std::string const& plan, std::string const& mode, int state, std::string const& more) {
    return finish(start(plan, mode, state, more));
}

Outcome Trial::killAfter(std::chrono::microseconds delay, std::string const& mode, int state) {
    int const process = start("", mode, state, "");
    std::this_thread::sleep_for(delay);
    ::kill(process, SIGKILL);
    return finish(process);
}

/** Without a plan, without the shim. */
int Trial::start(std::string const& plan, std::string const& mode, int state, std::string const& more) {
    std::string const log = _place / "log";
    std::filesystem::remove(log);
    std::filesystem::remove(observed());
    std::vector<std::string> arguments = {
        CRASH_APPLICATION,    _manner, log, mode, _directory.string(), std::to_string(_size),
        std::to_string(state)};
    if (!more.empty())
        arguments.push_back(more);
    std::vector<std::string> variables;
    if (!plan.empty())
        variables = {"CRASH_PLAN=" + plan, "CRASH_LOG=" + log, "CRASH_DIRECTORY=" + _directory.string(),
                     "LD_PRELOAD=" CRASH_SHIM};
    auto environment = environmentWith(variables);
    ::pid_t process = 0;
    if (::posix_spawn(&process, CRASH_APPLICATION, nullptr, nullptr, pointers(arguments).data(),
                      pointers(environment).data()) != 0)
        throw std::runtime_error("cannot start " CRASH_APPLICATION);
    return process;
}

Outcome Trial::finish(int process) {
    Outcome run;
    if (::waitpid(process, &run.status, 0) != process)
        throw std::runtime_error("cannot wait for a process");
    run.recording = Recording(contentOf(_place / "log").value_or(""));
    return run;
}

std::string Trial::problem(Allowed const& allowed, std::optional<int>* state) {
    auto const before = registerFile();
    if (!before && !allowed.has(std::nullopt))
        return "the file is missing";
    Outcome const fresh = run("", "check", 0, observed().string());
    auto const found = fresh.recording.found();
    if (!fresh.exitedWith(0) || !found)
        return "a fresh process does not load it: status " + std::to_string(fresh.status);
    if (before && !allowed.has(found))
        return "state " + std::to_string(*found) + " is not allowed";
    if (!before && *found != 0)
        return "a state out of nothing";
    // Equal settings give equal files: what the fresh process saved again is what stood there, to the last
    // byte.
    if (before && before != contentOf(observed()))
        return "the file is not that of state " + std::to_string(*found);
    auto const left = files();
    if (left.size() != 1 || left.begin()->first != name)
        return "after the next save there are " + std::to_string(left.size()) + " files";
    if (state != nullptr)
        *state = *found + 1;
    return {};
}

} // namespace crash
