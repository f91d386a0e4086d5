// SPDX-License-Identifier: Apache-2.0
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem/RAMFileSystem.h>
#include <filesystem/TreeImage.h>

namespace {

using filesystem::FileHandle;
using filesystem::RAMFileSystem;
using filesystem::TreeChange;
using filesystem::TreeImage;
using testing::ElementsAre;
using testing::IsEmpty;

using Kind = TreeChange::Kind;

/** A change in a line: "- path", "+ path/" for a directory, "+ path=content" for a file. */
std::string line(TreeChange const& change) {
    switch (change.kind) {
    case Kind::removed:
        return "- " + change.path;
    case Kind::directory:
        return "+ " + change.path + '/';
    case Kind::file:
        break;
    }
    return "+ " + change.path + '=' + change.content;
}

std::vector<std::string> lines(std::vector<TreeChange> const& changes) {
    std::vector<std::string> result;
    for (TreeChange const& change : changes)
        result.push_back(line(change));
    return result;
}

TreeChange file(std::string const& path, std::string const& content) {
    return {path, Kind::file, content};
}
TreeChange directory(std::string const& path) {
    return {path, Kind::directory, {}};
}
TreeChange removed(std::string const& path) {
    return {path, Kind::removed, {}};
}

TreeImage tree(std::vector<TreeChange> const& content) {
    return TreeImage().with(content);
}

/** What is in a tree. */
std::vector<std::string> content(TreeImage const& image) {
    return lines(TreeImage().differencesTo(image));
}

TreeImage const sample = tree({directory("a"), file("a/x", "1"), file("a/y", "2"), directory("b"),
                               directory("b/empty"), file("c", "3")});

} // namespace

TEST(TreeImage, HoldsWhatWasPutIntoIt) {
    EXPECT_THAT(content(sample), ElementsAre("+ a/", "+ a/x=1", "+ a/y=2", "+ b/", "+ b/empty/", "+ c=3"));
    EXPECT_EQ(3U, sample.fileCount());
}

TEST(TreeImage, IsReadFromItsBytes) {
    EXPECT_THAT(TreeImage(sample.bytes()).differencesTo(sample), IsEmpty());
}

TEST(TreeImage, DropsWhatFollowsTheTree) {
    EXPECT_EQ(sample.bytes(), TreeImage(sample.bytes() + "more").bytes());
}

TEST(TreeImage, IsTakenFromAFileSystemInMemory) {
    RAMFileSystem memory;
    memory.mkdir(QStringLiteral("/user"));
    memory.mkdir(QStringLiteral("/user/a"));
    FileHandle* handle = nullptr;
    memory.open(QStringLiteral("/user/a/x"), &handle, RAMFileSystem::MODE_WRITE);
    memory.writeByte(handle, '1');
    memory.close(handle);
    EXPECT_THAT(content(TreeImage::of(memory, "/user/")), ElementsAre("+ a/", "+ a/x=1"));
    EXPECT_THAT(content(TreeImage::of(memory, "/nothing")), IsEmpty());
}

TEST(TreeImage, IsPutIntoAFileSystemInMemoryInPlaceOfADirectory) {
    RAMFileSystem files;
    tree({file("old", "0"), file("a/y", "9")}).putInto(files, "/there");
    sample.putInto(files, "/there");
    EXPECT_EQ(content(sample), content(TreeImage::of(files, "/there")));
    EXPECT_TRUE(files.isFile("/there/a/x"));
    EXPECT_FALSE(files.exists("/there/old"));
}

TEST(TreeImage, IsPutInPlaceOfAFile) {
    RAMFileSystem files;
    tree({file("there", "0")}).putInto(files, "/top");
    sample.putInto(files, "/top/there/");
    EXPECT_EQ(content(sample), content(TreeImage::of(files, "/top/there")));
}

TEST(TreeImage, IsNotPutWhereNoDirectoryCanBeMade) {
    RAMFileSystem files;
    EXPECT_THROW(sample.putInto(files, "/missing/there"), utils::Exception);
    EXPECT_TRUE(files.getFileList("/").empty());
}

TEST(TreeImage, OfTheSameTreeHasTheSameBytesAsAFileSystemWrites) {
    RAMFileSystem memory;
    memory.mkdir(QStringLiteral("/user"));
    for (char const* const name : {"b", "a", "c"}) {
        memory.mkdir(QStringLiteral("/user/") + QLatin1String(name));
        FileHandle* handle = nullptr;
        memory.open(QStringLiteral("/user/") + QLatin1String(name) + QStringLiteral("/x"), &handle,
                    RAMFileSystem::MODE_WRITE);
        memory.write(handle, "content", 7);
        memory.close(handle);
    }
    EXPECT_EQ(TreeImage::of(memory, "/user").bytes(),
              tree({file("a/x", "content"), file("b/x", "content"), file("c/x", "content")}).bytes());
}

TEST(TreeImageDifferences, NameWhatIsOtherwise) {
    TreeImage const other = sample.with({file("a/x", "9"), file("d/new", "4"), removed("c")});
    EXPECT_THAT(lines(sample.differencesTo(other)), ElementsAre("+ a/x=9", "- c", "+ d/", "+ d/new=4"));
}

TEST(TreeImageDifferences, OfARemovedDirectoryNameAllThatWasInIt) {
    TreeImage const other = sample.with({removed("a"), removed("a/x"), removed("a/y")});
    EXPECT_THAT(lines(sample.differencesTo(other)), ElementsAre("- a", "- a/x", "- a/y"));
}

TEST(TreeImageDifferences, TellAFileFromADirectory) {
    TreeImage const other = sample.with({file("a", "file"), file("c/x", "1")});
    EXPECT_THAT(lines(sample.differencesTo(other)),
                ElementsAre("+ a=file", "- a/x", "- a/y", "+ c/", "+ c/x=1"));
}

TEST(TreeImageDifferences, AtOnePathToNothing) {
    EXPECT_THAT(lines(sample.differencesToNothing("a")), ElementsAre("- a", "- a/x", "- a/y"));
    EXPECT_THAT(lines(sample.differencesToNothing("missing/x")), IsEmpty());
}

TEST(TreeImageDifferences, AtOnePathToAFile) {
    EXPECT_THAT(lines(sample.differencesToFile("c", "3")), IsEmpty());
    EXPECT_THAT(lines(sample.differencesToFile("c", "4")), ElementsAre("+ c=4"));
    EXPECT_THAT(lines(sample.differencesToFile("a", "4")), ElementsAre("+ a=4", "- a/x", "- a/y"));
    EXPECT_THAT(lines(sample.differencesToFile("a/x/z", "4")), ElementsAre("+ a/x/z=4"));
}

TEST(TreeImageDifferences, AtOnePathToADirectory) {
    TreeImage const below = tree({file("x", "1"), file("z", "5")});
    EXPECT_THAT(lines(sample.differencesToDirectory("a", below)), ElementsAre("- a/y", "+ a/z=5"));
    EXPECT_THAT(lines(sample.differencesToDirectory("c", below)), ElementsAre("+ c/", "+ c/x=1", "+ c/z=5"));
}

TEST(TreeImageWithChanges, IsTheSameWithoutAny) {
    EXPECT_EQ(sample.bytes(), sample.with({}).bytes());
}

TEST(TreeImageWithChanges, KeepsTheDirectoryOfARemovedFile) {
    EXPECT_THAT(content(tree({file("a/x", "1")}).with({removed("a/x")})), ElementsAre("+ a/"));
}

TEST(TreeImageWithChanges, RemovesADirectoryOnlyIfNothingIsLeftInIt) {
    EXPECT_THAT(content(sample.with({removed("a"), removed("a/x")})),
                ElementsAre("+ a/", "+ a/y=2", "+ b/", "+ b/empty/", "+ c=3"));
}

TEST(TreeImageWithChanges, LeavesAloneWhatIsNotThere) {
    EXPECT_EQ(sample.bytes(), sample.with({removed("a/missing"), removed("c/x"), removed("z/y")}).bytes());
}

TEST(TreeImageWithChanges, MakesTheDirectoriesAroundAFile) {
    EXPECT_THAT(content(TreeImage().with({file("p/q/r", "1")})), ElementsAre("+ p/", "+ p/q/", "+ p/q/r=1"));
}

TEST(TreeImageWithChanges, PutsAFileInPlaceOfADirectory) {
    EXPECT_THAT(content(sample.with({file("a", "file")})),
                ElementsAre("+ a=file", "+ b/", "+ b/empty/", "+ c=3"));
}

TEST(TreeImageWithChanges, PutsADirectoryInPlaceOfAFile) {
    EXPECT_THAT(content(tree({file("c", "3")}).with({directory("c")})), ElementsAre("+ c/"));
    EXPECT_THAT(content(tree({file("c", "3")}).with({file("c/x", "1")})), ElementsAre("+ c/", "+ c/x=1"));
}

TEST(TreeImageWithChanges, TakesTheHigherOfTwoThatContradictEachOther) {
    EXPECT_THAT(content(TreeImage().with({file("a", "1"), file("a/x", "2")})), ElementsAre("+ a=1"));
}

namespace {

/** A tree of few names, so that random ones have much in common. */
class RandomTree {
public:
    explicit RandomTree(unsigned seed) : _random(seed) {}

    TreeImage make() {
        RAMFileSystem memory;
        memory.mkdir(QStringLiteral("/user"));
        for (int i = 0; i < 40; ++i)
            add(memory, QStringLiteral("/user"), 4);
        return TreeImage::of(memory, "/user");
    }

private:
    void add(RAMFileSystem& memory, QString const& around, int depth) {
        QString const path = around + QStringLiteral("/") + QLatin1String(names[number(5)]);
        if (number(2) == 0 && depth > 0) {
            memory.mkdir(path);
            add(memory, path, depth - 1);
            return;
        }
        FileHandle* handle = nullptr;
        if (!memory.open(path, &handle, RAMFileSystem::MODE_WRITE))
            return;
        std::string const content(static_cast<std::size_t>(number(40)), static_cast<char>('0' + number(3)));
        memory.write(handle, content.data(), static_cast<long>(content.size()));
        memory.close(handle);
    }

    int number(int below) { return std::uniform_int_distribution<int>(0, below - 1)(_random); }

    static constexpr char const* names[] = {"a", "a-b", "b", "long enough to have a head of two bytes", "z"};

    std::mt19937 _random;
};

} // namespace

TEST(TreeImageWithChanges, OfTheDifferencesToAnotherTreeIsThatTree) {
    RandomTree random(1);
    for (int round = 0; round < 300; ++round) {
        TreeImage const from = random.make();
        TreeImage const to = random.make();
        ASSERT_EQ(to.bytes(), from.with(from.differencesTo(to)).bytes()) << "round " << round;
    }
}

TEST(TreeImage, TakesATreeOfManyLevels) {
    std::string path = "x";
    for (int level = 0; level < 100'000; ++level)
        path.insert(0, "x/");
    TreeImage const deep = TreeImage().with({file(path, "1")});
    EXPECT_EQ(1U, deep.fileCount());
    EXPECT_THAT(lines(deep.differencesToFile(path, "1")), IsEmpty());
}
