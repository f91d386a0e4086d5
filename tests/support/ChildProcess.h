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

/**
 * Runs `body` in a forked child, which then leaves through `std::exit` and so runs every exit handler.
 * Result: the child's exit status: 0, or 1 when an expectation failed in it, or what the body gave to
 * `std::exit`; `crashed` when it was killed or threw.
 */
template <class Body>
int inChild(Body&& body) {
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
        std::exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return crashed;
    return WEXITSTATUS(status);
}

} // namespace support
