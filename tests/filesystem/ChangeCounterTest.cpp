// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <cstdint>
#include <memory>

#include <gtest/gtest.h>

#include <filesystem/ChangeCounter.h>
#include <filesystem/Direct.h>
#include <filesystem/RAMFileSystem.h>

namespace {

using filesystem::FileHandle;
using filesystem::RAMFileSystem;

class ChangeCounter : public testing::Test {
protected:
    ChangeCounter() {
        memory.mkdir(QStringLiteral("/user"));
        memory.mkdir(QStringLiteral("/user/a"));
        memory.open(QStringLiteral("/user/a/x"), &file, RAMFileSystem::MODE_WRITE);
        memory.write(file, "1", 1);
        filesystem::countChanges(memory, counter);
    }

    /** Whether anything has been counted since the last call. */
    bool hasCounted() {
        std::uint64_t const last = seen;
        seen = counter.load();
        return seen != last;
    }

    std::atomic<std::uint64_t> counter{0}; // outlives the file system
    std::uint64_t seen = 0;
    std::unique_ptr<RAMFileSystem> const owned = std::make_unique<RAMFileSystem>();
    RAMFileSystem& memory = *owned;
    FileHandle* file = nullptr;
};

} // namespace

TEST_F(ChangeCounter, CountsNothingBeforeAChange) {
    EXPECT_FALSE(hasCounted());
}

TEST_F(ChangeCounter, CountsAWriteThroughAHandleOpenedBefore) {
    memory.write(file, "2", 1);
    EXPECT_TRUE(hasCounted());
}

TEST_F(ChangeCounter, CountsAFileThatIsEmptied) {
    FileHandle* again = nullptr;
    memory.open(QStringLiteral("/user/a/x"), &again, RAMFileSystem::MODE_WRITE);
    EXPECT_TRUE(hasCounted());
}

TEST_F(ChangeCounter, CountsAFileThatIsRewrittenDirectly) {
    ASSERT_NE(nullptr, filesystem::direct::rewrite(memory, "user", "a/x", 1));
    EXPECT_TRUE(hasCounted());
}

TEST_F(ChangeCounter, CountsCreatedFilesAndDirectories) {
    memory.mkdir(QStringLiteral("/user/b"));
    EXPECT_TRUE(hasCounted());
    FileHandle* made = nullptr;
    memory.open(QStringLiteral("/user/b/x"), &made, RAMFileSystem::MODE_WRITE);
    EXPECT_TRUE(hasCounted());
    ASSERT_NE(nullptr, filesystem::direct::make(memory, "user", "c", "c/x", 1));
    EXPECT_TRUE(hasCounted());
}

TEST_F(ChangeCounter, CountsRemovedFilesAndDirectories) {
    memory.remove(QStringLiteral("/user/a/x"));
    EXPECT_TRUE(hasCounted());
    memory.remove(QStringLiteral("/user"));
    EXPECT_TRUE(hasCounted());
}

TEST_F(ChangeCounter, CountsALoadedTree) {
    FileHandle* image = nullptr;
    memory.open(QStringLiteral("/image"), &image, RAMFileSystem::MODE_WRITE);
    ASSERT_TRUE(memory.serialize(QStringLiteral("/user"), *image));
    memory.close(image);
    memory.open(QStringLiteral("/image"), &image, RAMFileSystem::MODE_READ);
    static_cast<void>(hasCounted());
    memory.unserialize(QStringLiteral("/user"), *image);
    EXPECT_TRUE(hasCounted());
}

TEST_F(ChangeCounter, DoesNotCountReading) {
    FileHandle* reading = nullptr;
    ASSERT_TRUE(memory.open(QStringLiteral("/user/a/x"), &reading, RAMFileSystem::MODE_READ));
    char byte = 0;
    EXPECT_EQ(1, memory.read(reading, &byte, 1));
    memory.close(reading);
    static_cast<void>(memory.getFileList(QStringLiteral("/user")));
    EXPECT_FALSE(hasCounted());
}

TEST_F(ChangeCounter, IsReplacedByTheNextOne) {
    std::atomic<std::uint64_t> other{0};
    filesystem::countChanges(memory, other);
    memory.mkdir(QStringLiteral("/user/b"));
    EXPECT_FALSE(hasCounted());
    EXPECT_NE(0U, other.load());
    filesystem::countChanges(memory, counter);
}
