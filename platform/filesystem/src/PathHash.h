// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Words.h"

namespace filesystem {

/**
 * An incremental hash of a path: after "a/b", hashing "a/b/c" costs only as much as hashing "/c". So hashing all paths
 * in a tree costs as much as hashing all names, regardless of the tree's depth.
 *
 * Keyed with a secret of the process, so that collisions cannot be constructed, except those of `ofFirst`. The hash
 * does not depend on how the bytes were split.
 */
class PathHash {
public:
    static constexpr std::uint64_t root = 0;

    PathHash() noexcept;

    void append(std::string_view bytes) noexcept;

    /** The hash of everything that was appended, followed by `bytes`; only for `join`, which completes the mixing. */
    [[nodiscard]] std::uint64_t with(std::string_view bytes) const noexcept;

    /** Likewise, of `bytes` alone. */
    [[nodiscard]] static std::uint64_t of(std::string_view bytes) noexcept;

    /**
     * The hash of the first of several levels, for `join`. A short name is its own hash, because `join` mixes it with the
     * secret. So names that differ only in zero bytes at the end have the same hash.
     */
    [[nodiscard]] static std::uint64_t ofFirst(std::string_view name) noexcept;

    /** The hash of a whole path, from the hash of its first level, or `root` if there is only one, and of the rest. */
    [[nodiscard]] static std::uint32_t join(std::uint64_t first, std::uint64_t rest) noexcept;

private:
    struct Secret {
        std::uint64_t seed;
        std::uint64_t block;
        std::uint64_t tail;
        std::uint64_t first;
    };

    /** Sixteen bytes, padded with zeros. */
    struct Block {
        std::uint64_t low = 0;
        std::uint64_t high = 0;
    };

    static constexpr std::size_t blockSize = sizeof(Block);

    static std::uint64_t mix(std::uint64_t left, std::uint64_t right) noexcept;
    static Block load(std::string_view bytes) noexcept;
    static std::uint64_t mixed(std::uint64_t state, Block const& block) noexcept;
    static std::uint64_t finished(std::uint64_t state, Block const& tail, std::uint64_t length) noexcept;
    static std::uint64_t finished(std::uint64_t state, std::string_view bytes, std::uint64_t length) noexcept;

    /** The tail, filled up to a whole block with the first of `bytes`, which are removed from `bytes`. */
    Block fill(std::string_view& bytes) const noexcept;

    static Secret const secret;

    std::uint64_t _state;
    std::uint64_t _length = 0;
    Block _tail; ///< the bytes after the last whole block
};

/**
 * The halves of the 128-bit product, combined with XOR: every bit of the result depends on all bits of both factors.
 */
inline std::uint64_t PathHash::mix(std::uint64_t left, std::uint64_t right) noexcept {
#ifdef __SIZEOF_INT128__
    __extension__ using Wide = unsigned __int128;
    Wide const product = Wide{left} * right;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
#else
    // 32-bit machines do not have this type: the product is computed from the factors' halves.
    constexpr std::uint64_t half = 0xFFFFFFFFU;
    std::uint64_t const lowest = (left & half) * (right & half);
    std::uint64_t const inner = (left >> 32) * (right & half) + (lowest >> 32);
    std::uint64_t const outer = (left & half) * (right >> 32) + (inner & half);
    std::uint64_t const high = (left >> 32) * (right >> 32) + (inner >> 32) + (outer >> 32);
    return high ^ (outer << 32 | (lowest & half));
#endif
}

inline PathHash::Block PathHash::load(std::string_view bytes) noexcept {
    if (bytes.size() <= 8)
        return {loadPartialWord(bytes.data(), bytes.size()), 0};
    std::size_t const rest = bytes.size() < blockSize ? bytes.size() - 8 : 8;
    return {loadWord(bytes.data()), loadPartialWord(bytes.data() + 8, rest)};
}

inline std::uint64_t PathHash::mixed(std::uint64_t state, Block const& block) noexcept {
    return mix(block.low ^ secret.block, block.high ^ state);
}

inline std::uint64_t PathHash::finished(std::uint64_t state, Block const& tail,
                                        std::uint64_t length) noexcept {
    return mix(tail.low ^ secret.tail, tail.high ^ state) ^ length;
}

/** Continues with `bytes`, which start at a block boundary, and finishes the hash of `length` bytes in total. */
inline std::uint64_t PathHash::finished(std::uint64_t state, std::string_view bytes,
                                        std::uint64_t length) noexcept {
    for (; bytes.size() >= blockSize; bytes.remove_prefix(blockSize))
        state = mixed(state, load(bytes));
    return finished(state, load(bytes), length);
}

inline std::uint64_t PathHash::of(std::string_view bytes) noexcept {
    return finished(secret.seed, bytes, bytes.size());
}

inline std::uint64_t PathHash::ofFirst(std::string_view name) noexcept {
    return name.size() <= sizeof(std::uint64_t) ? loadPartialWord(name.data(), name.size()) : of(name);
}

inline std::uint32_t PathHash::join(std::uint64_t first, std::uint64_t rest) noexcept {
    return static_cast<std::uint32_t>(mix(first ^ secret.first, rest));
}

} // namespace filesystem
