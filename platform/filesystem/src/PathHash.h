// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace filesystem {

/**
 * A hash of a path's bytes that can go on from a prefix: what is appended to the hash of "a/b" costs only
 * itself, so hashing every path of a tree costs no more than its names, however deep it is.
 *
 * Keyed with a secret of the process: no input can be made to collide on purpose. Equal bytes hash equal
 * however they were split.
 */
class PathHash {
public:
    PathHash() noexcept;

    void append(std::string_view bytes) noexcept;
    [[nodiscard]] std::uint64_t value() const noexcept;

    /** The same as appending `bytes` to a new hash, without the detour. */
    [[nodiscard]] static std::uint64_t of(std::string_view bytes) noexcept;

    /** The hash of a whole path from those of its first level and of all that follows it. */
    [[nodiscard]] static std::uint32_t join(std::uint64_t first, std::uint64_t rest) noexcept;

private:
    static constexpr std::size_t blockSize = 16;

    std::uint64_t _state;
    std::uint64_t _length = 0;
    char _tail[blockSize] = {}; ///< the bytes behind the last whole block
};

} // namespace filesystem
