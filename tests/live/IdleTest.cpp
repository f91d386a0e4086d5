// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <cstdlib>
#include <iostream>

#include <poll.h>
#include <unistd.h>

#include "Live.h"
#include "support/StillThreads.h"

using namespace velmorand;

namespace {

class LiveWhileIdle : public live::Directories {};

} // namespace

// Runs for VELMORAND_IDLE_SECONDS, and is skipped if that is not set. StayIdleWhileNothingChanges always runs, and
// checks only that the background thread waits for an event.
TEST_F(LiveWhileIdle, MakeNoSystemCall) {
    char const* const seconds = std::getenv("VELMORAND_IDLE_SECONDS");
    if (seconds == nullptr)
        GTEST_SKIP() << "needs VELMORAND_IDLE_SECONDS, and strace";
    options.delay = std::chrono::milliseconds(1);
    ::pid_t const program = ::fork();
    ASSERT_LE(0, program);
    if (program == 0) {
        LiveSettings const live(options);
        write("a/x", 1);
        for (;;)
            ::poll(nullptr, 0, -1);
    }
    while (live::bytes(file()).empty())
        std::this_thread::yield();
    support::waitUntilStill(program);
    support::TemporaryDirectory const elsewhere; // not the directory that the program watches
    std::string const summary = (elsewhere / "summary").string();
    std::string const trace = std::string("timeout -s INT ") + seconds + " strace -f -c -o '" + summary +
                              "' -p " + std::to_string(program);
    constexpr int timedOut = 124;
    int const status = std::system(trace.c_str()); // NOLINT(cert-env33-c): runs this machine's strace
    EXPECT_EQ(timedOut, WEXITSTATUS(status)) << "strace failed";
    EXPECT_EQ("", live::bytes(summary)); // strace writes nothing if no call has returned
    ::kill(program, SIGKILL);
    ::waitpid(program, nullptr, 0);
    std::cout << "figure: " << seconds << " seconds in which idle live settings made no system call\n";
}
