// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem/Direct.h>
#include <filesystem/EntryNotice.h>
#include <filesystem/RAMFileSystem.h>
#include <filesystem/TreeImage.h>

namespace {

using filesystem::FileHandle;
using filesystem::RAMFileSystem;
using filesystem::direct::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> noticed;

void note(std::string_view name) {
    noticed.emplace_back(name);
}

void refuse(std::string_view /*name*/) {
    throw std::bad_alloc();
}

class EntryNotice : public testing::Test {
protected:
    EntryNotice() {
        memory.mkdir(QStringLiteral("/user"));
        memory.mkdir(QStringLiteral("/user/a"));
        filesystem::noticeEntries(memory, note);
    }

    /** The names noticed since the last call. */
    static std::vector<std::string> names() { return std::exchange(noticed, {}); }

    void makeFile(char const* path) {
        FileHandle* file = nullptr;
        memory.open(QString::fromUtf8(path), &file, RAMFileSystem::MODE_WRITE);
        memory.close(file);
    }

    [[nodiscard]] bool exists(std::string_view path) const {
        return filesystem::direct::find(memory, {"user"}, path).kind != Kind::none;
    }

    std::unique_ptr<RAMFileSystem> const owned = std::make_unique<RAMFileSystem>();
    RAMFileSystem& memory = *owned;
};

} // namespace

TEST_F(EntryNotice, IsGivenForAFileAndADirectory) {
    memory.mkdir(QStringLiteral("/user/b"));
    makeFile("/user/c");
    EXPECT_THAT(names(), ElementsAre("b", "c"));
}

TEST_F(EntryNotice, IsGivenInEveryFirstLevelDirectory) {
    memory.mkdir(QStringLiteral("/temp"));
    memory.mkdir(QStringLiteral("/temp/b"));
    EXPECT_THAT(names(), ElementsAre("b"));
}

TEST_F(EntryNotice, IsGivenForDirectChanges) {
    ASSERT_NE(nullptr, filesystem::direct::rewrite(memory, "user", "b", 1));
    ASSERT_NE(nullptr, filesystem::direct::make(memory, "user", "c/d", "c/d/x", 1));
    ASSERT_TRUE(filesystem::direct::makeDirectories(memory, "user", "e/f"));
    EXPECT_THAT(names(), ElementsAre("b", "c", "e"));
}

TEST_F(EntryNotice, GivesTheNameAsStoredInTheTree) {
    ASSERT_NE(nullptr, filesystem::direct::make(memory, "user", "//b/", "//b//x", 1));
    EXPECT_THAT(names(), ElementsAre("b"));
}

TEST_F(EntryNotice, IsNotGivenOnOtherLevels) {
    memory.mkdir(QStringLiteral("/temp"));
    memory.mkdir(QStringLiteral("/user/a/b"));
    makeFile("/user/a/x");
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(EntryNotice, IsNotGivenForARewrittenFile) {
    makeFile("/user/x");
    names();
    makeFile("/user/x");
    ASSERT_NE(nullptr, filesystem::direct::rewrite(memory, "user", "x", 1));
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(EntryNotice, IsGivenAgainAfterARemoval) {
    memory.remove(QStringLiteral("/user/a"));
    EXPECT_THAT(names(), IsEmpty());
    memory.mkdir(QStringLiteral("/user/a"));
    EXPECT_THAT(names(), ElementsAre("a"));
}

TEST_F(EntryNotice, IsGivenBeforeTheEntryExists) {
    static RAMFileSystem const* watched = nullptr;
    static bool wasThere = true;
    watched = &memory;
    filesystem::noticeEntries(memory, [](std::string_view name) {
        wasThere = filesystem::direct::find(*watched, {"user"}, name).kind != Kind::none;
    });
    memory.mkdir(QStringLiteral("/user/b"));
    EXPECT_FALSE(wasThere);
}

TEST_F(EntryNotice, IsGivenForEveryEntryThatReplacesADirectory) {
    makeFile("/user/a/x");
    makeFile("/user/y");
    auto const image = filesystem::TreeImage::of(memory, "/user");
    names();
    image.putInto(memory, "/user");
    EXPECT_THAT(names(), ElementsAre("a", "y"));
    image.putInto(memory, "/temp");
    EXPECT_THAT(names(), ElementsAre("a", "y"));
    image.putInto(memory, "/temp/b");
    EXPECT_THAT(names(), ElementsAre("b"));
    image.putInto(memory, "/temp/b/c");
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(EntryNotice, IsGivenForEveryEntryThatReplacesTheTree) {
    makeFile("/user/a/x");
    makeFile("/file");
    memory.mkdir(QStringLiteral("/temp"));
    makeFile("/temp/y");
    auto const image = filesystem::TreeImage::of(memory, "/");
    names();
    image.putInto(memory, "/");
    EXPECT_THAT(names(), testing::UnorderedElementsAre("a", "y"));
}

TEST_F(EntryNotice, ThatThrowsPreventsTheEntry) {
    auto const image = filesystem::TreeImage::of(memory, "/user");
    memory.remove(QStringLiteral("/user/a"));
    filesystem::noticeEntries(memory, refuse);
    EXPECT_THROW(memory.mkdir(QStringLiteral("/user/b")), std::bad_alloc);
    EXPECT_THROW(makeFile("/user/b"), std::bad_alloc);
    EXPECT_THROW(static_cast<void>(filesystem::direct::make(memory, "new", "b", "b/x", 1)), std::bad_alloc);
    EXPECT_THROW(image.putInto(memory, "/user"), std::bad_alloc);
    EXPECT_THROW(image.putInto(memory, "/user/b"), std::bad_alloc);
    EXPECT_FALSE(exists("a"));
    EXPECT_FALSE(exists("b"));
    EXPECT_FALSE(memory.exists(QStringLiteral("/new")));
}

TEST_F(EntryNotice, MayBeNull) {
    filesystem::noticeEntries(memory, nullptr);
    memory.mkdir(QStringLiteral("/user/b"));
    EXPECT_THAT(names(), IsEmpty());
}
