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

Trial::Trial(std::filesystem::path inside, std::size_t size, std::string manner)
    : _directory(std::move(inside)), _size(size), _manner(std::move(manner)) {}

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

void Trial::setTheirs(std::optional<int> state) {
    if (state)
        put(_place / "theirs", bytesOf(*state));
    else
        std::filesystem::remove(_place / "theirs");
}

void Trial::reset(std::optional<int> state) {
    reset(state ? Files{{name, bytesOf(*state)}} : Files{});
}

void Trial::reset(Files const& files) {
    std::filesystem::create_directory(_directory);
    for (auto const& entry : std::filesystem::directory_iterator(_directory))
        std::filesystem::remove_all(entry.path());
    for (auto const& [file, bytes] : files)
        put(_directory / file, bytes);
}

std::string const& Trial::bytesOf(int state) {
    auto const known = _bytes.find(state);
    if (known != _bytes.end())
        return known->second;
    Trial maker(_size, isLive() ? _manner : "register");
    if (!maker.run("", "make", state).exitedWith(0))
        throw std::runtime_error("cannot save state " + std::to_string(state));
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

std::pair<Outcome, Outcome> Trial::runBeside(std::string const& plan, std::string const& mode, Trial& other,
                                             std::string const& otherMode, int state) {
    int const process = start(plan, mode, state, "");
    int status = 0;
    if (::waitpid(process, &status, WUNTRACED) != process)
        throw std::runtime_error("cannot wait for a process");
    if (!WIFSTOPPED(status))
        throw std::runtime_error(plan + " stopped nothing");
    int const beside = other.start("count", otherMode, state, "");
    siginfo_t ended = {};
    while (::waitid(P_PID, static_cast<::id_t>(beside), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           ended.si_pid == 0 && !other.recorded().hasFailed("flock"))
        std::this_thread::yield();
    ::kill(process, SIGCONT);
    Outcome first = finish(process);
    return {std::move(first), other.finish(beside)};
}

Outcome Trial::killAfter(std::chrono::microseconds delay, std::string const& mode, int state) {
    int const process = start("", mode, state, "");
    std::this_thread::sleep_for(delay);
    ::kill(process, SIGKILL);
    return finish(process);
}

/** Uses the shim only with a plan, or without hard links. */
int Trial::start(std::string const& plan, std::string const& mode, int state, std::string const& more) {
    std::string const log = _place / "log";
    std::filesystem::remove(log);
    std::filesystem::remove(observed());
    char const* const application = isLive() ? CRASH_LIVE_APPLICATION : CRASH_APPLICATION;
    std::vector<std::string> arguments = {
        application, _manner, log, mode, _directory.string(), std::to_string(_size), std::to_string(state)};
    if (!more.empty())
        arguments.push_back(more);
    std::vector<std::string> variables;
    if (!plan.empty() || !_hasLinks)
        variables = {"CRASH_PLAN=" + (plan.empty() ? "count" : plan), "CRASH_LOG=" + log,
                     "CRASH_DIRECTORY=" + _directory.string(), "LD_PRELOAD=" CRASH_SHIM};
    if (isLive() && mode != "worker")
        variables.emplace_back("CRASH_THREAD=main");
    if (!_hasLinks)
        variables.emplace_back("CRASH_NO_LINKS=1");
    auto environment = environmentWith(variables);
    ::pid_t process = 0;
    if (::posix_spawn(&process, application, nullptr, nullptr, pointers(arguments).data(),
                      pointers(environment).data()) != 0)
        throw std::runtime_error(std::string("cannot start ") + application);
    return process;
}

Outcome Trial::finish(int process) {
    Outcome run;
    if (::waitpid(process, &run.status, 0) != process)
        throw std::runtime_error("cannot wait for a process");
    run.recording = recorded();
    return run;
}

Recording Trial::recorded() const {
    return Recording(contentOf(_place / "log").value_or(""));
}

std::string Trial::problem(Allowed const& allowed, std::optional<int>* state) {
    auto const before = registerFile();
    if (!before && !allowed.has(std::nullopt))
        return "the file is missing";
    if (isLive() && !allowed.hasPrevious(stateOf(previousFile())))
        return "the previous file has state " + std::to_string(stateOf(previousFile()).value_or(0));
    Outcome const fresh = run("", "check", 0, observed().string());
    auto const found = fresh.recording.found();
    if (!fresh.exitedWith(0) || !found)
        return "a new process cannot load it: status " + std::to_string(fresh.status);
    if (before && !allowed.has(found))
        return "state " + std::to_string(*found) + " is not allowed";
    if (!before && *found != 0)
        return "the file is missing, but state " + std::to_string(*found) + " was found";
    // Equal settings give equal files, so the file that the new process saved must equal the file it found.
    if (before && before != contentOf(observed()))
        return "the file does not have the bytes of state " + std::to_string(*found);
    auto left = files();
    if (isLive() && before && before != previousFile())
        return "the next save has not kept the previous file";
    if (isLive())
        left.erase(previousName);
    if (left.size() != 1 || left.begin()->first != name)
        return "after the next save there are " + std::to_string(left.size()) + " files";
    if (state != nullptr)
        *state = *found + 1;
    return {};
}

} // namespace crash
