// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <velmorand/Property.h>
#include <velmorand/Save.h>

#include "support/FileSizeLimit.h"
#include "support/RegisterProbe.h"
#include "support/TemporaryDirectory.h"

using namespace velmorand;
using utils::properties::_Register;

namespace {

/** A register with a temporary user directory. */
class SaveSettings : public ::testing::Test {
protected:
    SaveSettings() { _Register::initialize("", directory.string()); }

    [[nodiscard]] std::string file() const { return directory.string() + "/Velmorand.dat"; }

    [[nodiscard]] std::string bytes() const {
        std::ifstream stream(file(), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    /** The reason that a failed save gives if the system reports `error` for the register file. */
    [[nodiscard]] std::string refusal(int error) const {
        return file() + ": " + std::generic_category().message(error);
    }

    support::TemporaryDirectory directory;
};

} // namespace

TEST_F(SaveSettings, ReportsSuccess) {
    SaveResult const result = saveSettings();
    EXPECT_TRUE(result.saved);
    EXPECT_EQ("", result.reason);
}

TEST_F(SaveSettings, WritesTheSameFileAsSave) {
    write("a/b", 1);
    write("t", 2, SCOPE_TEMPORARY);
    _Register::getInstance()->save();
    std::string const saved = bytes();
    std::filesystem::remove(file());
    ASSERT_TRUE(saveSettings().saved);
    EXPECT_EQ(saved, bytes());
}

TEST_F(SaveSettings, ReportsAMissingDirectory) {
    std::filesystem::remove_all(directory.path());
    SaveResult const result = saveSettings();
    EXPECT_FALSE(result.saved);
    EXPECT_EQ(refusal(ENOENT), result.reason);
}

TEST_F(SaveSettings, ReportsADirectoryInPlaceOfTheFile) {
    std::filesystem::remove(file());
    std::filesystem::create_directory(file());
    EXPECT_EQ(refusal(EISDIR), saveSettings().reason);
}

TEST_F(SaveSettings, ReportsADanglingLink) {
    std::filesystem::remove(file());
    std::filesystem::create_symlink(file(), file());
    EXPECT_EQ(refusal(ELOOP), saveSettings().reason);
}

TEST_F(SaveSettings, UsesTheSameFileNameAsSave) {
    support::RegisterProbe::_VL_REGISTER_NAME = "other.dat";
    ASSERT_TRUE(saveSettings().saved);
    EXPECT_TRUE(std::filesystem::exists(directory / "other.dat"));
}

TEST_F(SaveSettings, ReportsAFailedWriteAndKeepsTheFile) {
    write("a", 1);
    ASSERT_TRUE(saveSettings().saved);
    std::string const saved = bytes();
    write("a", 2);
    SaveResult const result = [] {
        support::FileSizeLimit const limit(0);
        return saveSettings();
    }();
    EXPECT_FALSE(result.saved);
    EXPECT_EQ(refusal(EFBIG), result.reason);
    EXPECT_EQ(saved, bytes());
}

TEST(SaveSettingsBeforeInitialize, ReportsThatNoDirectoryIsSet) {
    SaveResult const result = saveSettings();
    EXPECT_FALSE(result.saved);
    EXPECT_EQ("no user directory is set", result.reason);
}

TEST_F(SaveSettings, FromSeveralThreadsSavesTheLastSettings) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([thread] {
            for (int i = 1; i <= 25; ++i) {
                write("thread " + std::to_string(thread), i);
                EXPECT_TRUE(saveSettings().saved);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    std::string const saved = bytes();
    _Register::getInstance()->save();
    EXPECT_EQ(saved, bytes());
}
