// SPDX-License-Identifier: Apache-2.0
#include "FileSystemSupport.h"

namespace {

using namespace support;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class RAM : public ::testing::Test {
protected:
    // The destructor of a file system may throw; the destructor of a test must not.
    ~RAM() noexcept override = default;

    /** A handle for reading, two bytes into the file "/a/f" with the content "abcdef". */
    FileHandle* readingInside() {
        EXPECT_TRUE(files.mkdir(text("/a")));
        EXPECT_TRUE(writeFile(files, "/a/f", "abcdef"));
        FileHandle* const handle = openedForReading(files, "/a/f");
        EXPECT_EQ("ab", read(files, handle, 2));
        return handle;
    }

    RAMFileSystem files;
};

using RAMRoot = RAM;

TEST_F(RAMRoot, IsEmptyAtFirst) {
    EXPECT_TRUE(files.isDirectory(text("/")));
    EXPECT_THAT(listing(files, "/"), IsEmpty());
}

TEST_F(RAMRoot, IsSeparateForEveryFileSystem) {
    RAMFileSystem other;
    ASSERT_TRUE(files.mkdir(text("/a")));
    EXPECT_FALSE(other.exists(text("/a")));
}

using RAMPaths = RAM;

TEST_F(RAMPaths, IgnoreATrailingSlash) {
    ASSERT_TRUE(files.mkdir(text("/global")));
    EXPECT_FALSE(files.mkdir(text("/global/")));
    EXPECT_TRUE(files.isDirectory(text("/global/")));
    ASSERT_TRUE(writeFile(files, "/global//f", "x"));
    EXPECT_THAT(listing(files, "/global"), ElementsAre("f"));
    EXPECT_THAT(listing(files, "/global/"), ElementsAre("f"));
    EXPECT_THAT(listing(files, "/"), ElementsAre("global"));
}

TEST_F(RAMPaths, MayHaveNamesOfAnyLength) {
    std::string const name = std::string(100'000, 'n') + "ö";
    ASSERT_TRUE(files.mkdir(text(name)));
    EXPECT_TRUE(writeFile(files, name + "/" + name, "x"));
    EXPECT_EQ("x", readFile(files, name + "/" + name));
    EXPECT_THAT(listing(files, name), ElementsAre(name));
    EXPECT_FALSE(files.exists(text(name + "n")));
}

TEST_F(RAMPaths, AreDistinctInLargeNumbers) {
    for (int i = 0; i < 20'000; ++i)
        ASSERT_TRUE(writeFile(files, std::to_string(i), std::to_string(i)));
    for (int i = 0; i < 20'000; i += 2)
        ASSERT_TRUE(files.remove(text(std::to_string(i))));
    for (int i = 0; i < 20'000; ++i)
        ASSERT_EQ(i % 2 != 0 ? std::make_optional(std::to_string(i)) : std::nullopt,
                  readFile(files, std::to_string(i)));
}

TEST_F(RAMPaths, MayHaveDirectoriesOfAnyLength) {
    for (std::size_t length = 1; length <= 80; ++length) {
        std::string const directory = "/a/" + std::string(length, 'n');
        ASSERT_EQ(length == 1, files.mkdir(text("/a")));
        ASSERT_TRUE(files.mkdir(text(directory)));
        ASSERT_TRUE(files.mkdir(text(directory + "/d")));
        ASSERT_TRUE(writeFile(files, directory + "/d/f", directory));
        EXPECT_EQ(directory, readFile(files, directory + "/d/f"));
        EXPECT_THAT(listing(files, directory), ElementsAre("d"));
        EXPECT_TRUE(files.isDirectory(text(directory + "/d")));
    }
    EXPECT_EQ(80U, listing(files, "/a").size());
}

TEST_F(RAMPaths, MayHaveFirstLevelsOfAnyLength) {
    for (std::size_t length = 1; length <= 80; ++length) {
        std::string const directory = "/" + std::string(length, 'n');
        ASSERT_TRUE(files.mkdir(text(directory)));
        ASSERT_TRUE(writeFile(files, directory + "/f", directory));
        ASSERT_TRUE(writeFile(files, directory + "-", "file"));
        EXPECT_EQ(directory, readFile(files, directory + "/f"));
        EXPECT_EQ("file", readFile(files, directory + "-"));
    }
    EXPECT_EQ(160U, listing(files, "/").size());
}

using RAMHandle = RAM;

// Among so many paths, dozens of pairs have the same hash value: different ones in each process, as the hash is seeded.
TEST_F(RAMPaths, AreDistinctIfTheirHashesCollide) {
    constexpr int many = 400'000;
    ASSERT_TRUE(files.mkdir("/d"));
    int made = 0;
    int found = 0;
    for (int i = 0; i < many; ++i)
        made += files.mkdir("/d/" + QString::number(i)) ? 1 : 0;
    for (int i = 0; i < many; ++i)
        found += files.exists("/e/" + QString::number(i)) ? 1 : 0;
    EXPECT_EQ(many, made);
    EXPECT_EQ(0, found);
}

TEST_F(RAMHandle, ReadsNothingOnceItsFileIsRemoved) {
    FileHandle* const handle = readingInside();
    ASSERT_TRUE(files.remove(text("/a/f")));
    EXPECT_EQ("", read(files, handle, 4));
    EXPECT_EQ("", files.readBytes(handle, 4));
    EXPECT_TRUE(files.close(handle));
}

TEST_F(RAMHandle, ReadsNothingOnceADirectoryAboveIsRemoved) {
    FileHandle* const handle = readingInside();
    ASSERT_TRUE(files.remove(text("/a")));
    EXPECT_EQ("", read(files, handle, 4));
    EXPECT_TRUE(files.close(handle));
}

TEST_F(RAMHandle, IsUnrelatedToANewFileAtTheSamePath) {
    FileHandle* const reading = readingInside();
    FileHandle* const writing = openedForWriting(files, "/a/g");
    ASSERT_TRUE(files.remove(text("/a")));
    ASSERT_TRUE(files.mkdir(text("/a")));
    ASSERT_TRUE(writeFile(files, "/a/f", "another"));
    ASSERT_TRUE(writeFile(files, "/a/g", "another"));
    EXPECT_EQ("", read(files, reading, 4));
    EXPECT_FALSE(write(files, writing, "xxxx"));
    EXPECT_EQ("another", readFile(files, "/a/f"));
    EXPECT_EQ("another", readFile(files, "/a/g"));
}

TEST_F(RAMHandle, ForWritingWritesNothingOnceItsFileIsRemoved) {
    FileHandle* const handle = openedForWriting(files, "/f");
    ASSERT_TRUE(write(files, handle, "ab"));
    ASSERT_TRUE(files.remove(text("/f")));
    EXPECT_FALSE(write(files, handle, "cd"));
    EXPECT_TRUE(files.close(handle));
    EXPECT_FALSE(files.exists(text("/f")));
}

TEST_F(RAMHandle, ReadsUpToTheEndOfAFileThatBecameShorter) {
    FileHandle* const handle = readingInside();
    ASSERT_TRUE(writeFile(files, "/a/f", "x"));
    EXPECT_EQ("", read(files, handle, 4));
    ASSERT_TRUE(files.seek(handle, 0, FileSystem::ORIGIN_BEGIN));
    EXPECT_EQ("x", read(files, handle, 4));
}

TEST_F(RAMHandle, ReadsTheNewContentOfAFileThatWasOpenedAgain) {
    FileHandle* const handle = readingInside();
    ASSERT_TRUE(writeFile(files, "/a/f", "ABCDEFGH"));
    EXPECT_EQ("CDEFGH", read(files, handle, 10));
}

TEST_F(RAMHandle, WritesAtItsPositionInAFileThatWasEmptied) {
    FileHandle* const first = openedForWriting(files, "/f");
    ASSERT_TRUE(write(files, first, "abcd"));
    ASSERT_TRUE(files.close(openedForWriting(files, "/f")));
    EXPECT_TRUE(write(files, first, "ef"));
    EXPECT_EQ(std::string("\0\0\0\0ef", 6), readFile(files, "/f"));
}

TEST_F(RAMHandle, KnowsTheSizeOfAFileThatBecameShorter) {
    FileHandle* const handle = readingInside();
    ASSERT_TRUE(writeFile(files, "/a/f", "x"));
    EXPECT_EQ(1, files.size(handle));
    EXPECT_EQ(1, files.tell(handle));
}

TEST_F(RAMHandle, IsInvalidOnceItIsClosed) {
    FileHandle* const handle = readingInside();
    ASSERT_TRUE(files.close(handle));
    EXPECT_EQ("", read(files, handle, 4));
    EXPECT_EQ(-1, files.tell(handle));
    EXPECT_FALSE(files.close(handle));
}

TEST_F(RAMHandle, IsSafeWhenItsFileIsReplacedByALoadedTree) {
    FileHandle* const handle = readingInside();
    FileHandle* const saved = openedForWriting(files, "/saved");
    ASSERT_TRUE(files.serialize(text("/a"), *saved));
    ASSERT_TRUE(files.close(saved));
    FileHandle* const loaded = openedForReading(files, "/saved");
    files.unserialize(text("/a"), *loaded);
    EXPECT_EQ("", read(files, handle, 4));
    EXPECT_EQ("abcdef", readFile(files, "/a/f"));
}

} // namespace
