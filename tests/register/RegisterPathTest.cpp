// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include "register/RegisterFile.h"
#include "support/TemporaryDirectory.h"

using support::TemporaryDirectory;

TEST(TestRegisterPath, FindsAFile) {
    TemporaryDirectory const root;
    writeFile(root / "file", "");
    EXPECT_TRUE(_test_register_path(root.string(), "file"));
}

TEST(TestRegisterPath, FindsAFileInASubdirectory) {
    TemporaryDirectory const root;
    std::filesystem::create_directory(root / "sub");
    writeFile(root / "sub/file", "");
    EXPECT_TRUE(_test_register_path(root.string(), "sub/file"));
}

TEST(TestRegisterPath, AcceptsABareNameUnderAnyRoot) {
    TemporaryDirectory const root;
    EXPECT_TRUE(_test_register_path(root.string(), "file"));
    EXPECT_TRUE(_test_register_path((root / "missing").string(), "file"));
    EXPECT_TRUE(_test_register_path("", "file"));
    EXPECT_TRUE(_test_register_path("", ""));
    EXPECT_TRUE(std::filesystem::is_empty(root.path()));
}

TEST(TestRegisterPath, AcceptsAnExistingSubdirectory) {
    TemporaryDirectory const root;
    std::filesystem::create_directory(root / "sub");
    EXPECT_TRUE(_test_register_path(root.string(), "sub/file"));
    EXPECT_TRUE(std::filesystem::is_empty(root / "sub"));
}

TEST(TestRegisterPath, CreatesAMissingSubdirectory) {
    TemporaryDirectory const root;
    EXPECT_TRUE(_test_register_path(root.string(), "sub/file"));
    EXPECT_TRUE(std::filesystem::is_directory(root / "sub"));
    EXPECT_TRUE(std::filesystem::is_empty(root / "sub"));
}

TEST(TestRegisterPath, CreatesASubdirectoryInsideAnExistingOne) {
    TemporaryDirectory const root;
    std::filesystem::create_directory(root / "a");
    EXPECT_TRUE(_test_register_path(root.string(), "a/b/file"));
    EXPECT_TRUE(std::filesystem::is_directory(root / "a/b"));
}

TEST(TestRegisterPath, CreatesOnlyOneLevel) {
    TemporaryDirectory const root;
    EXPECT_FALSE(_test_register_path(root.string(), "a/b/file"));
    EXPECT_TRUE(std::filesystem::is_empty(root.path()));
}

TEST(TestRegisterPath, DoesNotCreateTheRoot) {
    TemporaryDirectory const root;
    EXPECT_FALSE(_test_register_path((root / "missing").string(), "sub/file"));
    EXPECT_TRUE(std::filesystem::is_empty(root.path()));
}

TEST(TestRegisterPath, FailsWhenAFileIsInTheWayOfTheNewSubdirectory) {
    TemporaryDirectory const root;
    writeFile(root / "a", "");
    EXPECT_FALSE(_test_register_path(root.string(), "a/b/file"));
    EXPECT_TRUE(std::filesystem::is_regular_file(root / "a"));
}

TEST(TestRegisterPath, AcceptsAFileInPlaceOfTheSubdirectory) {
    TemporaryDirectory const root;
    writeFile(root / "a", "");
    EXPECT_TRUE(_test_register_path(root.string(), "a/file"));
}

TEST(TestRegisterPath, CreatesNothingOutsideTheRoot) {
    TemporaryDirectory const directory;
    std::filesystem::create_directory(directory / "root");
    EXPECT_FALSE(_test_register_path((directory / "root").string(), "../sub/file"));
    EXPECT_FALSE(std::filesystem::exists(directory / "sub"));
}

TEST(TestRegisterPath, CreatesNothingWithAnEmptyRoot) {
    TemporaryDirectory const directory;
    ASSERT_EQ(0, ::chdir(directory.path().c_str()));
    EXPECT_FALSE(_test_register_path("", "sub/file"));
    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST(TestRegisterPath, TakesNamesAsUtf8) {
    TemporaryDirectory const directory;
    std::string const name = "\xc3\xa4\xe6\x97\xa5";
    std::filesystem::create_directory(directory / name);
    EXPECT_TRUE(_test_register_path((directory / name).string(), name + "/file"));
    EXPECT_TRUE(std::filesystem::is_directory(directory / name / name));
}
