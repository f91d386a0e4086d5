// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace filesystem {

// Text taken eight bytes at a time, the first byte lowest on every machine.

inline std::uint64_t loadWord(char const* bytes) noexcept {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    word = __builtin_bswap64(word);
#endif
    return word;
}

/** The first `count` bytes, up to 8, the rest zero. Never reads past them. */
inline std::uint64_t loadPartialWord(char const* bytes, std::size_t count) noexcept {
    if (count == sizeof(std::uint64_t))
        return loadWord(bytes);
    auto const at = [bytes](std::size_t i) { return std::uint64_t{static_cast<unsigned char>(bytes[i])}; };
    if (count >= 4) {
        std::uint64_t const low = at(0) | at(1) << 8 | at(2) << 16 | at(3) << 24;
        std::size_t const last = count - 4;
        std::uint64_t const high = at(last) | at(last + 1) << 8 | at(last + 2) << 16 | at(last + 3) << 24;
        return low | high << (8 * last);
    }
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < count; ++i)
        word |= at(i) << (8 * i);
    return word;
}

} // namespace filesystem
