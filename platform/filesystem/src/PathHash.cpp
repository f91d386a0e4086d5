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

/** From the sixteen random bytes that the kernel gives to every process. */
Secret makeSecret() noexcept {
    std::uint64_t state = 0x9E3779B97F4A7C15U;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the kernel hands the address out as a number
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

/** Both halves of the 128-bit product, folded: every bit of the result depends on every bit of both. */
inline std::uint64_t mix(std::uint64_t left, std::uint64_t right) noexcept {
    __extension__ using Wide = unsigned __int128;
    Wide const product = Wide{left} * right;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

inline std::uint64_t mixBlock(std::uint64_t state, char const* block) noexcept {
    return mix(loadWord(block) ^ secret.block, loadWord(block + 8) ^ state);
}

inline std::uint64_t finish(std::uint64_t state, char const* tail, std::size_t count,
                            std::uint64_t length) noexcept {
    std::uint64_t const low = loadPartialWord(tail, std::min<std::size_t>(count, 8));
    std::uint64_t const high = count > 8 ? loadPartialWord(tail + 8, count - 8) : 0;
    return mix(mix(low ^ secret.tail, high ^ state) ^ length, secret.end);
}

} // namespace

PathHash::PathHash() noexcept : _state(secret.seed) {}

void PathHash::append(std::string_view bytes) noexcept {
    std::size_t const pending = _length % blockSize;
    _length += bytes.size();
    if (pending + bytes.size() < blockSize) {
        std::copy(bytes.begin(), bytes.end(), _tail + pending);
        return;
    }
    std::copy_n(bytes.begin(), blockSize - pending, _tail + pending);
    _state = mixBlock(_state, _tail);
    bytes.remove_prefix(blockSize - pending);
    for (; bytes.size() >= blockSize; bytes.remove_prefix(blockSize))
        _state = mixBlock(_state, bytes.data());
    std::copy(bytes.begin(), bytes.end(), _tail);
}

std::uint64_t PathHash::value() const noexcept {
    return finish(_state, _tail, _length % blockSize, _length);
}

std::uint64_t PathHash::of(std::string_view bytes) noexcept {
    std::uint64_t const length = bytes.size();
    std::uint64_t state = secret.seed;
    for (; bytes.size() >= blockSize; bytes.remove_prefix(blockSize))
        state = mixBlock(state, bytes.data());
    return finish(state, bytes.data(), bytes.size(), length);
}

std::uint32_t PathHash::join(std::uint64_t first, std::uint64_t rest) noexcept {
    return static_cast<std::uint32_t>(mix(first ^ secret.end, rest ^ secret.seed));
}

} // namespace filesystem
