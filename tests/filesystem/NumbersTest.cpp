// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <cmath>
#include <limits>

#include "FileSystemSupport.h"

namespace {

using namespace support;
using namespace std::string_literals;

template <class Form>
class Numbers : public EachFileSystem<Form> {
protected:
    /** A handle on a file with the given content. */
    FileHandle* reading(std::string const& bytes) {
        EXPECT_TRUE(writeFile(this->files, "/f", bytes));
        return openedForReading(this->files, "/f");
    }

    /** The bytes that a write operation writes into a file. */
    template <class Write>
    std::string written(Write&& write) {
        FileHandle* const handle = openedForWriting(this->files, "/f");
        write(handle);
        EXPECT_TRUE(this->files.close(handle));
        return readFile(this->files, "/f").value_or("unreadable");
    }
};

template <class Form>
using ReadByte = Numbers<Form>;
TYPED_TEST_SUITE(ReadByte, Forms, FormNames);

TYPED_TEST(ReadByte, ReadsOneByteAfterAnother) {
    FileHandle* const handle = this->reading("a\xFF");
    EXPECT_EQ('a', this->files.readByte(handle));
    EXPECT_EQ('\xFF', this->files.readByte(handle));
}

TYPED_TEST(ReadByte, ReturnsZeroAtTheEnd) {
    FileHandle* const handle = this->reading("a");
    EXPECT_EQ('a', this->files.readByte(handle));
    EXPECT_EQ('\0', this->files.readByte(handle));
    EXPECT_EQ(1, this->files.tell(handle));
}

template <class Form>
using ReadShort = Numbers<Form>;
TYPED_TEST_SUITE(ReadShort, Forms, FormNames);

TYPED_TEST(ReadShort, ReadsTheLowByteFirst) {
    FileHandle* const handle = this->reading("\x34\x12\xFE\xFF"s);
    EXPECT_EQ(0x1234, this->files.readShort(handle));
    EXPECT_EQ(-2, this->files.readShort(handle));
}

TYPED_TEST(ReadShort, ReturnsZeroForTooFewBytesAndSkipsThem) {
    FileHandle* const handle = this->reading("\xFE");
    EXPECT_EQ(0, this->files.readShort(handle));
    EXPECT_EQ(1, this->files.tell(handle));
}

template <class Form>
using ReadInt = Numbers<Form>;
TYPED_TEST_SUITE(ReadInt, Forms, FormNames);

TYPED_TEST(ReadInt, ReadsTheLowByteFirst) {
    FileHandle* const handle = this->reading("\x78\x56\x34\x12\0\0\0\x80"s);
    EXPECT_EQ(0x12345678, this->files.readInt(handle));
    EXPECT_EQ(INT_MIN, this->files.readInt(handle));
}

TYPED_TEST(ReadInt, ReturnsZeroForTooFewBytesAndSkipsThem) {
    FileHandle* const handle = this->reading("\xFE\x56\x34");
    EXPECT_EQ(0, this->files.readInt(handle));
    EXPECT_EQ(3, this->files.tell(handle));
}

template <class Form>
using ReadFloat = Numbers<Form>;
TYPED_TEST_SUITE(ReadFloat, Forms, FormNames);

TYPED_TEST(ReadFloat, ReadsTheLowByteFirst) {
    FileHandle* const handle = this->reading("\0\0\xC0\x3F\0\0\0\x80"s);
    EXPECT_EQ(1.5F, this->files.readFloat(handle));
    EXPECT_TRUE(std::signbit(this->files.readFloat(handle)));
}

TYPED_TEST(ReadFloat, ReturnsZeroForTooFewBytesAndSkipsThem) {
    FileHandle* const handle = this->reading("\0\0\xC0"s);
    EXPECT_EQ(0.0F, this->files.readFloat(handle));
    EXPECT_EQ(3, this->files.tell(handle));
}

template <class Form>
using WriteByte = Numbers<Form>;
TYPED_TEST_SUITE(WriteByte, Forms, FormNames);

TYPED_TEST(WriteByte, WritesTheByte) {
    EXPECT_EQ("\xFF", this->written([this](FileHandle* handle) { this->files.writeByte(handle, '\xFF'); }));
}

template <class Form>
using WriteShort = Numbers<Form>;
TYPED_TEST_SUITE(WriteShort, Forms, FormNames);

TYPED_TEST(WriteShort, WritesTheLowByteFirst) {
    EXPECT_EQ("\x34\x12",
              this->written([this](FileHandle* handle) { this->files.writeShort(handle, 0x1234); }));
    EXPECT_EQ("\xFE\xFF", this->written([this](FileHandle* handle) { this->files.writeShort(handle, -2); }));
}

template <class Form>
using WriteInt = Numbers<Form>;
TYPED_TEST_SUITE(WriteInt, Forms, FormNames);

TYPED_TEST(WriteInt, WritesTheLowByteFirst) {
    EXPECT_EQ("\x78\x56\x34\x12",
              this->written([this](FileHandle* handle) { this->files.writeInt(handle, 0x12345678); }));
    EXPECT_EQ("\0\0\0\x80"s,
              this->written([this](FileHandle* handle) { this->files.writeInt(handle, INT_MIN); }));
}

template <class Form>
using WriteFloat = Numbers<Form>;
TYPED_TEST_SUITE(WriteFloat, Forms, FormNames);

TYPED_TEST(WriteFloat, WritesTheLowByteFirst) {
    EXPECT_EQ("\0\0\xC0\x3F"s,
              this->written([this](FileHandle* handle) { this->files.writeFloat(handle, 1.5F); }));
    EXPECT_EQ("\0\0\0\x80"s,
              this->written([this](FileHandle* handle) { this->files.writeFloat(handle, -0.0F); }));
}

TYPED_TEST(WriteFloat, RoundTripsExtremes) {
    using Limits = std::numeric_limits<float>;
    for (float const value : {Limits::denorm_min(), Limits::max(), Limits::lowest(), Limits::infinity()}) {
        FileHandle* const handle = this->reading(
            this->written([this, value](FileHandle* target) { this->files.writeFloat(target, value); }));
        EXPECT_EQ(value, this->files.readFloat(handle));
    }
}

} // namespace
