// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "values/Forms.h"
#include "values/Record.h"

namespace {

using forms::content;
using utils::properties::SCOPE_USER;

/** The bytes of a literal, including zero bytes. */
template <std::size_t Size>
std::string bytes(char const (&literal)[Size]) {
    return {literal, Size - 1};
}

template <class Form>
class Record : public forms::Test<Form> {
protected:
    /** The record of the property that the test writes. */
    std::string written() { return content(this->settings, "/user/x"); }
};
TYPED_TEST_SUITE(Record, forms::Both, forms::Names);

TYPED_TEST(Record, OfAStringIsItsLengthAndItsBytes) {
    this->settings._writeString(nullptr, "x", bytes("h\0\xFF"), SCOPE_USER);
    EXPECT_EQ(bytes("S\3\0\0\0h\0\xFF"), this->written());
}

TYPED_TEST(Record, OfTheEmptyStringIsFiveBytes) {
    this->settings._writeString(nullptr, "x", "", SCOPE_USER);
    EXPECT_EQ(bytes("S\0\0\0\0"), this->written());
}

TYPED_TEST(Record, OfANumberIsItsBitsLowestByteFirst) {
    this->settings._writeNumber(nullptr, "x", 1.0, SCOPE_USER);
    EXPECT_EQ(bytes("N\0\0\0\0\0\0\xF0\x3F"), this->written());
}

TYPED_TEST(Record, OfMinusZeroKeepsTheSign) {
    this->settings._writeNumber(nullptr, "x", -0.0, SCOPE_USER);
    EXPECT_EQ(bytes("N\0\0\0\0\0\0\0\x80"), this->written());
}

TYPED_TEST(Record, OfASignallingNaNKeepsItsBits) {
    std::uint64_t const bits = 0x7FF0000000000001;
    double number = 0;
    std::memcpy(&number, &bits, sizeof number);
    this->settings._writeNumber(nullptr, "x", number, SCOPE_USER);
    EXPECT_EQ(bytes("N\1\0\0\0\0\0\xF0\x7F"), this->written());
    std::vector<double> numbers(2);
    std::memcpy(&numbers[1], &bits, sizeof bits);
    this->settings._writeNumbers(nullptr, "x", numbers, SCOPE_USER);
    EXPECT_EQ(bytes("LN\2\0\0\0\0\0\0\0\0\0\0\0\1\0\0\0\0\0\xF0\x7F"), this->written());
}

TYPED_TEST(Record, OfAnIntegerIsFourBytesLowestFirst) {
    this->settings._writeInteger(nullptr, "x", 0x01020384, SCOPE_USER);
    EXPECT_EQ(bytes("I\x84\3\2\1"), this->written());
}

TYPED_TEST(Record, OfANegativeIntegerIsItsTwosComplement) {
    this->settings._writeInteger(nullptr, "x", -2, SCOPE_USER);
    EXPECT_EQ(bytes("I\xFE\xFF\xFF\xFF"), this->written());
}

TYPED_TEST(Record, OfTrueIsOne) {
    this->settings._writeBoolean(nullptr, "x", true, SCOPE_USER);
    EXPECT_EQ(bytes("B\1"), this->written());
}

TYPED_TEST(Record, OfFalseIsZero) {
    this->settings._writeBoolean(nullptr, "x", false, SCOPE_USER);
    EXPECT_EQ(bytes("B\0"), this->written());
}

TYPED_TEST(Record, OfStringsHasTheLengthOfEach) {
    this->settings._writeStrings(nullptr, "x", {"ab", "", "c"}, SCOPE_USER);
    EXPECT_EQ(bytes("LS\3\0\0\0\2\0\0\0ab\0\0\0\0\1\0\0\0c"), this->written());
}

TYPED_TEST(Record, OfNumbersHasEightBytesForEach) {
    this->settings._writeNumbers(nullptr, "x", {1.0, -0.0}, SCOPE_USER);
    EXPECT_EQ(bytes("LN\2\0\0\0\0\0\0\0\0\0\xF0\x3F\0\0\0\0\0\0\0\x80"), this->written());
}

TYPED_TEST(Record, OfIntegersHasFourBytesForEach) {
    this->settings._writeIntegers(nullptr, "x", {1, -1}, SCOPE_USER);
    EXPECT_EQ(bytes("LI\2\0\0\0\1\0\0\0\xFF\xFF\xFF\xFF"), this->written());
}

TYPED_TEST(Record, OfBooleansHasAByteForEach) {
    this->settings._writeBooleans(nullptr, "x", {true, false, true}, SCOPE_USER);
    EXPECT_EQ(bytes("LB\3\0\0\0\1\0\1"), this->written());
}

TYPED_TEST(Record, OfThirtyThreeBooleansCountsBooleansRatherThanWords) {
    std::vector<bool> values(33, false);
    values[32] = true;
    this->settings._writeBooleans(nullptr, "x", values, SCOPE_USER);
    EXPECT_EQ(bytes("LB\x21\0\0\0") + std::string(32, '\0') + '\1', this->written());
}

TYPED_TEST(Record, OfBooleansHasAByteForEachAtAnyLength) {
    constexpr int longest = 200; // more than three words of 64 bits
    std::vector<bool> values;
    std::string written;
    for (int length = 0; length <= longest; ++length) {
        this->settings._writeBooleans(nullptr, "x", values, SCOPE_USER);
        ASSERT_EQ(bytes("LB") + record::int32(length) + written, this->written());
        values.push_back(length % 3 == 0 || length % 7 == 0);
        written += values.back() ? '\1' : '\0';
    }
}

} // namespace
