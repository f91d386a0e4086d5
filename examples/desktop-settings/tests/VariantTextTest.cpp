// SPDX-License-Identifier: Apache-2.0
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "VariantText.h"

using desktop::parseVariant;
using desktop::Value;

TEST(ParseVariant, ReadsAStringInEitherKindOfQuotes) {
    EXPECT_EQ(parseVariant("s", "'24h'"), Value(std::string("24h")));
    EXPECT_EQ(parseVariant("s", "\"it's\""), Value(std::string("it's")));
}

TEST(ParseVariant, ReadsEscapesInAString) {
    EXPECT_EQ(parseVariant("s", R"('a\'b\\c\td')"), Value(std::string("a'b\\c\td")));
    EXPECT_EQ(parseVariant("s", R"('\u00e9\U0001f600')"), Value(std::string("\u00e9\U0001f600")));
}

TEST(ParseVariant, ReadsIntegersInEveryForm) {
    EXPECT_EQ(parseVariant("i", "-1"), Value(-1));
    EXPECT_EQ(parseVariant("i", "0x1F"), Value(31));
    EXPECT_EQ(parseVariant("i", "-2147483648"), Value(std::numeric_limits<int>::min()));
    EXPECT_EQ(parseVariant("u", "uint32 300"), Value(300));
}

TEST(ParseVariant, ReturnsNothingForAnUnsignedNumberAboveTheIntegers) {
    EXPECT_EQ(parseVariant("u", "2147483647"), Value(std::numeric_limits<int>::max()));
    EXPECT_EQ(parseVariant("u", "2147483648"), std::nullopt);
}

TEST(ParseVariant, ReadsNumbersWithAndWithoutAPoint) {
    EXPECT_EQ(parseVariant("d", "1.25"), Value(1.25));
    EXPECT_EQ(parseVariant("d", "0"), Value(0.0));
    EXPECT_EQ(parseVariant("d", "-1e3"), Value(-1000.0));
}

TEST(ParseVariant, ReadsBooleans) {
    EXPECT_EQ(parseVariant("b", "true"), Value(true));
    EXPECT_EQ(parseVariant("b", " false\n"), Value(false));
}

TEST(ParseVariant, ReadsListsOfEveryKind) {
    EXPECT_EQ(parseVariant("as", "['<Super>a', \"b,]\"]"),
              Value(std::vector<std::string>{"<Super>a", "b,]"}));
    EXPECT_EQ(parseVariant("ai", "[ 0, 0 ,100,-7]"), Value(std::vector<int>{0, 0, 100, -7}));
    EXPECT_EQ(parseVariant("ad", "[0, 1.5]"), Value(std::vector<double>{0.0, 1.5}));
    EXPECT_EQ(parseVariant("ab", "[true,false]"), Value(std::vector<bool>{true, false}));
}

TEST(ParseVariant, ReadsAnEmptyListWithAndWithoutItsType) {
    EXPECT_EQ(parseVariant("as", "[]"), Value(std::vector<std::string>{}));
    EXPECT_EQ(parseVariant("as", "@as [ ]"), Value(std::vector<std::string>{}));
}

TEST(ParseVariant, ReturnsNothingForOtherTypes) {
    EXPECT_EQ(parseVariant("a(ss)", "[('xkb', 'us')]"), std::nullopt);
    EXPECT_EQ(parseVariant("(dd)", "(0.0, 0.0)"), std::nullopt);
}

TEST(ParseVariant, RefusesTextThatIsNotAValueOfTheType) {
    for (char const* text : {"", "24", "'open", "'a' 'b'", R"('\u12')", R"('\uzzzz')"})
        EXPECT_THROW(parseVariant("s", text), std::runtime_error) << text;
    for (char const* text : {"", "x", "1.5", "2147483648", "99999999999999999999", "1 2"})
        EXPECT_THROW(parseVariant("i", text), std::runtime_error) << text;
    for (char const* text : {"-1", "4294967296"})
        EXPECT_THROW(parseVariant("u", text), std::runtime_error) << text;
    for (char const* text : {"", "one", "1.5x"})
        EXPECT_THROW(parseVariant("d", text), std::runtime_error) << text;
    EXPECT_THROW(parseVariant("b", "yes"), std::runtime_error);
    for (char const* text : {"'a'", "['a'", "['a',]", "['a' 'b']", "[1]"})
        EXPECT_THROW(parseVariant("as", text), std::runtime_error) << text;
}
