// SPDX-License-Identifier: Apache-2.0
#include "PathHash.h"

#include <algorithm>

#include <sys/auxv.h>

#include "Words.h"

namespace filesystem {

/** Derived from the sixteen random bytes that the kernel gives every process. */
PathHash::Secret const PathHash::secret = []() noexcept -> Secret {
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
}();

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

} // namespace filesystem
