// SPDX-License-Identifier: Apache-2.0
//
// Numbers keep all their bits. On i386, copying a signalling NaN through a floating-point register makes it a quiet one.

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <velmorand/AnyValue.h>
#include <velmorand/Property.h>

namespace {

using namespace velmorand;

constexpr std::uint64_t signalling = 0xFFF0'0000'0000'0001;
constexpr std::uint64_t quiet = 0x7FF8'0000'0000'0002;

std::vector<double> numbersOf(std::vector<std::uint64_t> const& bits) {
    std::vector<double> numbers(bits.size());
    std::memcpy(numbers.data(), bits.data(), bits.size() * sizeof(double));
    return numbers;
}

std::vector<std::uint64_t> bitsOf(std::vector<double> const& numbers) {
    std::vector<std::uint64_t> bits(numbers.size());
    std::memcpy(bits.data(), numbers.data(), numbers.size() * sizeof(double));
    return bits;
}

} // namespace

TEST(NumberBits, AreKeptInAListOfASetting) {
    write("a/x", numbersOf({signalling, quiet}));
    Property<std::vector<double>> const setting{"a/x"};
    EXPECT_THAT(bitsOf(setting.get()), testing::ElementsAre(signalling, quiet));
    EXPECT_THAT(bitsOf(read<std::vector<double>>("a/x")), testing::ElementsAre(signalling, quiet));
}

TEST(NumberBits, AreKeptInADecodedNumber) {
    std::string const record("N\x01\0\0\0\0\0\xF0\xFF", 9);
    DecodedRecord const decoded = decodeRecord(record);
    ASSERT_TRUE(decoded.value);
    EXPECT_EQ(record, encodeRecord(*decoded.value));
}

TEST(NumberBits, AreKeptInADecodedList) {
    std::string const record("LN\x02\0\0\0\x01\0\0\0\0\0\xF0\xFF\x02\0\0\0\0\0\xF8\x7F", 22);
    DecodedRecord const decoded = decodeRecord(record);
    ASSERT_TRUE(decoded.value);
    EXPECT_EQ(record, encodeRecord(*decoded.value));
}

TEST(NumberBits, MissingInARecordAreDecodedAsZero) {
    for (std::string const& record : {std::string("N\x07"), std::string("LN\x01\0\0\0\x07", 7)}) {
        DecodedRecord const decoded = decodeRecord(record);
        ASSERT_TRUE(decoded.value);
        EXPECT_EQ(record + std::string(7, '\0'), encodeRecord(*decoded.value));
    }
}
