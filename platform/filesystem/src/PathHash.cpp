// SPDX-License-Identifier: Apache-2.0
#include "PathHash.h"

#include <algorithm>

#include <sys/auxv.h>

#include "Words.h"

namespace filesystem {

namespace {

struct Secret {
    std::uint64_t seed;
    std::uint64_t block;
    std::uint64_t tail;
    std::uint64_t end;
};

/** Derived from the sixteen random bytes that the kernel gives every process. */
Secret makeSecret() noexcept {
    std::uint64_t state = 0x9E3779B97F4A7C15U;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the kernel gives the address as a number
    if (auto const* random = reinterpret_cast<char const*>(::getauxval(AT_RANDOM)); random != nullptr)
        state ^= loadWord(random) ^ loadWord(random + sizeof state) << 1;
    auto const next = [&state] {
        state += 0x9E3779B97F4A7C15U;
        std::uint64_t mixed = (state ^ (state >> 30)) * 0xBF58476D1CE4E5B9U;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
        return mixed ^ (mixed >> 31);
    };
    return {next(), next(), next(), next()};
}

Secret const secret = makeSecret();

/**
 * The halves of the 128-bit product, combined with XOR: every bit of the result depends on all bits of both factors.
 */
inline std::uint64_t mix(std::uint64_t left, std::uint64_t right) noexcept {
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

} // namespace

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
    return mix(mix(tail.low ^ secret.tail, tail.high ^ state) ^ length, secret.end);
}

/** Continues with `bytes`, which start at a block boundary, and finishes the hash of `length` bytes in total. */
inline std::uint64_t PathHash::finished(std::uint64_t state, std::string_view bytes,
                                        std::uint64_t length) noexcept {
    for (; bytes.size() >= blockSize; bytes.remove_prefix(blockSize))
        state = mixed(state, load(bytes));
    return finished(state, load(bytes), length);
}

PathHash::PathHash() noexcept : _state(secret.seed) {}

inline PathHash::Block PathHash::fill(std::string_view& bytes) const noexcept {
    std::size_t const held = _length % blockSize;
    std::size_t const taken = std::min(bytes.size(), blockSize - held);
    Block const added = load(bytes.substr(0, taken));
    bytes.remove_prefix(taken);
    if (held == 0)
        return added;
    std::size_t const shift = 8 * held;
    if (shift >= 64)
        return {_tail.low, _tail.high | added.low << (shift - 64)};
    return {_tail.low | added.low << shift, added.high << shift | added.low >> (64 - shift)};
}

void PathHash::append(std::string_view bytes) noexcept {
    std::uint64_t const length = _length + bytes.size();
    Block const block = fill(bytes);
    if (length / blockSize == _length / blockSize) {
        _tail = block;
    } else {
        _state = mixed(_state, block);
        for (; bytes.size() >= blockSize; bytes.remove_prefix(blockSize))
            _state = mixed(_state, load(bytes));
        _tail = load(bytes);
    }
    _length = length;
}

std::uint64_t PathHash::with(std::string_view bytes) const noexcept {
    std::uint64_t const length = _length + bytes.size();
    Block const block = fill(bytes);
    if (length / blockSize == _length / blockSize)
        return finished(_state, block, length);
    return finished(mixed(_state, block), bytes, length);
}

std::uint64_t PathHash::of(std::string_view bytes) noexcept {
    return finished(secret.seed, bytes, bytes.size());
}

std::uint32_t PathHash::join(std::uint64_t first, std::uint64_t rest) noexcept {
    return static_cast<std::uint32_t>(mix(first ^ secret.end, rest ^ secret.seed));
}

} // namespace filesystem
