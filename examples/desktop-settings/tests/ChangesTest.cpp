// SPDX-License-Identifier: Apache-2.0
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Changes.h"
#include "support/TemporaryDirectory.h"

using desktop::Change;
using desktop::readChanges;
using desktop::Value;

namespace {

std::string listOf(support::TemporaryDirectory const& directory, std::string const& lines) {
    std::string file = directory / "changes";
    std::ofstream(file) << lines;
    return file;
}

} // namespace

TEST(ReadChanges, KeepsTheOrderOfChanges) {
    support::TemporaryDirectory const directory;
    std::vector<Change> const changes =
        readChanges(listOf(directory, "mail user s a/b 'two words'\nadministrator global ai c [1, 2]\n"));
    ASSERT_EQ(changes.size(), 2U);
    EXPECT_EQ(changes[0].by, "mail");
    EXPECT_EQ(changes[0].scope, "user");
    EXPECT_EQ(changes[0].name, "a/b");
    EXPECT_EQ(changes[0].value, Value(std::string("two words")));
    EXPECT_EQ(changes[1].by, "administrator");
    EXPECT_EQ(changes[1].scope, "global");
    EXPECT_EQ(changes[1].value, Value(std::vector<int>{1, 2}));
}

TEST(ReadChanges, RefusesALineWithoutAValue) {
    support::TemporaryDirectory const directory;
    std::string const file = listOf(directory, "mail user s a/b\n");
    EXPECT_THROW(readChanges(file), std::runtime_error);
}

TEST(ReadChanges, RefusesATypeThatASettingCannotHave) {
    support::TemporaryDirectory const directory;
    std::string const file = listOf(directory, "mail user (dd) a/b (1, 2)\n");
    EXPECT_THROW(readChanges(file), std::runtime_error);
}

TEST(ReadChanges, RefusesAMissingFile) {
    support::TemporaryDirectory const directory;
    EXPECT_THROW(readChanges(directory / "changes"), std::runtime_error);
}
