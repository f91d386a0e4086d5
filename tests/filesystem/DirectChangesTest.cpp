// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <string>
#include <vector>

#include "FileSystemSupport.h"
#include "filesystem/Direct.h"

namespace {

using namespace support;
using filesystem::direct::Change;
using filesystem::direct::Kind;
using filesystem::direct::Walk;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

std::string const longText(200, 'x'); // too long to be kept in the node

class DirectChanges : public ::testing::Test {
protected:
    DirectChanges() { EXPECT_TRUE(files.mkdir(text("/top"))); }
    // The destructor of a file system may throw; the destructor of a test must not.
    ~DirectChanges() noexcept override = default;

    /** Result: the path of the change that is refused; empty on success. */
    std::string apply(std::vector<Change> const& changes) {
        Change const* const refused = filesystem::direct::apply(files, "top", changes);
        return refused != nullptr ? std::string(refused->path) : std::string();
    }

    [[nodiscard]] std::map<std::string, std::string> entries() const {
        std::map<std::string, std::string> all;
        for (Walk walk(files, "top"); walk.next();)
            all.emplace(walk.path(), walk.content());
        return all;
    }

    RAMFileSystem files;
};

} // namespace

TEST_F(DirectChanges, CreateFilesAndTheirDirectories) {
    EXPECT_EQ("", apply({{"a/b/x", "1"}, {"a/y", longText}, {"z", ""}}));
    EXPECT_THAT(entries(), ElementsAre(Pair("a/", ""), Pair("a/b/", ""), Pair("a/b/x", "1"),
                                       Pair("a/y", longText), Pair("z", "")));
}

TEST_F(DirectChanges, CreateTheFirstDirectory) {
    EXPECT_TRUE(files.remove(text("/top")));
    EXPECT_EQ("", apply({{"x", "1"}}));
    EXPECT_THAT(entries(), ElementsAre(Pair("x", "1")));
}

TEST_F(DirectChanges, ReplaceContentsOfEverySize) {
    std::vector<std::string> const contents{"", "short", longText, longText + longText};
    for (std::string const& before : contents)
        for (std::string const& after : contents) {
            EXPECT_EQ("", apply({{"x", before}}));
            EXPECT_EQ("", apply({{"x", after}}));
            EXPECT_THAT(entries(), ElementsAre(Pair("x", after)));
        }
}

TEST_F(DirectChanges, KeepHandlesOnReplacedFilesSafe) {
    EXPECT_EQ("", apply({{"x", longText}}));
    FileHandle* handle = nullptr;
    ASSERT_TRUE(files.open(text("/top/x"), &handle, FileSystem::MODE_READ));
    EXPECT_EQ("", apply({{"x", "new"}}));
    EXPECT_EQ("new", files.readBytes(handle, 1000));
    files.close(handle);
}

TEST_F(DirectChanges, RemoveDirectoriesThatBecomeEmpty) {
    EXPECT_EQ("", apply({{"a/b/c/x", "1"}, {"a/y", "2"}}));
    EXPECT_EQ("", apply({{"a/b/c/x", std::nullopt}}));
    EXPECT_THAT(entries(), ElementsAre(Pair("a/", ""), Pair("a/y", "2")));
    EXPECT_EQ("", apply({{"a", std::nullopt}}));
    EXPECT_THAT(entries(), IsEmpty());
    EXPECT_TRUE(files.isDirectory(text("/top")));
}

TEST_F(DirectChanges, KeepADirectoryThatReceivesAnotherFile) {
    EXPECT_EQ("", apply({{"a/x", "1"}}));
    EXPECT_EQ("", apply({{"a/x", std::nullopt}, {"a/y", "2"}}));
    EXPECT_THAT(entries(), ElementsAre(Pair("a/", ""), Pair("a/y", "2")));
}

TEST_F(DirectChanges, IgnoreARemovalOfAMissingPath) {
    EXPECT_EQ("", apply({{"a/x", std::nullopt}}));
    EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(DirectChanges, AcceptPathsThatAreNotCanonical) {
    EXPECT_EQ("", apply({{"/a//x/", "1"}}));
    EXPECT_EQ("", apply({{"a///x", "2"}}));
    EXPECT_THAT(entries(), ElementsAre(Pair("a/", ""), Pair("a/x", "2")));
    EXPECT_EQ("", apply({{"//a/x", std::nullopt}}));
    EXPECT_THAT(entries(), IsEmpty());
}

class RefusedChanges : public DirectChanges, public ::testing::WithParamInterface<char const*> {};

TEST_P(RefusedChanges, ChangeNothing) {
    EXPECT_EQ("", apply({{"a/x", "1"}, {"b/y", longText}, {"c/z", "3"}}));
    auto const before = entries();
    std::string const refused = GetParam();
    EXPECT_EQ(
        refused,
        apply({{"a/x", "new"}, {"b/y", "new"}, {"c/z", std::nullopt}, {"d/e/f", "new"}, {refused, "new"}}));
    EXPECT_EQ(before, entries());
}

INSTANTIATE_TEST_SUITE_P(WithADirectoryInTheWay, RefusedChanges, ::testing::Values("a"));
INSTANTIATE_TEST_SUITE_P(WithAFileInTheWay, RefusedChanges, ::testing::Values("a/x/y/z"));
INSTANTIATE_TEST_SUITE_P(WithANewFileInTheWay, RefusedChanges, ::testing::Values("d/e/f/g"));
INSTANTIATE_TEST_SUITE_P(WithAnInvalidName, RefusedChanges, ::testing::Values("new/../x", "a/.", ""));
