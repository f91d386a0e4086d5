// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

/** What differs when a person looks on. */
namespace tool {

enum class Colour { plain, green, red };

/** The text in a colour, where standard output is a terminal that has colours and nobody has refused them. */
std::string coloured(std::string const& text, Colour colour);

/**
 * A bar on standard error, when that is a terminal, for work that takes longer than a second. It is gone when
 * the work is.
 */
class Progress {
public:
    /** Of `total` steps; 0 when nobody knows how many. */
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
