// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace filesystem {

/**
 * A hash of a path's bytes that can go on from a prefix: what follows the hash of "a/b" costs only itself, so
 * hashing every path of a tree costs no more than its names, however deep it is.
 *
 * Keyed with a secret of the process: no input can be made to collide on purpose. Equal bytes hash equal
 * however they were split.
 */
class PathHash {
public:
    PathHash() noexcept;

    void append(std::string_view bytes) noexcept;

    /** The hash of what was appended, followed by `bytes`. */
    [[nodiscard]] std::uint64_t with(std::string_view bytes) const noexcept;

    /** The same of nothing but `bytes`, without the detour. */
    [[nodiscard]] static std::uint64_t of(std::string_view bytes) noexcept;

    /** The hash of a whole path from those of its first level and of all that follows it. */
    [[nodiscard]] static std::uint32_t join(std::uint64_t first, std::uint64_t rest) noexcept;

private:
    /** Sixteen bytes, zero where there are none. */
    struct Block {
        std::uint64_t low = 0;
        std::uint64_t high = 0;
    };

    static constexpr std::size_t blockSize = sizeof(Block);

    static Block load(std::string_view bytes) noexcept;
    static std::uint64_t mixed(std::uint64_t state, Block const& block) noexcept;
    static std::uint64_t finished(std::uint64_t state, Block const& tail, std::uint64_t length) noexcept;
    static std::uint64_t finished(std::uint64_t state, std::string_view bytes, std::uint64_t length) noexcept;

    /** The tail and the first of `bytes`, up to a whole block; takes them off `bytes`. */
    Block fill(std::string_view& bytes) const noexcept;

    std::uint64_t _state;
    std::uint64_t _length = 0;
    Block _tail; ///< the bytes behind the last whole block
};

} // namespace filesystem
