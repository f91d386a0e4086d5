// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gtest/gtest.h>

#include <velmorand/Group.h>

using namespace velmorand;

TEST(Level, IsDecodedToTheText) {
    for (std::string const& text :
         {std::string("plain"), std::string("Größe"), std::string(), std::string("."), std::string(".."),
          std::string("a/b"), std::string("%"), std::string("%2F"), std::string("100 %"),
          std::string("a\0b", 3), std::string("\xff\xc3\xb6"), std::string("\n"), std::string("\x7f")}) {
        std::string const level = levelFrom(text);
        EXPECT_EQ(text, textFrom(level)) << level;
        EXPECT_EQ(level, Group(level).name());
        write("a/" + level, 1);
        EXPECT_TRUE(Group("a").contains(level)) << level;
    }
}

TEST(Level, DoesNotChangeMostTexts) {
    EXPECT_EQ("My Größe #1", levelFrom("My Größe #1"));
    EXPECT_EQ("a%2Fb", levelFrom("a/b"));
    EXPECT_EQ("%2E%2E", levelFrom(".."));
}

TEST(Level, EscapesControlCharacters) {
    EXPECT_EQ("a%09b%7F", levelFrom("a\tb\x7f"));
}

TEST(Level, EscapesDotsOnlyInTextsThatConsistOfThem) {
    EXPECT_EQ("%2E", levelFrom("."));
    EXPECT_EQ("a.%2F..ö", levelFrom("a./..ö"));
}

TEST(Level, ThatIsNotEncodedIsNotChanged) {
    EXPECT_EQ("%2", textFrom("%2"));
    EXPECT_EQ("%zz", textFrom("%zz"));
    EXPECT_EQ("a%", textFrom("a%"));
    EXPECT_EQ("/", textFrom("%2f"));
}
