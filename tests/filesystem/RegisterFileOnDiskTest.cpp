// SPDX-License-Identifier: Apache-2.0
#include <climits>

#include <sys/resource.h>

#include "DiskSupport.h"
#include "support/Allocators.h"
#include "utils/Exception.h"

namespace {

using namespace support;
using namespace std::string_literals;

class RegisterFileOnDisk : public OnDisk {
protected:
    // The destructor of a file system may throw; the destructor of a test must not.
    ~RegisterFileOnDisk() noexcept override = default;

    /** Reads the file "f". Result: the reason why it is refused; empty if it is accepted. */
    std::string refusal() {
        FileHandle* const handle = openedForReading(files, "f");
        std::string message;
        try {
            memory.unserialize(*handle);
        } catch (utils::Exception const& failure) {
            message = failure.what();
        }
        files.close(handle);
        return message;
    }

    /** Creates the file "f" of 1 TiB, or of the largest size that a `long` can hold. Only `start` occupies disk space. */
    void putHugeFile(std::string const& start) {
        putFile(at("f"), start);
        ASSERT_EQ(0, ::truncate(at("f").c_str(), hugeSize));
    }

    static constexpr long hugeSize = LONG_MAX >> (sizeof(long) == 8 ? 23 : 0);

    RAMFileSystem memory;
};

TEST_F(RegisterFileOnDisk, IsReportedWithItsPathIfItIsDamaged) {
    putFile(at("f"), "\xD9\xD9\xF7\x83\x01\x00\xD8\x18\x41\xA0"s);
    EXPECT_EQ(at("f") + ": damaged: its checksum does not match", refusal());
    putFile(at("f"), "");
    EXPECT_EQ(at("f") + ": damaged: truncated", refusal());
}

TEST_F(RegisterFileOnDisk, IsReportedWithItsPathIfItIsAnotherKindOfFile) {
    putFile(at("f"), "settings = 1\n");
    EXPECT_EQ(at("f") + ": not a register file", refusal());
}

TEST_F(RegisterFileOnDisk, IsReportedWithItsPathIfItIsOfALaterVersion) {
    putFile(at("f"), "\xD9\xD9\xF7\x83\x02\x00\xD8\x18\x41\xA0"s);
    EXPECT_EQ(at("f") + ": format version 2 is not supported; this library reads version 1", refusal());
}

TEST_F(RegisterFileOnDisk, MayBeFollowedByMoreThanFitsIntoMemory) {
    ASSERT_TRUE(memory.mkdir("/a"));
    FileHandle* const handle = openedForWriting(files, "f");
    ASSERT_TRUE(memory.serialize(*handle));
    ASSERT_TRUE(files.close(handle));
    ASSERT_TRUE(memory.remove("/a"));
    ASSERT_EQ(0, ::truncate(at("f").c_str(), hugeSize));
    EXPECT_EQ("", refusal());
    EXPECT_TRUE(memory.isDirectory("/a"));
}

TEST_F(RegisterFileOnDisk, IsRefusedForItsFirstBytesEvenIfItIsHuge) {
    putHugeFile("");
    EXPECT_EQ(at("f") + ": not a register file", refusal());
}

TEST_F(RegisterFileOnDisk, IsRefusedWhenItIsTooLargeForTheMemory) {
#ifdef UNDER_A_SANITIZER
    GTEST_SKIP() << "a sanitizer ends the process if an allocation fails";
#endif
    std::string const start = "\xD9\xD9\xF7\x83\x01\x00\xD8\x18\x5A\x70\0\0\0"s;
    putHugeFile(start);
    // Limits the memory, because a machine that overcommits would grant any amount.
    int const status = inChild([&] {
        rlimit const limit = {1U << 30U, 1U << 30U};
        EXPECT_EQ(0, ::setrlimit(RLIMIT_AS, &limit));
        EXPECT_EQ(at("f") + ": not enough memory to read 1879048192 bytes", refusal());
    });
    EXPECT_EQ(0, status);
}

using PathOfAHandle = RegisterFileOnDisk;

TEST_F(PathOfAHandle, IsThePathOfTheFileOnDisk) {
    ASSERT_TRUE(files.mkdir("a"));
    for (auto const mode : {FileSystem::MODE_WRITE, FileSystem::MODE_READ}) {
        FileHandle* const handle = opened(files, "/a//ö/", mode);
        ASSERT_NE(nullptr, handle);
        EXPECT_EQ(at("a/ö"), handle->path());
        EXPECT_TRUE(files.close(handle));
    }
}

TEST_F(PathOfAHandle, IsEmptyInMemory) {
    EXPECT_EQ("", openedForWriting(memory, "/f")->path());
    EXPECT_EQ("", openedForReading(memory, "/f")->path());
}

} // namespace
