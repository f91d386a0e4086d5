// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <climits>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "DiskSupport.h"

namespace {

using namespace support;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr auto fromBegin = FileSystem::ORIGIN_BEGIN;
constexpr auto fromCurrent = FileSystem::ORIGIN_CURRENT;
constexpr auto fromEnd = FileSystem::ORIGIN_END;

template <class Form>
class Handles : public EachFileSystem<Form> {
protected:
    /** A handle for reading on a file with the given content. */
    FileHandle* reading(std::string const& bytes) {
        EXPECT_TRUE(writeFile(this->files, "/f", bytes));
        return openedForReading(this->files, "/f");
    }
};

template <class Form>
using Open = Handles<Form>;
TYPED_TEST_SUITE(Open, Forms, FormNames);

TYPED_TEST(Open, ForWritingCreatesAFile) {
    FileHandle* const handle = openedForWriting(this->files, "/new");
    ASSERT_NE(nullptr, handle);
    EXPECT_EQ(&this->files, &handle->fileSystem());
    EXPECT_TRUE(this->files.close(handle));
    EXPECT_EQ("", readFile(this->files, "/new"));
}

TYPED_TEST(Open, ForWritingStartsEmpty) {
    ASSERT_TRUE(writeFile(this->files, "/f", "longer content"));
    FileHandle* const handle = openedForWriting(this->files, "/f");
    EXPECT_EQ(0, this->files.size(handle));
    EXPECT_TRUE(write(this->files, handle, "short"));
    EXPECT_TRUE(this->files.close(handle));
    EXPECT_EQ("short", readFile(this->files, "/f"));
}

TYPED_TEST(Open, ForReadingStartsAtTheBeginning) {
    FileHandle* const handle = this->reading("abc");
    ASSERT_NE(nullptr, handle);
    EXPECT_EQ(0, this->files.tell(handle));
    EXPECT_EQ("abc", read(this->files, handle, 3));
}

TYPED_TEST(Open, GivesEachHandleItsOwnPosition) {
    FileHandle* const first = this->reading("abc");
    FileHandle* const second = openedForReading(this->files, "/f");
    EXPECT_EQ("a", read(this->files, first, 1));
    EXPECT_EQ("abc", read(this->files, second, 3));
    EXPECT_EQ("bc", read(this->files, first, 3));
}

TYPED_TEST(Open, IgnoresEmptyLevels) {
    ASSERT_TRUE(this->files.mkdir(text("/a")));
    EXPECT_TRUE(writeFile(this->files, "//a//f/", "x"));
    EXPECT_EQ("x", readFile(this->files, "a/f"));
}

TYPED_TEST(Open, FailsForAMissingFileAndSetsTheHandleToNull) {
    FileHandle* const before = this->reading("abc");
    FileHandle* handle = before;
    EXPECT_FALSE(this->files.open(text("/missing"), &handle, FileSystem::MODE_READ));
    EXPECT_EQ(nullptr, handle);
    EXPECT_FALSE(this->files.exists(text("/missing")));
}

TYPED_TEST(Open, FailsForADirectory) {
    ASSERT_TRUE(this->files.mkdir(text("/a")));
    for (char const* const path : {"/a", "/a/", "/", ""}) {
        EXPECT_EQ(nullptr, openedForReading(this->files, path)) << path;
        EXPECT_EQ(nullptr, openedForWriting(this->files, path)) << path;
    }
    EXPECT_TRUE(this->files.isDirectory(text("/a")));
}

TYPED_TEST(Open, ForWritingNeedsTheParent) {
    EXPECT_EQ(nullptr, openedForWriting(this->files, "/x/f"));
    EXPECT_FALSE(this->files.exists(text("/x")));
}

TYPED_TEST(Open, FailsBelowAFile) {
    ASSERT_TRUE(writeFile(this->files, "/f", "x"));
    EXPECT_EQ(nullptr, openedForReading(this->files, "/f/x"));
    EXPECT_EQ(nullptr, openedForWriting(this->files, "/f/x"));
    EXPECT_EQ("x", readFile(this->files, "/f"));
}

TYPED_TEST(Open, FailsForDotLevels) {
    ASSERT_TRUE(this->files.mkdir(text("/a")));
    ASSERT_TRUE(writeFile(this->files, "/f", "x"));
    for (char const* const path : {"/.", "/..", "./f", "../f", "/a/../f", "/a/./g", "/a/.."}) {
        EXPECT_EQ(nullptr, openedForReading(this->files, path)) << path;
        EXPECT_EQ(nullptr, openedForWriting(this->files, path)) << path;
    }
    EXPECT_THAT(listing(this->files, "/"), ElementsAre("a", "f"));
    EXPECT_THAT(listing(this->files, "/a"), IsEmpty());
}

TYPED_TEST(Open, FailsForAnUnpairedSurrogate) {
    FileHandle* handle = nullptr;
    EXPECT_FALSE(this->files.open(unpairedSurrogate(), &handle, FileSystem::MODE_WRITE));
    EXPECT_FALSE(this->files.open(unpairedSurrogate(), &handle, FileSystem::MODE_READ));
    EXPECT_THAT(listing(this->files, "/"), IsEmpty());
}

TYPED_TEST(Open, FailsForAnInvalidMode) {
    FileHandle* const before = this->reading("abc");
    for (int const mode : {2, -1, 100}) {
        FileHandle* handle = before;
        EXPECT_FALSE(this->files.open(text("/f"), &handle, static_cast<FileSystem::FileSystemMode>(mode)));
        EXPECT_EQ(nullptr, handle);
    }
    EXPECT_EQ("abc", readFile(this->files, "/f"));
}

TYPED_TEST(Open, FailsForANullHandle) {
    ASSERT_TRUE(writeFile(this->files, "/f", "x"));
    EXPECT_FALSE(this->files.open(text("/f"), nullptr, FileSystem::MODE_READ));
    EXPECT_FALSE(this->files.open(text("/f"), nullptr, FileSystem::MODE_WRITE));
    EXPECT_EQ("x", readFile(this->files, "/f"));
}

template <class Form>
using Close = Handles<Form>;
TYPED_TEST_SUITE(Close, Forms, FormNames);

TYPED_TEST(Close, IsTrueForAHandle) {
    FileHandle* const handle = this->reading("abc");
    EXPECT_TRUE(this->files.close(handle));
}

TYPED_TEST(Close, IsFalseForNull) {
    EXPECT_FALSE(this->files.close(nullptr));
}

template <class Form>
using Read = Handles<Form>;
TYPED_TEST_SUITE(Read, Forms, FormNames);

TYPED_TEST(Read, ReadsTheAvailableBytes) {
    FileHandle* const handle = this->reading("abcde");
    EXPECT_EQ("abc", read(this->files, handle, 3));
    EXPECT_EQ("de", read(this->files, handle, 3));
    EXPECT_EQ("", read(this->files, handle, 3));
    EXPECT_EQ(5, this->files.tell(handle));
}

TYPED_TEST(Read, SetsErrnoToZeroAtTheEnd) {
    FileHandle* const handle = this->reading("abc");
    for (long const count : {10L, 100'000L}) {
        errno = EIO;
        ASSERT_TRUE(this->files.seek(handle, 0, fromBegin));
        EXPECT_EQ("abc", read(this->files, handle, count));
        EXPECT_EQ(0, errno);
        errno = EIO;
        EXPECT_EQ("", read(this->files, handle, count));
        EXPECT_EQ(0, errno);
    }
}

TYPED_TEST(Read, SetsErrnoToBadFileForAHandleForWriting) {
    for (FileHandle* const handle :
         {openedForWriting(this->files, "/f"), static_cast<FileHandle*>(nullptr)}) {
        errno = 0;
        EXPECT_EQ("", read(this->files, handle, 1));
        EXPECT_EQ(EBADF, errno);
    }
}

TYPED_TEST(Read, DoesNotTouchTheBufferAfterTheBytesRead) {
    FileHandle* const handle = this->reading("ab");
    char buffer[] = "....";
    EXPECT_EQ(2, this->files.read(handle, buffer, 4));
    EXPECT_STREQ("ab..", buffer);
}

TYPED_TEST(Read, ReadsNothingForZeroAndNegativeCounts) {
    FileHandle* const handle = this->reading("abc");
    char buffer = '.';
    for (long const count : {0L, -1L, LONG_MIN})
        EXPECT_EQ(0, this->files.read(handle, &buffer, count));
    EXPECT_EQ('.', buffer);
    EXPECT_EQ(0, this->files.tell(handle));
}

TYPED_TEST(Read, ReturnsEveryByteInPiecesOfAnySize) {
    std::string const bytes = someBytes(300'001);
    for (long const piece : {1L, 7L, 4096L, 16'384L, 65'537L, 300'001L, 1'000'000L}) {
        FileHandle* const handle = this->reading(bytes);
        std::string all;
        for (std::string got; !(got = read(this->files, handle, piece)).empty();)
            all += got;
        EXPECT_EQ(bytes, all) << piece;
        this->files.close(handle);
    }
}

TYPED_TEST(Read, ContinuesAtThePositionOfSeek) {
    std::string const bytes = someBytes(100'000);
    FileHandle* const handle = this->reading(bytes);
    for (std::size_t position :
         {0U, 99'990U, 5U, 20'000U, 16'383U, 16'384U, 99'999U, 100'000U, 40'000U, 39'999U}) {
        ASSERT_TRUE(this->files.seek(handle, static_cast<long>(position), fromBegin));
        EXPECT_EQ(bytes.substr(position, 11), read(this->files, handle, 11)) << position;
    }
}

TYPED_TEST(Read, ReadsNothingFromAHandleForWriting) {
    FileHandle* const handle = openedForWriting(this->files, "/f");
    ASSERT_TRUE(write(this->files, handle, "abc"));
    ASSERT_TRUE(this->files.seek(handle, 0, fromBegin));
    EXPECT_EQ("", read(this->files, handle, 3));
    EXPECT_EQ('\0', this->files.readByte(handle));
    EXPECT_EQ("", this->files.readBytes(handle, 3));
}

template <class Form>
using Write = Handles<Form>;
TYPED_TEST_SUITE(Write, Forms, FormNames);

TYPED_TEST(Write, WritesAtThePosition) {
    FileHandle* const handle = openedForWriting(this->files, "/f");
    EXPECT_TRUE(write(this->files, handle, "abc"));
    EXPECT_EQ(3, this->files.tell(handle));
    EXPECT_TRUE(write(this->files, handle, "de"));
    EXPECT_EQ(5, this->files.tell(handle));
    EXPECT_TRUE(this->files.close(handle));
    EXPECT_EQ("abcde", readFile(this->files, "/f"));
}

TYPED_TEST(Write, OverwritesAtThePositionOfSeek) {
    FileHandle* const handle = openedForWriting(this->files, "/f");
    ASSERT_TRUE(write(this->files, handle, "abcdef"));
    ASSERT_TRUE(this->files.seek(handle, 2, fromBegin));
    EXPECT_TRUE(write(this->files, handle, "CD"));
    EXPECT_EQ(6, this->files.size(handle));
    ASSERT_TRUE(this->files.seek(handle, -1, fromEnd));
    EXPECT_TRUE(write(this->files, handle, "FGH"));
    EXPECT_EQ(8, this->files.size(handle));
    EXPECT_TRUE(this->files.close(handle));
    EXPECT_EQ("abCDeFGH", readFile(this->files, "/f"));
}

TYPED_TEST(Write, KeepsEveryByteInPiecesOfAnySize) {
    std::string const bytes = someBytes(300'001);
    for (std::size_t const piece : {1U, 7U, 4096U, 65'535U, 65'536U, 65'537U, 300'001U}) {
        FileHandle* const handle = openedForWriting(this->files, "/f");
        for (std::size_t begin = 0; begin < bytes.size(); begin += piece)
            ASSERT_TRUE(write(this->files, handle, bytes.substr(begin, piece)));
        EXPECT_EQ(300'001, this->files.size(handle));
        ASSERT_TRUE(this->files.close(handle));
        EXPECT_EQ(bytes, readFile(this->files, "/f")) << piece;
    }
}

TYPED_TEST(Write, AcceptsWritesInAnyOrder) {
    std::string const bytes = someBytes(400'000);
    std::string expected;
    FileHandle* const handle = openedForWriting(this->files, "/f");
    std::size_t const steps[][2] = {{0, 70'000},   {100, 50},          {70'000, 65'536}, {65'530, 20},
                                    {135'536, 10}, {135'540, 9},       {0, 65'536},      {135'549, 1},
                                    {1, 1},        {135'550, 100'000}, {2, 200'000},     {235'540, 100},
                                    {235'640, 3},  {235'630, 20},      {235'650, 65'537}};
    for (auto const& [position, count] : steps) {
        std::string const piece = bytes.substr(position + count / 3, count);
        ASSERT_TRUE(this->files.seek(handle, static_cast<long>(position), fromBegin));
        ASSERT_TRUE(write(this->files, handle, piece));
        expected.resize(std::max(expected.size(), position + count));
        expected.replace(position, count, piece);
        ASSERT_EQ(static_cast<long>(expected.size()), this->files.size(handle));
        ASSERT_EQ(static_cast<long>(position + count), this->files.tell(handle));
    }
    ASSERT_TRUE(this->files.close(handle));
    EXPECT_EQ(expected, readFile(this->files, "/f"));
}

TYPED_TEST(Write, WritesNothingForZeroAndNegativeCounts) {
    FileHandle* const handle = openedForWriting(this->files, "/f");
    for (long const count : {0L, -1L, LONG_MIN})
        EXPECT_EQ(0, this->files.write(handle, "x", count));
    EXPECT_TRUE(this->files.close(handle));
    EXPECT_EQ("", readFile(this->files, "/f"));
}

TYPED_TEST(Write, WritesNothingToAHandleForReading) {
    FileHandle* const handle = this->reading("abc");
    EXPECT_EQ(0, this->files.write(handle, "x", 1));
    this->files.writeInt(handle, 1);
    EXPECT_EQ(0, this->files.tell(handle));
    EXPECT_TRUE(this->files.close(handle));
    EXPECT_EQ("abc", readFile(this->files, "/f"));
}

template <class Form>
using Seek = Handles<Form>;
TYPED_TEST_SUITE(Seek, Forms, FormNames);

TYPED_TEST(Seek, CountsFromTheThreeOrigins) {
    FileHandle* const handle = this->reading("abcdef");
    EXPECT_TRUE(this->files.seek(handle, 4, fromBegin));
    EXPECT_EQ(4, this->files.tell(handle));
    EXPECT_TRUE(this->files.seek(handle, -3, fromCurrent));
    EXPECT_EQ(1, this->files.tell(handle));
    EXPECT_TRUE(this->files.seek(handle, 2, fromCurrent));
    EXPECT_EQ(3, this->files.tell(handle));
    EXPECT_TRUE(this->files.seek(handle, -1, fromEnd));
    EXPECT_EQ(5, this->files.tell(handle));
}

TYPED_TEST(Seek, ReachesBothEnds) {
    FileHandle* const handle = this->reading("abcdef");
    EXPECT_TRUE(this->files.seek(handle, 6, fromBegin));
    EXPECT_TRUE(this->files.seek(handle, -6, fromEnd));
    EXPECT_EQ(0, this->files.tell(handle));
    EXPECT_TRUE(this->files.seek(handle, 0, fromEnd));
    EXPECT_EQ(6, this->files.tell(handle));
}

TYPED_TEST(Seek, RefusesPositionsOutsideTheFile) {
    FileHandle* const handle = this->reading("abcdef");
    ASSERT_TRUE(this->files.seek(handle, 2, fromBegin));
    for (long const offset : {-1L, 7L, LONG_MAX, LONG_MIN})
        EXPECT_FALSE(this->files.seek(handle, offset, fromBegin)) << offset;
    for (long const offset : {-3L, 5L, LONG_MAX, LONG_MIN})
        EXPECT_FALSE(this->files.seek(handle, offset, fromCurrent)) << offset;
    for (long const offset : {-7L, 1L, LONG_MAX, LONG_MIN})
        EXPECT_FALSE(this->files.seek(handle, offset, fromEnd)) << offset;
    EXPECT_EQ(2, this->files.tell(handle));
}

TYPED_TEST(Seek, RefusesPositionsOutsideAFileBeingWritten) {
    FileHandle* const handle = openedForWriting(this->files, "/f");
    EXPECT_FALSE(this->files.seek(handle, 1, fromBegin));
    ASSERT_TRUE(write(this->files, handle, "abc"));
    EXPECT_FALSE(this->files.seek(handle, 4, fromBegin));
    EXPECT_TRUE(this->files.seek(handle, 3, fromBegin));
}

TYPED_TEST(Seek, RefusesAnInvalidOrigin) {
    FileHandle* const handle = this->reading("abcdef");
    EXPECT_FALSE(this->files.seek(handle, 1, static_cast<FileSystem::FileSystemOrigin>(3)));
    EXPECT_FALSE(this->files.seek(handle, 1, static_cast<FileSystem::FileSystemOrigin>(-1)));
    EXPECT_EQ(0, this->files.tell(handle));
}

template <class Form>
using Size = Handles<Form>;
TYPED_TEST_SUITE(Size, Forms, FormNames);

TYPED_TEST(Size, OfAHandleKeepsThePosition) {
    FileHandle* const handle = this->reading("abcdef");
    ASSERT_TRUE(this->files.seek(handle, 2, fromBegin));
    EXPECT_EQ(6, this->files.size(handle));
    EXPECT_EQ(2, this->files.tell(handle));
}

TYPED_TEST(Size, OfAPathIsTheSizeOfTheFile) {
    ASSERT_TRUE(writeFile(this->files, "/f", "abcdef"));
    ASSERT_TRUE(writeFile(this->files, "/empty", ""));
    EXPECT_EQ(6, this->files.size(text("/f")));
    EXPECT_EQ(0, this->files.size(text("/empty")));
}

TYPED_TEST(Size, OfAPathIsMinusOneUnlessItIsAFile) {
    ASSERT_TRUE(this->files.mkdir(text("/a")));
    EXPECT_EQ(-1, this->files.size(text("/a")));
    EXPECT_EQ(-1, this->files.size(text("/x")));
}

template <class Form>
using ReadBytes = Handles<Form>;
TYPED_TEST_SUITE(ReadBytes, Forms, FormNames);

TYPED_TEST(ReadBytes, ReturnsTheAvailableBytes) {
    FileHandle* const handle = this->reading("abcdef");
    EXPECT_EQ("abcd", this->files.readBytes(handle, 4));
    EXPECT_EQ("ef", this->files.readBytes(handle, 4));
    EXPECT_EQ("", this->files.readBytes(handle, 4));
}

TYPED_TEST(ReadBytes, ReturnsNothingForZeroAndNegativeCounts) {
    FileHandle* const handle = this->reading("abcdef");
    EXPECT_EQ("", this->files.readBytes(handle, 0));
    EXPECT_EQ("", this->files.readBytes(handle, -1));
    EXPECT_EQ("", this->files.readBytes(handle, INT_MIN));
    EXPECT_EQ(0, this->files.tell(handle));
}

TYPED_TEST(ReadBytes, AllocatesNoMoreThanTheSizeOfTheFile) {
    FileHandle* const handle = this->reading("abcdef");
    std::string const bytes = this->files.readBytes(handle, INT_MAX);
    EXPECT_EQ("abcdef", bytes);
    EXPECT_LT(bytes.capacity(), 100U);
}

template <class Form>
using Skip = Handles<Form>;
TYPED_TEST_SUITE(Skip, Forms, FormNames);

TYPED_TEST(Skip, MovesInBothDirections) {
    FileHandle* const handle = this->reading("abcdef");
    this->files.skip(handle, 4);
    EXPECT_EQ(4, this->files.tell(handle));
    this->files.skip(handle, -3);
    EXPECT_EQ('b', this->files.readByte(handle));
    this->files.skip(handle, 0);
    EXPECT_EQ(2, this->files.tell(handle));
}

TYPED_TEST(Skip, StopsAtTheStartAndTheEnd) {
    FileHandle* const handle = this->reading("abcdef");
    this->files.skip(handle, 7);
    EXPECT_EQ(6, this->files.tell(handle));
    this->files.skip(handle, INT_MAX);
    EXPECT_EQ(6, this->files.tell(handle));
    this->files.skip(handle, -7);
    EXPECT_EQ(0, this->files.tell(handle));
    this->files.skip(handle, INT_MIN);
    EXPECT_EQ(0, this->files.tell(handle));
}

/** A file of 3 GiB, more than an `int` can count: "start", zeros, "end". */
class HandleOfALargeFile : public OnDisk {
protected:
    static constexpr std::int64_t size = std::int64_t{3} << 30U;

    void SetUp() override {
        putFile(at("f"), "start");
        std::filesystem::resize_file(at("f"), static_cast<std::uintmax_t>(size) - 3);
        std::ofstream(at("f"), std::ios::app) << "end";
        handle = openedForReading(files, "f");
    }

    FileHandle* handle = nullptr;
};

TEST_F(HandleOfALargeFile, IsReadAtAnyPosition) {
    ASSERT_TRUE(files.seek(handle, -3, fromEnd));
    EXPECT_EQ("end", read(files, handle, 10));
    ASSERT_TRUE(files.seek(handle, 0, fromBegin));
    files.skip(handle, 1);
    EXPECT_EQ("tart", read(files, handle, 4));
}

TEST_F(HandleOfALargeFile, ReturnsTheAvailableBytes) {
    EXPECT_EQ("star", files.readBytes(handle, 4));
    EXPECT_TRUE(files.readBytes(handle, 100'000) == "t" + std::string(99'999, '\0')); // too long to print
    EXPECT_EQ(100'004, files.tell(handle));
    EXPECT_EQ("", files.readBytes(handle, -1));
    ASSERT_TRUE(files.seek(handle, -4, fromEnd));
    std::string const bytes = files.readBytes(handle, INT_MAX);
    EXPECT_EQ(std::string("\0end", 4), bytes);
    EXPECT_LT(bytes.capacity(), 100'000U);
    EXPECT_EQ("", files.readBytes(handle, 1));
}

TEST_F(HandleOfALargeFile, IsSkippedInBothDirections) {
    files.skip(handle, INT_MAX);
    EXPECT_EQ(INT_MAX, files.tell(handle));
    files.skip(handle, INT_MAX); // stops at the end
    EXPECT_TRUE(files.seek(handle, 0, fromCurrent));
    EXPECT_FALSE(files.seek(handle, 1, fromCurrent));
    files.skip(handle, -INT_MAX);
    EXPECT_EQ(size - INT_MAX, files.tell(handle));
    files.skip(handle, INT_MIN); // stops at the start
    EXPECT_EQ(0, files.tell(handle));
    EXPECT_EQ("start", read(files, handle, 5));
}

TEST_F(HandleOfALargeFile, ReportsNoSizeOrPositionThatDoesNotFitIntoALong) {
    constexpr bool fits = size <= LONG_MAX;
    ASSERT_TRUE(files.seek(handle, 2, fromBegin));
    EXPECT_EQ(fits ? size : -1, files.size(handle));
    EXPECT_EQ(2, files.tell(handle));
    EXPECT_EQ(fits ? size : -1, files.size(text("f")));
    ASSERT_TRUE(files.seek(handle, 0, fromEnd));
    errno = 0;
    EXPECT_EQ(fits ? size : -1, files.tell(handle));
    EXPECT_EQ(fits ? 0 : EOVERFLOW, errno);
}

/** Expects every operation on a handle that does not belong to this file system to fail without effect. */
void expectNothingFrom(FileSystem& files, FileHandle* handle) {
    char buffer[8] = "unread";
    EXPECT_EQ(0, files.read(handle, buffer, 4));
    EXPECT_STREQ("unread", buffer);
    EXPECT_EQ(0, files.write(handle, "xxxx", 4));
    for (auto const origin : {fromBegin, fromCurrent, fromEnd})
        EXPECT_FALSE(files.seek(handle, 0, origin));
    EXPECT_EQ(-1, files.tell(handle));
    EXPECT_EQ(-1, files.size(handle));
    EXPECT_EQ('\0', files.readByte(handle));
    EXPECT_EQ(0, files.readShort(handle));
    EXPECT_EQ(0, files.readInt(handle));
    EXPECT_EQ(0.0F, files.readFloat(handle));
    EXPECT_EQ("", files.readBytes(handle, 4));
    files.skip(handle, 1);
    files.writeByte(handle, 'x');
    files.writeShort(handle, 1);
    files.writeInt(handle, 1);
    files.writeFloat(handle, 1);
    EXPECT_FALSE(files.close(handle));
}

template <class Form>
using NullHandle = Handles<Form>;
TYPED_TEST_SUITE(NullHandle, Forms, FormNames);

TYPED_TEST(NullHandle, IsSafeEverywhere) {
    expectNothingFrom(this->files, nullptr);
}

template <class Form>
class ForeignHandle : public EachFileSystem<Form> {
protected:
    /** Expects this file system to refuse handles of `other` and to leave them unchanged. */
    void expectForeign(FileSystem& other) {
        ASSERT_TRUE(writeFile(other, "/f", "abcdef"));
        FileHandle* const reading = openedForReading(other, "/f");
        FileHandle* const writing = openedForWriting(other, "/g");
        ASSERT_TRUE(write(other, writing, "ab"));
        expectNothingFrom(this->files, reading);
        expectNothingFrom(this->files, writing);
        EXPECT_EQ("abcdef", read(other, reading, 10));
        EXPECT_TRUE(write(other, writing, "c"));
        EXPECT_TRUE(other.close(writing));
        EXPECT_TRUE(other.close(reading));
        EXPECT_EQ("abc", readFile(other, "/g"));
    }
};
TYPED_TEST_SUITE(ForeignHandle, Forms, FormNames);

TYPED_TEST(ForeignHandle, OfTheSameKindIsSafeEverywhere) {
    TypeParam other;
    this->expectForeign(other.files);
}

TYPED_TEST(ForeignHandle, OfMemoryIsSafeEverywhere) {
    RAMForm other;
    this->expectForeign(other.files);
}

TYPED_TEST(ForeignHandle, OfTheDiskIsSafeEverywhere) {
    RealForm other;
    this->expectForeign(other.files);
}

template <class Form>
class NeverClosed : public ::testing::Test {};
TYPED_TEST_SUITE(NeverClosed, Forms, FormNames);

TYPED_TEST(NeverClosed, HandlesAreReleasedWithTheirFileSystem) {
    auto form = std::make_unique<TypeParam>();
    ASSERT_TRUE(writeFile(form->files, "/f", "abc"));
    for (int i = 0; i < 100; ++i) {
        ASSERT_NE(nullptr, openedForReading(form->files, "/f"));
        FileHandle* const writing = openedForWriting(form->files, "/" + std::to_string(i));
        ASSERT_TRUE(write(form->files, writing, "x"));
    }
    form.reset();
}

} // namespace
