// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <limits>

namespace filesystem {

// Numbers in types that are the same on some machines and differ on others. Templates, since a cast to the type that a
// number has already is a warning otherwise.

/** A number in another type, which has room for it. */
template <class To, class From>
constexpr To numberAs(From number) noexcept {
    return static_cast<To>(number);
}

/** A position as a file system gives it: -1, with `errno`, where a `long` has 32 bits and the position needs more. */
template <class Position>
long positionAsLong(Position position) noexcept {
    if (position <= std::numeric_limits<long>::max())
        return static_cast<long>(position);
    errno = EOVERFLOW;
    return -1;
}

} // namespace filesystem
