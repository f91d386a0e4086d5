// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <random>

#include "FileSystemSupport.h"
#include "filesystem/Direct.h"

namespace {

using namespace support;
using filesystem::direct::Kind;
using filesystem::direct::Walk;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class WalkOf : public ::testing::Test {
protected:
    WalkOf() { EXPECT_TRUE(files.mkdir(text("/top"))); }
    // The destructor of a file system may throw; the destructor of a test must not.
    ~WalkOf() noexcept override = default;

    void directory(std::string const& path) {
        EXPECT_TRUE(filesystem::direct::makeDirectories(files, "top", path));
    }

    void file(std::string const& path, std::string const& content = "") {
        auto const slash = path.rfind('/');
        char* const target = filesystem::direct::make(
            files, "top", slash == std::string::npos ? "" : path.substr(0, slash), path, content.size());
        ASSERT_NE(nullptr, target);
        std::copy(content.begin(), content.end(), target);
    }

    [[nodiscard]] std::vector<std::string> visited(std::string const& path = "") const {
        std::vector<std::string> paths;
        for (Walk walk(files, "top", path); walk.next();)
            paths.emplace_back(walk.path());
        return paths;
    }

    RAMFileSystem files;
};

} // namespace

TEST_F(WalkOf, AnEmptyDirectoryHasNoEntries) {
    EXPECT_THAT(visited(), IsEmpty());
}

TEST_F(WalkOf, DirectoriesVisitsThemBeforeTheirContents) {
    file("a/b/x");
    file("a/y");
    directory("c");
    EXPECT_THAT(visited(), ElementsAre("a/", "a/b/", "a/b/x", "a/y", "c/"));
}

TEST_F(WalkOf, NamesIsInTheByteOrderOfWholePaths) {
    file("a/x");
    file("a-b");
    file("a0");
    file("\xC3\xA9");
    file("b");
    directory("a-");
    file("a-/y");
    EXPECT_THAT(visited(), ElementsAre("a-/", "a-/y", "a-b", "a/", "a/x", "a0", "b", "\xC3\xA9"));
}

TEST_F(WalkOf, RandomNamesIsInTheByteOrderOfWholePaths) {
    std::mt19937 random(1);
    auto const below = [&random](unsigned limit) { return static_cast<unsigned>(random() % limit); };
    std::vector<std::string> names;
    for (int i = 0; i < 2'000; ++i) {
        std::string name;
        for (unsigned left = 1 + below(4); left > 0; --left) {
            for (unsigned length = 1 + below(3); length > 0; --length)
                name += "!a0\x01"[below(4)];
            name += left > 1 ? "/" : "";
        }
        if (filesystem::direct::find(files, {"top"}, name).kind == Kind::none &&
            filesystem::direct::makeDirectories(files, "top", name))
            names.push_back(name + '/');
    }
    auto const found = visited();
    EXPECT_TRUE(std::is_sorted(found.begin(), found.end()));
    EXPECT_TRUE(std::adjacent_find(found.begin(), found.end()) == found.end());
    for (std::string const& name : names)
        EXPECT_TRUE(std::binary_search(found.begin(), found.end(), name)) << name;
}

TEST_F(WalkOf, AChangedDirectorySeesTheChange) {
    for (char const* const name : {"d", "b", "a", "c"})
        file(name);
    ASSERT_TRUE(files.remove(text("/top/b")));
    EXPECT_THAT(visited(), ElementsAre("a", "c", "d"));
}

TEST_F(WalkOf, EntriesGivesTheirKindsAndContents) {
    file("a/x", "content");
    directory("b");
    Walk walk(files, "top");
    EXPECT_EQ(Kind::none, walk.kind());

    ASSERT_TRUE(walk.next());
    EXPECT_EQ(Kind::directory, walk.kind());
    EXPECT_FALSE(walk.isEmptyDirectory());
    EXPECT_EQ("", walk.content());

    ASSERT_TRUE(walk.next());
    EXPECT_EQ(Kind::file, walk.kind());
    EXPECT_FALSE(walk.isEmptyDirectory());
    EXPECT_EQ("content", walk.content());

    ASSERT_TRUE(walk.next());
    EXPECT_EQ(Kind::directory, walk.kind());
    EXPECT_TRUE(walk.isEmptyDirectory());

    EXPECT_FALSE(walk.next());
    EXPECT_EQ(Kind::none, walk.kind());
    EXPECT_EQ("", walk.path());
    EXPECT_FALSE(walk.next());
}

TEST_F(WalkOf, NestedEntriesKeepsThePathBeforeTheName) {
    file("a/b/c");
    file("a/b/d/e");
    file("f");
    std::string last;
    std::vector<std::string> names;
    for (Walk walk(files, "top"); walk.next();) {
        std::string const path(walk.path());
        EXPECT_EQ(last.substr(0, walk.nameBegin()), path.substr(0, walk.nameBegin()));
        names.push_back(path.substr(walk.nameBegin()));
        last = path;
    }
    EXPECT_THAT(names, ElementsAre("a/", "b/", "c", "d/", "e", "f"));
}

TEST_F(WalkOf, ADirectorySkipsItsContents) {
    file("a/b/x");
    file("c/y");
    file("d");
    Walk walk(files, "top");
    ASSERT_TRUE(walk.next());
    EXPECT_EQ("a/", walk.path());
    walk.skip();
    ASSERT_TRUE(walk.next());
    EXPECT_EQ("c/", walk.path());
    ASSERT_TRUE(walk.next());
    EXPECT_EQ("c/y", walk.path());
    walk.skip(); // a file has no contents to skip
    ASSERT_TRUE(walk.next());
    EXPECT_EQ("d", walk.path());
}

TEST_F(WalkOf, ADirectoryFurtherDownGivesPathsFromThere) {
    file("a/b/x");
    file("a/c");
    EXPECT_THAT(visited("a"), ElementsAre("b/", "b/x", "c"));
    EXPECT_THAT(visited("//a//b/"), ElementsAre("x"));
}

TEST_F(WalkOf, AFileHasNoEntries) {
    file("a");
    EXPECT_THAT(visited("a"), IsEmpty());
    EXPECT_THAT(visited("b"), IsEmpty());
    EXPECT_FALSE(Walk(files, "elsewhere").next());
}

TEST_F(WalkOf, ADirectoryContinuesAfterAnAssignmentAndAMove) {
    file("a");
    RAMFileSystem other;
    Walk walk(other, "top");
    walk = Walk(files, "top");
    Walk moved(std::move(walk));
    ASSERT_TRUE(moved.next());
    EXPECT_EQ("a", moved.path());
}

// If the cost of a step depended on the depth, this would take minutes.
TEST_F(WalkOf, AMillionLevelsTakesConstantTimePerStep) {
    constexpr std::size_t levels = 1'000'000;
    std::string name;
    for (std::size_t level = 0; level < levels; ++level)
        name += "d/";
    directory(name);
    std::size_t steps = 0;
    std::size_t longest = 0;
    for (Walk walk(files, "top"); walk.next(); ++steps)
        longest = std::max(longest, walk.path().size());
    EXPECT_EQ(levels, steps);
    EXPECT_EQ(name.size(), longest);
}

using ListOf = WalkOf;

TEST_F(ListOf, ADirectoryHasTheNamesOfOneKindInByteOrder) {
    for (char const* const path : {"g/b", "g/\xC3\xA9", "g/a-b", "g/c/x", "g/B", "h"})
        file(path);
    directory("g/a");
    EXPECT_THAT(filesystem::direct::list(files, "top", "g", Kind::file),
                ElementsAre("B", "a-b", "b", "\xC3\xA9"));
    EXPECT_THAT(filesystem::direct::list(files, "top", "g", Kind::directory), ElementsAre("a", "c"));
    EXPECT_THAT(filesystem::direct::list(files, "top", "/g//", Kind::directory), ElementsAre("a", "c"));
}

TEST_F(ListOf, AnythingElseIsEmpty) {
    file("g/x");
    directory("empty");
    for (char const* const path : {"g/x", "missing", "empty"})
        EXPECT_THAT(filesystem::direct::list(files, "top", path, Kind::file), IsEmpty());
}
