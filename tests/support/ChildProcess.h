// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <exception>
#include <iostream>
#include <utility>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

/** The status of a child that ended by a signal or an uncaught exception. */
constexpr int crashed = 255;

/** How a child ends after its work: through `std::exit`, which runs every exit handler, or immediately. */
enum class Leave { throughExit, atOnce };

/**
 * Runs `body` in a forked child.
 * Result: the child's exit status: 0, or 1 if an expectation failed in it, or the argument of `std::exit`;
 * `crashed` if it was killed or threw.
 */
template <class Body>
int inChild(Body&& body, Leave leave = Leave::throughExit) {
    std::cout.flush();
    ::pid_t const child = ::fork();
    if (child == 0) {
        try {
            std::forward<Body>(body)();
        } catch (std::exception const& failure) {
            std::cerr << "child: " << failure.what() << '\n';
            ::_exit(crashed);
        } catch (...) {
            ::_exit(crashed);
        }
        int const status = ::testing::Test::HasFailure() ? 1 : 0;
        if (leave == Leave::throughExit)
            std::exit(status);
        std::cout.flush();
        ::_exit(status);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return crashed;
    return WEXITSTATUS(status);
}

} // namespace support
