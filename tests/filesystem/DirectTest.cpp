// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <cstdint>
#include <limits>
#include <string>

#include "FileSystemSupport.h"
#include "filesystem/ChangeCounter.h"
#include "filesystem/Direct.h"

namespace {

using namespace support;
using filesystem::direct::Change;
using filesystem::direct::find;
using filesystem::direct::Kind;
using filesystem::direct::rewrite;
using ::testing::ElementsAre;

constexpr std::size_t tooMuch = std::numeric_limits<std::size_t>::max();

class Direct : public ::testing::Test {
protected:
    Direct() {
        EXPECT_TRUE(files.mkdir(text("/top")));
        EXPECT_TRUE(files.mkdir(text("/top/group")));
        EXPECT_TRUE(writeFile(files, "/top/group/file", "old"));
    }
    // The destructor of a file system may throw; the destructor of a test must not.
    ~Direct() noexcept override = default;

    std::atomic<std::uint64_t> changes{0}; // outlives the file system
    RAMFileSystem files;
};

TEST_F(Direct, FindsAnEntryByAPathWithEmptyLevels) {
    for (char const* const path : {"group/file", "/group/file", "group//file", "//group/file/"})
        EXPECT_EQ("old", find(files, {"top"}, path).content) << path;
    EXPECT_EQ(Kind::directory, find(files, {"top"}, "group/").kind);
}

TEST_F(Direct, RewritesTheSameFileByAPathWithEmptyLevels) {
    for (char const* const path : {"group/file", "/group/file", "group//file", "//group/file/"}) {
        char* const content = rewrite(files, "top", path, 1);
        ASSERT_NE(nullptr, content) << path;
        *content = path[0];
        EXPECT_EQ(std::string(1, path[0]), readFile(files, "/top/group/file")) << path;
        EXPECT_THAT(listing(files, "/top/group"), ElementsAre("file")) << path;
    }
}

TEST_F(Direct, CreatesAFileByAPathWithEmptyLevels) {
    int made = 0;
    for (char const* const path : {"A", "/A", "//A", "A/", "group/A", "/group/A", "group//A", "group/A/"}) {
        std::string name = path;
        name[name.find('A')] = static_cast<char>('a' + made++);
        ASSERT_NE(nullptr, rewrite(files, "top", name, 0)) << path;
        EXPECT_EQ(Kind::file, find(files, {"top"}, name).kind) << path;
        EXPECT_EQ("", readFile(files, "/top/" + name)) << path;
    }
    EXPECT_THAT(listing(files, "/top"), ElementsAre("a", "b", "c", "d", "group"));
    EXPECT_THAT(listing(files, "/top/group"), ElementsAre("e", "f", "file", "g", "h"));
}

TEST_F(Direct, CreatesNoFileWithAnInvalidName) {
    for (char const* const path : {"group/.", "group/..", ".", "..", "missing/new", "group/file/new"})
        EXPECT_EQ(nullptr, rewrite(files, "top", path, 0)) << path;
    EXPECT_THAT(listing(files, "/top/group"), ElementsAre("file"));
}

TEST_F(Direct, CreatesAFileWhoseNameIsNotValidUtf8UnderTheReplacementOfTheName) {
    ASSERT_NE(nullptr, rewrite(files, "top", "group/\xFF", 0));
    EXPECT_THAT(listing(files, "/top/group"), ElementsAre("file", "\xEF\xBF\xBD"));
    EXPECT_EQ(Kind::file, find(files, {"top"}, "group/\xEF\xBF\xBD").kind);
}

TEST_F(Direct, FindsNothingInNoDirectories) {
    EXPECT_EQ(Kind::none, find(files, {}, "group/file").kind);
}

TEST_F(Direct, FindsAnEntryInTheFirstDirectoryThatHasIt) {
    ASSERT_TRUE(files.mkdir(text("/other")));
    ASSERT_TRUE(writeFile(files, "/other/file", "other"));
    EXPECT_EQ("other", find(files, {"top", "missing", "other"}, "file").content);
    EXPECT_EQ("old", find(files, {"missing", "top", "other"}, "group/file").content);
    EXPECT_EQ("other", find(files, {"top", "other"}, "//file").content);
}

TEST_F(Direct, RefusesToRewriteAFileThatCannotHoldTheContent) {
    EXPECT_EQ(nullptr, rewrite(files, "top", "group/file", tooMuch));
    EXPECT_EQ(nullptr, rewrite(files, "top", "group/new", tooMuch));
    EXPECT_EQ("old", readFile(files, "/top/group/file"));
    EXPECT_THAT(listing(files, "/top/group"), ElementsAre("file"));
}

TEST_F(Direct, MakesNoDirectoryForAFileThatCannotHoldTheContent) {
    filesystem::countChanges(files, changes);
    EXPECT_NE(nullptr,
              filesystem::direct::apply(files, "top", {Change{"new/file", std::string_view("x", tooMuch)}}));
    EXPECT_EQ(0U, changes);
}

} // namespace
