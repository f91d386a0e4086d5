// SPDX-License-Identifier: Apache-2.0
#include "Tool.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tool {

std::string bytesOf(std::string const& path) {
    std::ifstream stream(path, std::ios::binary);
    return stream ? std::string(std::istreambuf_iterator<char>(stream), {}) : "no file";
}

void putBytes(std::string const& path, std::string const& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

Tool::Tool() {
    std::filesystem::create_directory(user);
    std::filesystem::create_directory(global);
    ::setenv("HOME", directory.string().c_str(), 1);
    ::unsetenv("XDG_CONFIG_HOME");
    ::unsetenv("XDG_DATA_HOME");
    ::setenv("XDG_DATA_DIRS", at("share").c_str(), 1);
}

namespace {

/** Replaces this process with the tool, which gets these descriptors as its standard streams. */
[[noreturn]] void become(Arguments const& arguments, int in, int out, int err) {
    std::vector<char*> argv;
    std::string program = VELMORAND_TOOL;
    argv.push_back(program.data());
    Arguments texts = arguments;
    for (std::string& text : texts)
        argv.push_back(text.data());
    argv.push_back(nullptr);
    if (::dup2(in, 0) < 0 || ::dup2(out, 1) < 0 || ::dup2(err, 2) < 0)
        ::_exit(126);
    ::execv(program.c_str(), argv.data());
    ::_exit(127);
}

} // namespace

pid_t Tool::start(Arguments const& arguments, std::string const& input) const {
    putBytes(at("in"), input);
    ::pid_t const child = ::fork();
    if (child != 0)
        return child;
    for (int const capability : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH})
        if (_isObeying && ::prctl(PR_CAPBSET_READ, capability) == 1 &&
            ::prctl(PR_CAPBSET_DROP, capability) != 0 && ::geteuid() == 0)
            ::_exit(125);
    int const made = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
    become(arguments, ::open(at("in").c_str(), O_RDONLY | O_CLOEXEC), ::open(outPath().c_str(), made, 0666),
           ::open(errPath().c_str(), made, 0666));
}

pid_t Tool::startOn(int terminal, Arguments const& arguments) {
    ::pid_t const child = ::fork();
    if (child != 0)
        return child;
    become(arguments, terminal, terminal, terminal);
}

Outcome Tool::runBare(Arguments const& arguments, std::string const& input) {
    ::pid_t const child = start(arguments, input);
    int status = 0;
    EXPECT_EQ(child, ::waitpid(child, &status, 0));
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), bytesOf(outPath()),
            bytesOf(errPath())};
}

Outcome Tool::run(Arguments arguments, std::string const& input) {
    arguments.insert(arguments.begin(), {"--user", user});
    return runBare(arguments, input);
}

std::string Tool::answer(Arguments const& arguments, std::string const& input) {
    Outcome const outcome = run(arguments, input);
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("", outcome.err);
    return outcome.out;
}

} // namespace tool
