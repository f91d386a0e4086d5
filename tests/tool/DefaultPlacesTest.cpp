// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <filesystem>

#include "Tool.h"

using namespace tool;

using DefaultPlaces = Tool;

TEST_F(DefaultPlaces, AreInTheConfigurationDirectory) {
    ::setenv("XDG_CONFIG_HOME", at("configuration").c_str(), 1);
    EXPECT_EQ(0, runBare({"set", "integer", "x", "1"}).status);
    EXPECT_TRUE(std::filesystem::exists(at("configuration/velmorand/Velmorand.dat")));
    EXPECT_EQ("1\n", runBare({"get", "x"}).out);
}

TEST_F(DefaultPlaces, AreInTheHomeDirectoryWithoutIt) {
    for (char const* const useless : {"", "relative"}) {
        ::setenv("XDG_CONFIG_HOME", useless, 1);
        EXPECT_EQ(0, runBare({"set", "integer", "x", "1"}).status);
        EXPECT_EQ(1U, std::filesystem::remove(at(".config/velmorand/Velmorand.dat")));
    }
}

TEST_F(DefaultPlaces, AreNotMadeByReading) {
    EXPECT_EQ(0, runBare({"list"}).status);
    EXPECT_THAT(runBare({"get", "x"}), Complains(1, "x is not there"));
    EXPECT_FALSE(std::filesystem::exists(at(".config")));
}

TEST_F(DefaultPlaces, AreNotMadeByWhatFails) {
    EXPECT_THAT(runBare({"delete", "x"}), Complains(1, "x is not there"));
    EXPECT_THAT(runBare({"import", "-"}, "[]"), Complains(2, "an object of entries is expected"));
    EXPECT_FALSE(std::filesystem::exists(at(".config")));
}

TEST_F(DefaultPlaces, AreNeededWithoutAUserDirectory) {
    ::unsetenv("HOME");
    EXPECT_THAT(runBare({"list"}), Complains(2, "--user DIR is needed"));
}

TEST_F(DefaultPlaces, ThatCannotBeMadeAreNamed) {
    putBytes(at(".config"), "in the way");
    EXPECT_THAT(runBare({"set", "integer", "x", "1"}), Complains(3, at(".config/velmorand")));
}
