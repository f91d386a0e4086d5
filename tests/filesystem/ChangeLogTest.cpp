// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem/ChangeLog.h>
#include <filesystem/Direct.h>
#include <filesystem/RAMFileSystem.h>
#include <utils/Exception.h>

namespace {

using filesystem::ChangeLog;
using filesystem::FileHandle;
using filesystem::RAMFileSystem;
using testing::ElementsAre;
using testing::IsEmpty;

class Changes : public testing::Test {
protected:
    Changes() {
        for (char const* const path : {"/user", "/temp", "/user/a"})
            memory.mkdir(QLatin1String(path));
        write("/user/a/x", "1");
        log.emplace(memory, "user", [this] { ++wakes; });
    }

    void write(char const* path, char const* content) {
        FileHandle* handle = nullptr;
        ASSERT_TRUE(memory.open(QLatin1String(path), &handle, RAMFileSystem::MODE_WRITE));
        memory.write(handle, content, static_cast<long>(std::strlen(content)));
        memory.close(handle);
    }

    std::unique_ptr<RAMFileSystem> const owned = std::make_unique<RAMFileSystem>();
    RAMFileSystem& memory = *owned;
    std::optional<ChangeLog> log;
    int wakes = 0;
};

} // namespace

TEST_F(Changes, AreEmptyAtFirst) {
    EXPECT_THAT(log->take(), IsEmpty());
    EXPECT_EQ(0, wakes);
}

TEST_F(Changes, NameAFileThatIsWritten) {
    write("/user/a/x", "2");
    EXPECT_THAT(log->take(), ElementsAre("a/x"));
    EXPECT_THAT(log->take(), IsEmpty());
}

TEST_F(Changes, NameARepeatedlyWrittenFileOnce) {
    write("/user/b", "1");
    for (int i = 0; i < 10'000; ++i)
        write(i % 2 == 0 ? "/user/a/x" : "/user/b", "2");
    EXPECT_THAT(log->take(), ElementsAre("a/x", "b"));
}

TEST_F(Changes, NameAFileThatIsWrittenDirectly) {
    ASSERT_NE(nullptr, filesystem::direct::rewrite(memory, "user", "a/x", 1));
    EXPECT_THAT(log->take(), ElementsAre("a/x"));
    ASSERT_NE(nullptr, filesystem::direct::make(memory, "user", "p/q", "p/q/r", 1));
    EXPECT_THAT(log->take(), ElementsAre("p"));
}

TEST_F(Changes, NameAFileThatIsEmptied) {
    FileHandle* handle = nullptr;
    memory.open(QStringLiteral("/user/a/x"), &handle, RAMFileSystem::MODE_WRITE);
    EXPECT_THAT(log->take(), ElementsAre("a/x"));
}

TEST_F(Changes, NameANewDirectoryOnceWithItsContents) {
    memory.mkdir(QStringLiteral("/user/b"));
    write("/user/b/x", "1");
    EXPECT_THAT(log->take(), ElementsAre("b"));
}

TEST_F(Changes, NameRemovedPaths) {
    memory.remove(QStringLiteral("/user/a/x"));
    EXPECT_THAT(log->take(), ElementsAre("a/x"));
    memory.remove(QStringLiteral("/user/a"));
    EXPECT_THAT(log->take(), ElementsAre("a"));
}

TEST_F(Changes, NamePathsThatAreRemovedAndCreatedAgain) {
    memory.remove(QStringLiteral("/user/a/x"));
    write("/user/y", "1"); // may reuse the node
    write("/user/a/x", "1");
    EXPECT_THAT(log->take(), ElementsAre("a/x", "y"));
}

// A removed node's number is reused for the next node, which must not be mistaken for the node already recorded.
TEST_F(Changes, NameAFileThatReusesTheNodeOfAWrittenAndRemovedOne) {
    write("/user/a/x", "2");
    memory.remove(QStringLiteral("/user/a/x"));
    write("/user/y", "1");
    EXPECT_THAT(log->take(), ElementsAre("a/x", "y"));
}

TEST_F(Changes, NameAFileThatReusesTheNodeOfAFileRemovedElsewhere) {
    write("/user/a/x", "2");
    memory.remove(QStringLiteral("/user/a/x"));
    write("/temp/y", "1");
    memory.remove(QStringLiteral("/temp/y"));
    write("/user/y", "1");
    write("/user/y", "2");
    EXPECT_THAT(log->take(), ElementsAre("a/x", "y"));
}

TEST_F(Changes, NameAFileThatIsWrittenAgainAfterTheyWereTaken) {
    for (int i = 0; i < 3; ++i) {
        write("/user/a/x", "2");
        EXPECT_THAT(log->take(), ElementsAre("a/x"));
    }
}

namespace {

constexpr int longNames = 17;

/** The path of a file whose name is 1 MiB long. A log cannot hold the names of all such files. */
QString longPath(int number) {
    return QStringLiteral("/user/") + QString(1 << 20, QChar('a' + number));
}

} // namespace

TEST_F(Changes, NameEverythingIfTheRemovedPathsAreTooLong) {
    for (int i = 0; i < longNames; ++i)
        memory.mkdir(longPath(i));
    static_cast<void>(log->take());
    for (int i = 0; i < longNames - 2; ++i)
        memory.remove(longPath(i));
    EXPECT_EQ(longNames - 2U, log->take().size());
    for (int i = 0; i < longNames - 2; ++i)
        memory.mkdir(longPath(i));
    static_cast<void>(log->take());
    for (int i = 0; i < longNames; ++i)
        memory.remove(longPath(i));
    EXPECT_THAT(log->take(), ElementsAre(""));
    write("/user/a/x", "2");
    EXPECT_THAT(log->take(), ElementsAre("a/x"));
}

TEST_F(Changes, NameEverythingIfTheWrittenPathsAreTooLong) {
    for (int i = 0; i < longNames; ++i)
        memory.mkdir(longPath(i));
    EXPECT_THAT(log->take(), ElementsAre(""));
    write("/user/a/x", "2");
    EXPECT_THAT(log->take(), ElementsAre("a/x"));
}

TEST_F(Changes, NameEverythingWhenTheDirectoryIsRemovedOrReplaced) {
    memory.remove(QStringLiteral("/user"));
    EXPECT_THAT(log->take(), ElementsAre(""));
    memory.mkdir(QStringLiteral("/user"));
    EXPECT_THAT(log->take(), ElementsAre(""));
}

TEST_F(Changes, NameALoadedTree) {
    write("/temp/saved", "");
    FileHandle* handle = nullptr;
    memory.open(QStringLiteral("/temp/saved"), &handle, RAMFileSystem::MODE_WRITE);
    ASSERT_TRUE(memory.serialize(QStringLiteral("/user/a"), *handle));
    memory.close(handle);
    memory.open(QStringLiteral("/temp/saved"), &handle, RAMFileSystem::MODE_READ);
    memory.unserialize(QStringLiteral("/user/a"), *handle);
    EXPECT_THAT(log->take(), ElementsAre("a"));
}

TEST_F(Changes, OutsideTheDirectoryAreLeftOut) {
    write("/temp/x", "1");
    EXPECT_EQ(0, wakes);
    write("/user/a/x", "1");
    write("/temp/y", "1");
    memory.remove(QStringLiteral("/temp/x"));
    EXPECT_THAT(log->take(), ElementsAre("a/x"));
}

TEST_F(Changes, AreInTheOrderOfAWalk) {
    memory.mkdir(QStringLiteral("/user/a-b"));
    static_cast<void>(log->take());
    write("/user/a-b/x", "1");
    write("/user/a/x", "1");
    EXPECT_THAT(log->take(), ElementsAre("a/x", "a-b/x"));
}

TEST_F(Changes, WakeOnceUntilTheyAreTaken) {
    write("/user/a/x", "1");
    write("/user/a/y", "1");
    EXPECT_EQ(1, wakes);
    static_cast<void>(log->take());
    memory.remove(QStringLiteral("/user/a"));
    EXPECT_EQ(2, wakes);
}

TEST_F(Changes, AreRecordedByOneLogAtATime) {
    EXPECT_THROW(ChangeLog(memory, "user", [] {}), utils::Exception);
    log.reset();
    write("/user/a/x", "1");
    ChangeLog again(memory, "user", [] {});
    EXPECT_THAT(again.take(), IsEmpty());
}

TEST_F(Changes, RequireAnExistingDirectory) {
    log.reset();
    EXPECT_THROW(ChangeLog(memory, "missing", [] {}), utils::Exception);
}
