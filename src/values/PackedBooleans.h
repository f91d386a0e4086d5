// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace utils::properties {

// A record has one byte per boolean; a std::vector<bool> packs them into bits. libstdc++ lets its iterators' words be
// accessed, so that eight booleans are converted at once; elsewhere they are converted one by one.

constexpr std::uint64_t repeatedByte(unsigned char byte) {
    return byte * std::uint64_t{0x0101010101010101};
}

/** Converts a word between the machine's byte order and little-endian, in either direction. */
inline std::uint64_t inMemoryOrder(std::uint64_t word) {
    return __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? word : __builtin_bswap64(word);
}

/** The booleans in eight bytes, the first in the lowest bit. Any byte other than 0 is true. */
inline unsigned packBooleans(char const* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    word = inMemoryOrder(word);
    std::uint64_t const highBits = ((word & repeatedByte(0x7F)) + repeatedByte(0x7F)) | word;
    std::uint64_t const lowBits = (highBits >> 7) & repeatedByte(1);
    return static_cast<unsigned>((lowBits * 0x0102040810204080U) >> 56); // bit 8 * i becomes bit 56 + i
}

/** The inverse of `packBooleans`: writes eight bytes, each 0 or 1. */
inline void unpackBooleans(std::uint64_t bits, char* bytes) {
    std::uint64_t const oneBitEach = (bits * repeatedByte(1)) & 0x8040201008040201U; // byte i keeps bit i
    std::uint64_t const word = inMemoryOrder(((oneBitEach + repeatedByte(0x7F)) >> 7) & repeatedByte(1));
    std::memcpy(bytes, &word, sizeof word);
}

/** Reads the elements of a list, starting with the one at `begin`. */
inline void readBooleans(std::vector<bool>& list, std::size_t begin, char const* from) {
    auto next = list.begin() + static_cast<std::ptrdiff_t>(begin);
    auto const isTrue = [](char byte) { return byte != 0; };
#ifdef __GLIBCXX__
    constexpr std::size_t wordBits = sizeof(std::_Bit_type) * CHAR_BIT;
    std::size_t left = list.size() - begin;
    std::size_t const toWord = std::min(left, (wordBits - begin % wordBits) % wordBits);
    next = std::transform(from, from + toWord, next, isTrue);
    from += toWord;
    left -= toWord;
    for (; left >= wordBits; left -= wordBits, from += wordBits, next += wordBits) {
        std::_Bit_type word = 0;
        for (std::size_t bit = 0; bit < wordBits; bit += 8)
            word |= std::_Bit_type{packBooleans(from + bit)} << bit;
        *next._M_p = word;
    }
    std::transform(from, from + left, next, isTrue);
#else
    std::transform(from, from + (list.size() - begin), next, isTrue);
#endif
}

/** Writes a list's elements. Result: the byte after the last one. */
inline char* writeBooleans(std::vector<bool> const& list, char* target) {
    auto next = list.begin();
#ifdef __GLIBCXX__
    constexpr std::size_t wordBits = sizeof(std::_Bit_type) * CHAR_BIT;
    for (; static_cast<std::size_t>(list.end() - next) >= wordBits; next += wordBits)
        for (std::size_t bit = 0; bit < wordBits; bit += 8, target += 8)
            unpackBooleans((*next._M_p >> bit) & 0xFFU, target);
#endif
    return std::transform(next, list.end(), target,
                          [](bool value) { return static_cast<char>(value ? 1 : 0); });
}

} // namespace utils::properties
