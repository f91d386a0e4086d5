// SPDX-License-Identifier: Apache-2.0
#include "Words.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr std::size_t longest = 40;

/** `size` bytes in a separate block, so that a sanitizer notices reads past the end. */
std::vector<char> block(std::size_t size) {
    std::vector<char> bytes(size);
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<char>('a' + i % 26);
    return bytes;
}

} // namespace

TEST(LoadPartialWord, TreatsTheFirstByteAsTheLowest) {
    for (std::size_t size = 0; size <= 8; ++size) {
        std::vector<char> const bytes = block(size);
        std::uint64_t expected = 0;
        for (std::size_t i = 0; i < size; ++i)
            expected |= std::uint64_t{static_cast<unsigned char>(bytes[i])} << (8 * i);
        EXPECT_EQ(expected, filesystem::loadPartialWord(bytes.data(), size)) << size;
    }
}

TEST(SameBytes, IsTrueForACopy) {
    for (std::size_t size = 0; size <= longest; ++size)
        EXPECT_TRUE(filesystem::sameBytes(block(size).data(), block(size).data(), size)) << size;
}

TEST(SameBytes, IsFalseIfOneByteDiffers) {
    for (std::size_t size = 1; size <= longest; ++size) {
        for (std::size_t i = 0; i < size; ++i) {
            std::vector<char> other = block(size);
            other[i] = '-';
            EXPECT_FALSE(filesystem::sameBytes(block(size).data(), other.data(), size)) << size << ' ' << i;
        }
    }
}

TEST(Precedes, ComparesBytewise) {
    using namespace std::string_view_literals;
    std::vector<std::string_view> const ascending{""sv,           "\0"sv,        "\0\0"sv,      "a"sv,
                                                  "a\0"sv,        "a\0b"sv,      "aaaaaaa"sv,   "aaaaaaaa"sv,
                                                  "aaaaaaaa\0"sv, "aaaaaaaab"sv, "aaaaaaaac"sv, "aaaaaaab"sv,
                                                  "b"sv,          "\x7F"sv,      "\x80"sv,      "\xFF"sv};
    for (std::size_t left = 0; left < ascending.size(); ++left)
        for (std::size_t right = 0; right < ascending.size(); ++right)
            EXPECT_EQ(left < right, filesystem::precedes(ascending[left], ascending[right]))
                << left << ' ' << right;
}

TEST(CopyBytes, WritesNothingOutsideTheCopy) {
    for (std::size_t size = 0; size <= longest; ++size) {
        std::vector<char> copy(size + 2, '-');
        filesystem::copyBytes(copy.data() + 1, block(size).data(), size);
        EXPECT_EQ('-' + std::string(block(size).data(), size) + '-', std::string(copy.data(), copy.size()));
    }
}
