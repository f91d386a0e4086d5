// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

/** What differs when a person looks on. */
namespace tool {

/** Whether standard output is a terminal. */
bool isTerminal();

enum class Colour { green, red };

/** What to print before and after a text to colour it; empty unless standard output is a terminal with colours. */
char const* beginOf(Colour colour);
char const* endOf(Colour colour);

/**
 * A bar on standard error, when that is a terminal, for work that takes longer than a second. It is removed when the
 * work is done.
 */
class Progress {
public:
    /** Of `total` steps; 0 when it is not known how many there are. */
    Progress(std::string label, std::size_t total);
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;
    ~Progress();

    /** So many steps are done. */
    void at(std::size_t done);

private:
    using Clock = std::chrono::steady_clock;

    std::string _label;
    std::size_t _total;
    bool _isSeen;
    bool _isDrawn = false;
    Clock::time_point _next; // when it is drawn again
};

} // namespace tool
