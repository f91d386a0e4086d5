// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <limits>

namespace filesystem {

// Conversions between types that are the same on some machines and differ on others. They are templates, because
// in ordinary functions the compiler would warn of a cast to the same type.

/** Converts a number to a type that can represent it. */
template <class To, class From>
constexpr To numberAs(From number) noexcept {
    return static_cast<To>(number);
}

/**
 * Converts a position to the result type of a file system; -1, with `errno`, if a `long` has 32 bits and the position
 * does not fit.
 */
template <class Position>
long positionAsLong(Position position) noexcept {
    if (position <= std::numeric_limits<long>::max())
        return static_cast<long>(position);
    errno = EOVERFLOW;
    return -1;
}

} // namespace filesystem
