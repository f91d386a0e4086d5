// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

namespace velmorand::live {

/** How long to wait for a process that is replacing the user's file. */
constexpr std::chrono::milliseconds patience{5'000};

/** The longest delay before a save: longer than any process runs, but short enough for arithmetic with clocks. */
constexpr std::chrono::milliseconds longestDelay = std::chrono::hours(24 * 365);

/**
 * How long a program runs before its files are watched. Shorter runs do not need a watch, and the system takes tens of
 * milliseconds to remove one.
 */
constexpr std::chrono::milliseconds unwatched{100};

/** The first and the longest interval between attempts after a failed save. */
constexpr std::chrono::milliseconds firstRetry{500};
constexpr std::chrono::milliseconds lastRetry{60'000};

} // namespace velmorand::live
