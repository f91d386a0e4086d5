// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <filesystem>

#include <sys/stat.h>

#include "Tool.h"

using namespace tool;

using DefaultPlaces = Tool;

TEST_F(DefaultPlaces, AreInTheConfigurationDirectory) {
    ::setenv("XDG_CONFIG_HOME", at("configuration").c_str(), 1);
    EXPECT_EQ(0, runBare({"set", "integer", "x", "1"}).status);
    EXPECT_TRUE(std::filesystem::exists(at("configuration/velmorand/Velmorand.dat")));
    EXPECT_EQ("1\n", runBare({"get", "x"}).out);
}

TEST_F(DefaultPlaces, AreInTheHomeDirectoryWithoutAConfigurationDirectory) {
    for (char const* const useless : {"", "relative"}) {
        ::setenv("XDG_CONFIG_HOME", useless, 1);
        EXPECT_EQ(0, runBare({"set", "integer", "x", "1"}).status);
        EXPECT_EQ(1U, std::filesystem::remove(at(".config/velmorand/Velmorand.dat")));
    }
}

TEST_F(DefaultPlaces, AreNotCreatedByReading) {
    EXPECT_EQ(0, runBare({"list"}).status);
    EXPECT_THAT(runBare({"get", "x"}), Complains(1, "no such property: x"));
    EXPECT_FALSE(std::filesystem::exists(at(".config")));
}

TEST_F(DefaultPlaces, AreNotCreatedByFailingCommands) {
    EXPECT_THAT(runBare({"delete", "x"}), Complains(1, "no such property or group: x"));
    EXPECT_THAT(runBare({"import", "-"}, "[]"), Complains(2, "found a list"));
    EXPECT_FALSE(std::filesystem::exists(at(".config")));
}

TEST_F(DefaultPlaces, ThatTheEnvironmentDoesNotGiveAreReported) {
    ::unsetenv("HOME");
    EXPECT_THAT(runBare({"list"}),
                Complains(2, "no user directory: neither XDG_CONFIG_HOME nor HOME is set"));
}

TEST_F(DefaultPlaces, ThatCannotBeCreatedAreReported) {
    putBytes(at(".config"), "in the way");
    EXPECT_THAT(runBare({"set", "integer", "x", "1"}),
                Complains(3, "cannot create the directory " + at(".config") + ": Not a directory"));
}

TEST_F(DefaultPlaces, AreCreatedForTheUserOnly) {
    ::umask(022);
    EXPECT_EQ(0, runBare({"import", "-"}, "{}").status);
    for (char const* const made : {".config", ".config/velmorand"}) {
        struct stat status = {};
        ASSERT_EQ(0, ::stat(at(made).c_str(), &status));
        EXPECT_EQ(0700U, status.st_mode & 07777U) << made;
    }
}

TEST_F(DefaultPlaces, DoNotChangeExistingDirectories) {
    std::filesystem::create_directory(at(".config"));
    ASSERT_EQ(0, ::chmod(at(".config").c_str(), 0755));
    EXPECT_EQ(0, runBare({"set", "integer", "x", "1"}).status);
    struct stat status = {};
    ASSERT_EQ(0, ::stat(at(".config").c_str(), &status));
    EXPECT_EQ(0755U, status.st_mode & 07777U);
}
