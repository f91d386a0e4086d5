// SPDX-License-Identifier: Apache-2.0
#include <iterator>
#include <set>

#include "FileSystemSupport.h"

namespace {

using namespace support;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/** Paths with a level that is not resolved, in a tree with "/a" and "/a/b". */
char const* const unresolved[] = {".",       "..",     "/.",   "/..",      "/a/.",  "/a/..",
                                  "./a",     "../a",   "/./a", "/../a",    "a/./b", "/a/../a",
                                  "/a/b/..", "/a/b/.", "//..", "/a/..//a", "/a//./"};

template <class Form>
class Tree : public EachFileSystem<Form> {
protected:
    /** "/a", "/a/b", the file "/a/f" and the file "/g". */
    void fill() {
        ASSERT_TRUE(this->files.mkdir(text("/a")));
        ASSERT_TRUE(this->files.mkdir(text("/a/b")));
        ASSERT_TRUE(writeFile(this->files, "/a/f", "f"));
        ASSERT_TRUE(writeFile(this->files, "/g", "g"));
    }
};

TEST(DirEntry, IsComparedByItsName) {
    filesystem::DirEntry const a{"a"};
    filesystem::DirEntry const b{"b"};
    EXPECT_TRUE(a < b);
    EXPECT_FALSE(b < a);
    EXPECT_TRUE(a == a && !(a == b));
    EXPECT_TRUE(a != b && !(a != a));
}

template <class Form>
using Exists = Tree<Form>;
TYPED_TEST_SUITE(Exists, Forms, FormNames);

TYPED_TEST(Exists, IsTrueForFilesAndDirectories) {
    this->fill();
    for (char const* const path : {"/a", "/a/b", "/a/f", "/g"})
        EXPECT_TRUE(this->files.exists(text(path))) << path;
}

TYPED_TEST(Exists, IsTrueForTheRoot) {
    EXPECT_TRUE(this->files.exists(text("/")));
    EXPECT_TRUE(this->files.exists(QString()));
}

TYPED_TEST(Exists, IsFalseForMissingPaths) {
    this->fill();
    for (char const* const path : {"/x", "/a/x", "/x/f", "/A", "/ a", "/a ", "/f", "/b"})
        EXPECT_FALSE(this->files.exists(text(path))) << path;
}

TYPED_TEST(Exists, IsFalseBelowAFile) {
    this->fill();
    EXPECT_FALSE(this->files.exists(text("/g/x")));
    EXPECT_FALSE(this->files.exists(text("/a/f/f")));
}

TYPED_TEST(Exists, IgnoresEmptyLevels) {
    this->fill();
    for (char const* const path : {"a", "/a/", "//a", "/a//b", "a/b//", "///a///b///", "/a//f"})
        EXPECT_TRUE(this->files.exists(text(path))) << path;
}

TYPED_TEST(Exists, IsFalseForDotLevels) {
    this->fill();
    for (char const* const path : unresolved)
        EXPECT_FALSE(this->files.exists(text(path))) << path;
}

TYPED_TEST(Exists, IsFalseForAnUnpairedSurrogate) {
    EXPECT_FALSE(this->files.exists(unpairedSurrogate()));
}

template <class Form>
using IsDirectory = Tree<Form>;
TYPED_TEST_SUITE(IsDirectory, Forms, FormNames);

TYPED_TEST(IsDirectory, IsTrueOnlyForDirectories) {
    this->fill();
    EXPECT_TRUE(this->files.isDirectory(text("/a")));
    EXPECT_TRUE(this->files.isDirectory(text("/a/b/")));
    EXPECT_TRUE(this->files.isDirectory(text("/")));
    EXPECT_FALSE(this->files.isDirectory(text("/g")));
    EXPECT_FALSE(this->files.isDirectory(text("/a/f")));
    EXPECT_FALSE(this->files.isDirectory(text("/x")));
}

TYPED_TEST(IsDirectory, IsFalseForDotLevels) {
    this->fill();
    for (char const* const path : unresolved)
        EXPECT_FALSE(this->files.isDirectory(text(path))) << path;
}

template <class Form>
using IsFile = Tree<Form>;
TYPED_TEST_SUITE(IsFile, Forms, FormNames);

TYPED_TEST(IsFile, IsTrueOnlyForFiles) {
    this->fill();
    EXPECT_TRUE(this->files.isFile(text("/g")));
    EXPECT_TRUE(this->files.isFile(text("/a//f")));
    EXPECT_FALSE(this->files.isFile(text("/a")));
    EXPECT_FALSE(this->files.isFile(text("/")));
    EXPECT_FALSE(this->files.isFile(text("/x")));
}

template <class Form>
using MakeDirectory = Tree<Form>;
TYPED_TEST_SUITE(MakeDirectory, Forms, FormNames);

TYPED_TEST(MakeDirectory, CreatesAnEmptyDirectory) {
    EXPECT_TRUE(this->files.mkdir(text("/new")));
    EXPECT_TRUE(this->files.isDirectory(text("/new")));
    EXPECT_THAT(listing(this->files, "/new"), IsEmpty());
}

TYPED_TEST(MakeDirectory, IgnoresEmptyLevels) {
    EXPECT_TRUE(this->files.mkdir(text("/user/")));
    EXPECT_TRUE(this->files.mkdir(text("//user//a")));
    EXPECT_TRUE(this->files.isDirectory(text("/user/a")));
}

TYPED_TEST(MakeDirectory, RefusesExistingPaths) {
    this->fill();
    for (char const* const path : {"/a", "/a/", "/a/b", "/g", "/a/f", "/", ""})
        EXPECT_FALSE(this->files.mkdir(text(path))) << path;
    EXPECT_EQ("g", readFile(this->files, "/g"));
    EXPECT_THAT(listing(this->files, "/a"), ElementsAre("b", "f"));
}

TYPED_TEST(MakeDirectory, NeedsTheParent) {
    EXPECT_FALSE(this->files.mkdir(text("/x/y")));
    EXPECT_FALSE(this->files.exists(text("/x")));
}

TYPED_TEST(MakeDirectory, RefusesBelowAFile) {
    this->fill();
    EXPECT_FALSE(this->files.mkdir(text("/g/x")));
}

TYPED_TEST(MakeDirectory, RefusesDotLevels) {
    this->fill();
    for (char const* const path : unresolved)
        EXPECT_FALSE(this->files.mkdir(text(path))) << path;
    EXPECT_FALSE(this->files.mkdir(text("/a/../x")));
    EXPECT_FALSE(this->files.mkdir(text("/a/./x")));
    EXPECT_THAT(listing(this->files, "/"), ElementsAre("a", "g"));
    EXPECT_THAT(listing(this->files, "/a"), ElementsAre("b", "f"));
}

TYPED_TEST(MakeDirectory, RefusesAnUnpairedSurrogate) {
    EXPECT_FALSE(this->files.mkdir(unpairedSurrogate()));
    EXPECT_THAT(listing(this->files, "/"), IsEmpty());
}

TYPED_TEST(MakeDirectory, AcceptsNamesThatOnlyResembleDots) {
    for (char const* const name : {"...", "..a", "a..", ".a", " "}) {
        EXPECT_TRUE(this->files.mkdir(text(name))) << name;
        EXPECT_TRUE(this->files.isDirectory(text(name))) << name;
    }
}

template <class Form>
using Remove = Tree<Form>;
TYPED_TEST_SUITE(Remove, Forms, FormNames);

TYPED_TEST(Remove, RemovesAFile) {
    this->fill();
    EXPECT_TRUE(this->files.remove(text("/a/f")));
    EXPECT_FALSE(this->files.exists(text("/a/f")));
    EXPECT_THAT(listing(this->files, "/a"), ElementsAre("b"));
}

TYPED_TEST(Remove, RemovesAnEmptyDirectory) {
    this->fill();
    EXPECT_TRUE(this->files.remove(text("/a/b/")));
    EXPECT_FALSE(this->files.exists(text("/a/b")));
}

TYPED_TEST(Remove, RemovesADirectoryAndItsContents) {
    this->fill();
    ASSERT_TRUE(writeFile(this->files, "/a/b/deep", "x"));
    ASSERT_TRUE(this->files.mkdir(text("/a/c")));
    ASSERT_TRUE(this->files.mkdir(text("/a/c/d")));
    ASSERT_TRUE(writeFile(this->files, "/a/c/d/deeper", "x"));
    EXPECT_TRUE(this->files.remove(text("/a")));
    for (char const* const path : {"/a", "/a/b", "/a/b/deep", "/a/f", "/a/c/d/deeper"})
        EXPECT_FALSE(this->files.exists(text(path))) << path;
    EXPECT_THAT(listing(this->files, "/"), ElementsAre("g"));
}

TYPED_TEST(Remove, KeepsNamesWithTheSameBeginning) {
    ASSERT_TRUE(this->files.mkdir(text("/ab")));
    ASSERT_TRUE(this->files.mkdir(text("/a")));
    ASSERT_TRUE(writeFile(this->files, "/ab/f", "x"));
    EXPECT_TRUE(this->files.remove(text("/a")));
    EXPECT_EQ("x", readFile(this->files, "/ab/f"));
}

TYPED_TEST(Remove, IsFalseForMissingPaths) {
    this->fill();
    EXPECT_FALSE(this->files.remove(text("/x")));
    EXPECT_FALSE(this->files.remove(text("/a/x")));
    EXPECT_FALSE(this->files.remove(text("/g/x")));
    EXPECT_FALSE(this->files.remove(unpairedSurrogate()));
}

TYPED_TEST(Remove, RefusesTheRoot) {
    this->fill();
    EXPECT_FALSE(this->files.remove(text("/")));
    EXPECT_FALSE(this->files.remove(QString()));
    EXPECT_THAT(listing(this->files, "/"), ElementsAre("a", "g"));
}

TYPED_TEST(Remove, RefusesDotLevels) {
    this->fill();
    for (char const* const path : unresolved)
        EXPECT_FALSE(this->files.remove(text(path))) << path;
    EXPECT_THAT(listing(this->files, "/"), ElementsAre("a", "g"));
    EXPECT_THAT(listing(this->files, "/a"), ElementsAre("b", "f"));
}

TYPED_TEST(Remove, MakesRoomForTheOtherKind) {
    this->fill();
    ASSERT_TRUE(this->files.remove(text("/a")));
    EXPECT_TRUE(writeFile(this->files, "/a", "now a file"));
    ASSERT_TRUE(this->files.remove(text("/g")));
    EXPECT_TRUE(this->files.mkdir(text("/g")));
    EXPECT_TRUE(this->files.isFile(text("/a")));
    EXPECT_TRUE(this->files.isDirectory(text("/g")));
    EXPECT_FALSE(this->files.exists(text("/a/f")));
}

template <class Form>
using GetFileList = Tree<Form>;
TYPED_TEST_SUITE(GetFileList, Forms, FormNames);

TYPED_TEST(GetFileList, ListsFilesAndDirectoriesOfOneLevel) {
    this->fill();
    EXPECT_THAT(listing(this->files, "/"), ElementsAre("a", "g"));
    EXPECT_THAT(listing(this->files, "/a//"), ElementsAre("b", "f"));
}

TYPED_TEST(GetFileList, IsOrderedByName) {
    for (char const* const name : {"b", "a", "B", "10", "9", "ab", "é", "設"})
        ASSERT_TRUE(writeFile(this->files, name, ""));
    EXPECT_THAT(listing(this->files, "/"), ElementsAre("10", "9", "B", "a", "ab", "b", "é", "設"));
}

TYPED_TEST(GetFileList, IsEmptyForFilesAndMissingPaths) {
    this->fill();
    EXPECT_THAT(listing(this->files, "/g"), IsEmpty());
    EXPECT_THAT(listing(this->files, "/x"), IsEmpty());
    EXPECT_THAT(this->files.getFileList(unpairedSurrogate()), IsEmpty());
}

TYPED_TEST(GetFileList, IsEmptyForDotLevels) {
    this->fill();
    for (char const* const path : unresolved)
        EXPECT_THAT(listing(this->files, path), IsEmpty()) << path;
}

TYPED_TEST(GetFileList, ListsManyEntriesCompletely) {
    std::vector<std::string> expected;
    for (int i = 1000; i < 3000; ++i) {
        expected.push_back(std::to_string(i));
        ASSERT_TRUE(this->files.mkdir(text(expected.back())));
    }
    EXPECT_EQ(expected, listing(this->files, "/"));
}

template <class Form>
using UniqueFileName = Tree<Form>;
TYPED_TEST_SUITE(UniqueFileName, Forms, FormNames);

TYPED_TEST(UniqueFileName, IsAPathInTheDirectoryAtWhichNothingExists) {
    this->fill();
    std::string const path =
        this->files.getUniqueFileName(text("/a"), text("pre"), text(".end")).toStdString();
    EXPECT_THAT(path, ::testing::MatchesRegex("/a/pre[0-9]+\\.end"));
    EXPECT_FALSE(this->files.exists(text(path)));
    EXPECT_TRUE(writeFile(this->files, path, "x"));
}

TYPED_TEST(UniqueFileName, SkipsExistingNames) {
    std::set<std::string> taken;
    for (int i = 0; i < 20; ++i) {
        QString const path = this->files.getUniqueFileName(text("/"), text("n"), QString());
        EXPECT_FALSE(this->files.exists(path));
        ASSERT_TRUE(i % 2 == 0 ? this->files.mkdir(path) : writeFile(this->files, path.toStdString(), ""));
        taken.insert(path.toStdString());
    }
    EXPECT_EQ(20U, taken.size());
}

TYPED_TEST(UniqueFileName, CreatesNothing) {
    static_cast<void>(this->files.getUniqueFileName(text("/"), text("n"), text("x")));
    EXPECT_THAT(listing(this->files, "/"), IsEmpty());
}

template <class Form>
using Names = Tree<Form>;
TYPED_TEST_SUITE(Names, Forms, FormNames);

TYPED_TEST(Names, OfAllScriptsAreFoundAndListed) {
    // The last one begins with a byte-order mark, which is a character like any other inside a path.
    std::string const names[] = {"Größe", "ναι", "設定", "😀", "a b\tc\n\\", "%41", "\xEF\xBB\xBF-"};
    for (std::string const& name : names) {
        std::string const directory = '/' + name;
        std::string const file = directory + directory;
        ASSERT_TRUE(this->files.mkdir(text(directory))) << name;
        ASSERT_TRUE(writeFile(this->files, file, name)) << name;
        EXPECT_EQ(name, readFile(this->files, file));
        EXPECT_THAT(listing(this->files, directory), ElementsAre(name));
    }
    EXPECT_EQ(std::size(names), listing(this->files, "/").size());
}

TYPED_TEST(Names, ThatLookAlikeAreDifferent) {
    std::string const composed = "\xC3\xA9";
    std::string const decomposed = "e\xCC\x81";
    ASSERT_TRUE(writeFile(this->files, composed, "composed"));
    EXPECT_FALSE(this->files.exists(text(decomposed)));
    ASSERT_TRUE(writeFile(this->files, decomposed, "decomposed"));
    EXPECT_EQ("composed", readFile(this->files, composed));
    EXPECT_EQ("decomposed", readFile(this->files, decomposed));
}

TYPED_TEST(Names, OfManyLevelsAreFoundListedAndRemoved) {
    std::string path;
    for (int level = 0; level < 1000; ++level) {
        path += "/d";
        ASSERT_TRUE(this->files.mkdir(text(path))) << level;
    }
    ASSERT_TRUE(writeFile(this->files, path + "/f", "deep"));
    EXPECT_EQ("deep", readFile(this->files, path + "/f"));
    EXPECT_THAT(listing(this->files, path), ElementsAre("f"));
    EXPECT_TRUE(this->files.remove(text("/d")));
    EXPECT_THAT(listing(this->files, "/"), IsEmpty());
}

} // namespace
