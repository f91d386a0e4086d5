// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "badinput/Table.h"
#include "support/Failure.h"
#include "support/RegisterProbe.h"

// The names that `_pathToName` returns for paths. A path in the temporary scope loses two more characters; if it is
// too short for that, `std::string` throws.
//
//     =text      the name
//     !scope     utils::Exception "Bad scope value."
//     !range     std::out_of_range of std::string's substr
//
// where ~ stands for a zero byte and ^ for the byte 0xff.

namespace {

using badinput::Cell;

std::vector<Cell> const& contract() {
    static std::vector<Cell> const all = badinput::cells(R"(
path            | pathToName
                | !scope
/               | !scope
///             | !scope
.               | !scope
..              | !scope
/..             | !scope
/../user/x      | !scope
./user/x        | !scope
/other/x        | !scope
/User/x         | !scope
/user           | !scope
/user/          | =
/user//         | =/
/user//x/       | =/x/
///user/x       | =x
user/x          | =x
/user/../temp/x | =../temp/x
/user/~x        | =~x
~/user/x        | !scope
/user/^         | =^
^/user/x        | !scope
/user/temp/x    | =temp/x
/global         | !scope
/global/        | =
/global//x      | =/x
/global/.       | =.
/temp           | !scope
/temp/          | !range
/temp/a         | !range
/temp/ab        | =
/temp/abc       | =c
/temp/ab/name   | =/name
/temp//x        | =
temp/ab/name    | =/name
)");
    return all;
}

std::string spelled(std::string text) {
    std::replace(text.begin(), text.end(), '~', '\0');
    std::replace(text.begin(), text.end(), '^', '\xff');
    return text;
}

class BadPath : public testing::TestWithParam<Cell> {};
INSTANTIATE_TEST_SUITE_P(Register, BadPath, testing::ValuesIn(contract()), [](auto const& one) {
    return std::to_string(one.index); // a path has no letters for a test's name
});

TEST_P(BadPath, HasTheOutcomeInTheTable) {
    support::RegisterProbe const settings;
    std::string result;
    std::string const failure =
        support::failure([&] { result = '=' + settings._pathToName(spelled(GetParam().row)); });
    if (failure == "Bad scope value.")
        result = "!scope";
    else if (failure.rfind("std: basic_string::substr", 0) == 0)
        result = "!range";
    else
        EXPECT_EQ("nothing", failure);
    EXPECT_EQ(badinput::readable(spelled(GetParam().outcome)), badinput::readable(result)) << GetParam().row;
}

TEST(LongPaths, HaveNamesLikeAnyOther) {
    support::RegisterProbe const settings;
    std::string const name(1 << 20, 'n');
    EXPECT_TRUE(settings._pathToName("/user/" + name) == name);
    EXPECT_TRUE(settings._pathToName(std::string(1 << 20, '/') + "user/x") == "x");
    EXPECT_TRUE(settings._pathToName("/temp/" + name) == name.substr(2));
    std::string const deep = badinput::repeated("g/", 100'000) + "x";
    EXPECT_TRUE(settings._pathToName("/global/" + deep) == deep);
}

} // namespace
