// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

/** Output for people: colours and progress bars. */
namespace tool {

/** Whether standard output is a terminal. */
bool isTerminal();

enum class Colour { green, red };

/** The escape sequences before and after a coloured text; empty unless standard output is a terminal with colours. */
char const* beginOf(Colour colour);
char const* endOf(Colour colour);

/**
 * A progress bar on standard error, if that is a terminal, for work that takes longer than a second. The destructor
 * removes it.
 */
class Progress {
public:
    /** `total` is the number of steps; 0 if it is not known. */
    Progress(std::string label, std::size_t total);
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;
    ~Progress();

    /** Updates the bar after `done` steps. */
    void at(std::size_t done);

private:
    using Clock = std::chrono::steady_clock;

    std::string _label;
    std::size_t _total;
    bool _isSeen;
    bool _isDrawn = false;
    Clock::time_point _next; // not drawn before this
};

} // namespace tool
