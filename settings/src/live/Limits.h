// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

namespace velmorand::live {

/** How long to wait for another process that is replacing the user's file. */
constexpr std::chrono::milliseconds patience{5'000};

/** A change may wait for a longer time than any process runs, but not for one that overflows a clock. */
constexpr std::chrono::milliseconds longestDelay = std::chrono::hours(24 * 365);

/**
 * How long a program runs before its files are watched. A shorter run needs no watch, and the system takes tens of
 * milliseconds to end one.
 */
constexpr std::chrono::milliseconds unwatched{100};

/** How long to wait before a failed save is tried again: at first, and at most. */
constexpr std::chrono::milliseconds firstRetry{500};
constexpr std::chrono::milliseconds lastRetry{60'000};

} // namespace velmorand::live
