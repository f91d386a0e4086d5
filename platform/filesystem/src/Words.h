// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace filesystem {

// Operations on short texts, eight bytes at a time, where a call of the C library would cost more than the work.

/** Eight bytes, or four as an `std::uint32_t`, as a word that is little-endian on every machine. */
template <class Word = std::uint64_t>
Word loadWord(char const* bytes) noexcept {
    Word word = 0;
    std::memcpy(&word, bytes, sizeof word);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    if constexpr (sizeof word == sizeof(std::uint64_t))
        word = __builtin_bswap64(word);
    else
        word = __builtin_bswap32(word);
#endif
    return word;
}

/** The first `count` bytes, at most 8, padded with zeros. Never reads past them. */
inline std::uint64_t loadPartialWord(char const* bytes, std::size_t count) noexcept {
    if (count == sizeof(std::uint64_t))
        return loadWord(bytes);
    if (count >= 4)
        return loadWord<std::uint32_t>(bytes) | std::uint64_t{loadWord<std::uint32_t>(bytes + count - 4)}
                                                    << (8 * (count - 4));
    auto const at = [bytes](std::size_t i) { return std::uint64_t{static_cast<unsigned char>(bytes[i])}; };
    if (count == 0)
        return 0;
    std::size_t const middle = count / 2;
    std::size_t const last = count - 1;
    return at(0) | at(middle) << (8 * middle) | at(last) << (8 * last);
}

/** Whether two texts of `count` bytes are equal. */
inline bool sameBytes(char const* left, char const* right, std::size_t count) noexcept {
    auto const same = [&](std::size_t at, auto part) {
        auto other = part;
        std::memcpy(&part, left + at, sizeof part);
        std::memcpy(&other, right + at, sizeof other);
        return part == other;
    };
    // The last comparison may overlap the one before it.
    if (count > 8) {
        std::size_t at = 0;
        do {
            if (!same(at, std::uint64_t{}))
                return false;
            at += 8;
        } while (at + 8 < count);
    }
    if (count >= 8)
        return same(count - 8, std::uint64_t{});
    if (count >= 4)
        return same(0, std::uint32_t{}) && same(count - 4, std::uint32_t{});
    return count == 0 || (left[0] == right[0] && left[count / 2] == right[count / 2] &&
                          left[count - 1] == right[count - 1]);
}

/** Whether `left` precedes `right` in byte order. */
inline bool precedes(std::string_view left, std::string_view right) noexcept {
    auto const leading = [](std::string_view text) {
        return __builtin_bswap64(
            loadPartialWord(text.data(), text.size() < sizeof(std::uint64_t) ? text.size() : 8));
    };
    std::uint64_t const leftWord = leading(left);
    std::uint64_t const rightWord = leading(right);
    return leftWord != rightWord ? leftWord < rightWord : left < right;
}

/** Copies `count` bytes between places that do not overlap. */
inline void copyBytes(char* to, char const* from, std::size_t count) noexcept {
    // Two overlapping copies of a fixed size cover any size from that size to twice as much.
    auto const twice = [&](auto part) {
        std::size_t const second = count - sizeof part;
        auto tail = part;
        std::memcpy(&part, from, sizeof part);
        std::memcpy(&tail, from + second, sizeof tail);
        std::memcpy(to, &part, sizeof part);
        std::memcpy(to + second, &tail, sizeof tail);
    };
    if (count > 2 * sizeof(std::uint64_t))
        std::memcpy(to, from, count);
    else if (count >= sizeof(std::uint64_t))
        twice(std::uint64_t{});
    else if (count >= sizeof(std::uint32_t))
        twice(std::uint32_t{});
    else
        for (std::size_t i = 0; i < count; ++i)
            to[i] = from[i];
}

} // namespace filesystem
