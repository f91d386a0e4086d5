// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace filesystem {

/**
 * An incremental hash of a path: after "a/b", hashing "a/b/c" costs only as much as hashing "/c". So hashing all paths
 * in a tree costs as much as hashing all names, regardless of the tree's depth.
 *
 * Keyed with a secret of the process, so that collisions cannot be constructed. The hash does not depend on how the
 * bytes were split.
 */
class PathHash {
public:
    PathHash() noexcept;

    void append(std::string_view bytes) noexcept;

    /** The hash of everything that was appended, followed by `bytes`. */
    [[nodiscard]] std::uint64_t with(std::string_view bytes) const noexcept;

    /** The hash of `bytes` alone. */
    [[nodiscard]] static std::uint64_t of(std::string_view bytes) noexcept;

    /** The hash of a whole path, from the hash of its first level and that of the rest. */
    [[nodiscard]] static std::uint32_t join(std::uint64_t first, std::uint64_t rest) noexcept;

private:
    /** Sixteen bytes, padded with zeros. */
    struct Block {
        std::uint64_t low = 0;
        std::uint64_t high = 0;
    };

    static constexpr std::size_t blockSize = sizeof(Block);

    static Block load(std::string_view bytes) noexcept;
    static std::uint64_t mixed(std::uint64_t state, Block const& block) noexcept;
    static std::uint64_t finished(std::uint64_t state, Block const& tail, std::uint64_t length) noexcept;
    static std::uint64_t finished(std::uint64_t state, std::string_view bytes, std::uint64_t length) noexcept;

    /** The tail, filled up to a whole block with the first of `bytes`, which are removed from `bytes`. */
    Block fill(std::string_view& bytes) const noexcept;

    std::uint64_t _state;
    std::uint64_t _length = 0;
    Block _tail; ///< the bytes after the last whole block
};

} // namespace filesystem
