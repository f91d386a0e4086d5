// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "badinput/Registers.h"
#include "support/ChildProcess.h"

// Invalid scopes, with the name of a property that exists in the user scope, and with a name whose group does not
// exist. The notation is described in NamesTest.cpp; in addition
//
//     !scope       utils::Exception "Bad scope value."
//     !group       utils::Exception "Group m does not exist !"
//
// Operations without a scope are left out.

namespace {

using badinput::Case;
using badinput::Cell;
using badinput::cells;
using badinput::RegisterScope;
using badinput::Subject;

std::map<std::string, badinput::Arguments> const& rows() {
    auto const none = [](int value) { return static_cast<RegisterScope>(value); };
    static std::map<std::string, badinput::Arguments> const all = {
        {"MinusOne", {"g/x", none(-1)}},
        {"Three", {"g/x", none(3)}},
        {"Largest", {"g/x", none(INT_MAX)}},
        {"Smallest", {"g/x", none(INT_MIN)}},
        {"ThreeForTheEmptyName", {"", none(3)}},
        {"MinusOneForTheEmptyName", {"", none(-1)}},
        {"ThreeForNoGroup", {"m/n", none(3)}},
        {"MinusOneForNoGroup", {"m/n", none(-1)}},
        {"LargestForNoGroup", {"m/n", none(INT_MAX)}},
    };
    return all;
}

std::vector<Cell> const& contract() {
    static std::vector<Cell> const all = cells(R"(
                        | nameToPath | addGroup | addProperty | delProperty | groupExists | propExists
MinusOne                | !scope     | !scope   | !scope      | !scope      | !scope      | !scope
Three                   | !scope     | !scope   | !scope      | !scope      | !scope      | !scope
Largest                 | !scope     | !scope   | !scope      | !scope      | !scope      | !scope
Smallest                | !scope     | !scope   | !scope      | !scope      | !scope      | !scope
MinusOneForTheEmptyName | !scope     | !scope   | !scope      | !scope      | !scope      | !scope
ThreeForTheEmptyName    | !scope     | !scope   | !scope      | !scope      | !scope      | !scope
MinusOneForNoGroup      | !scope     | !scope   | !scope      | !scope      | !scope      | !scope
ThreeForNoGroup         | !scope     | !scope   | !scope      | !scope      | !scope      | !scope
LargestForNoGroup       | !scope     | !scope   | !scope      | !scope      | !scope      | !scope
)") + cells(R"(
                        | propertyList | openToRead | openToWrite | writeString | writeTheRest
MinusOne                | !scope       | !scope     | !scope      | !scope      | !scope
Three                   | !scope       | !scope     | !scope      | !scope      | !scope
Largest                 | !scope       | !scope     | !scope      | !scope      | !scope
Smallest                | !scope       | !scope     | !scope      | !scope      | !scope
MinusOneForTheEmptyName | !scope       | !scope     | !scope      | !scope      | !scope
ThreeForTheEmptyName    | !scope       | !scope     | !scope      | !scope      | !scope
MinusOneForNoGroup      | !scope       | !group     | !group      | !scope      | !scope
ThreeForNoGroup         | !scope       | !group     | !group      | !scope      | !scope
LargestForNoGroup       | !scope       | !group     | !group      | !scope      | !scope
)");
    return all;
}

class BadScope : public testing::TestWithParam<Case> {};
INSTANTIATE_TEST_SUITE_P(Register, BadScope, testing::ValuesIn(badinput::everyCase(contract())),
                         [](auto const& one) { return one.param.name(); });

TEST_P(BadScope, HasTheOutcomeInTheTable) {
    static std::map<std::string, std::string> const notation = {
        {"!scope", "threw <Bad scope value.>"}, {"!group", "threw <Group m does not exist !>"}};
    EXPECT_EQ(0, support::inChild(
                     [] {
                         Case const& one = GetParam();
                         EXPECT_EQ(notation.at(one.outcome),
                                   Subject(one.derived).outcome(one.operation, rows().at(one.row)));
                     },
                     support::Leave::atOnce));
}

} // namespace
