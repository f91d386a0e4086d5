// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>

#include <poll.h>
#include <sys/resource.h>

#include <filesystem/FileWatch.h>

#include "DiskSupport.h"

namespace {

using namespace support;
using filesystem::FileWatch;
namespace disk = std::filesystem;

/** A watch of an existing file, "directory/file". Events are available as soon as the call that causes them returns. */
class Watching : public OnDisk {
protected:
    Watching() {
        disk::create_directory(folder);
        putFile(file, "first");
    }

    void watch(std::vector<std::string> const& paths) {
        changes.emplace(paths);
        EXPECT_TRUE(changes->isWatching());
    }

    /** Whether the watch notices the effect of an action. */
    bool notices(std::function<void()> const& action) {
        EXPECT_FALSE(isReadable()) << "before the action";
        action();
        bool const isNoticed = isReadable() && changes->takeEvents();
        EXPECT_FALSE(changes->takeEvents()) << "taken again";
        return isNoticed;
    }

    [[nodiscard]] bool isReadable() const {
        ::pollfd waiting{changes->descriptor(), POLLIN, 0};
        return ::poll(&waiting, 1, 0) > 0;
    }

    /** Replaces a file as a save does. */
    void replace(std::string const& path) const {
        putFile(at("new"), "other");
        disk::rename(at("new"), path);
    }

    std::string folder = at("directory");
    std::string file = at("directory/file");
    std::optional<FileWatch> changes;
};

/** The maximum length of the queue of events; 0 if unknown. */
int mostEvents() {
    int most = 0;
    std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> most;
    return most;
}

} // namespace

TEST_F(Watching, NoticesThatTheFileIsReplaced) {
    watch({file});
    EXPECT_TRUE(notices([&] { replace(file); }));
    EXPECT_TRUE(notices([&] { replace(file); }));
}

TEST_F(Watching, NoticesThatTheFileIsRewrittenInPlace) {
    watch({file});
    EXPECT_TRUE(notices([&] { putFile(file, "second"); }));
}

TEST_F(Watching, NoticesThatTheFileIsRemovedAndCreatedAgain) {
    watch({file});
    EXPECT_TRUE(notices([&] { disk::remove(file); }));
    EXPECT_TRUE(notices([&] { putFile(file, "second"); }));
}

TEST_F(Watching, NoticesThatTheFileGetsOtherPermissions) {
    watch({file});
    EXPECT_TRUE(notices([&] { disk::permissions(file, disk::perms::owner_read); }));
}

TEST_F(Watching, NoticesThatTheFileIsMovedAway) {
    watch({file});
    EXPECT_TRUE(notices([&] { disk::rename(file, at("elsewhere")); }));
}

TEST_F(Watching, NoticesThatAnotherFileIsLinkedAtThePath) {
    disk::remove(file);
    putFile(at("other"), "other");
    watch({file});
    EXPECT_TRUE(notices([&] { disk::create_hard_link(at("other"), file); }));
}

TEST_F(Watching, NoticesEachOfSeveralFiles) {
    watch({file, at("other/file")});
    EXPECT_TRUE(notices([&] { disk::create_directory(at("other")); }));
    EXPECT_TRUE(notices([&] { replace(at("other/file")); }));
    EXPECT_TRUE(notices([&] { replace(file); }));
}

TEST_F(Watching, NoticesThatTheDirectoryIsRemovedAndCreatedAgain) {
    watch({file});
    EXPECT_TRUE(notices([&] { disk::remove_all(folder); }));
    EXPECT_TRUE(notices([&] { disk::create_directory(folder); }));
    EXPECT_TRUE(notices([&] { putFile(file, "second"); }));
}

TEST_F(Watching, NoticesThatTheDirectoryIsReplaced) {
    disk::create_directory(at("other"));
    putFile(at("other/file"), "other");
    watch({file});
    EXPECT_TRUE(notices([&] {
        disk::rename(folder, at("old"));
        disk::rename(at("other"), folder);
    }));
    EXPECT_TRUE(notices([&] { replace(file); }));
    EXPECT_FALSE(notices([&] { replace(at("old/file")); }));
}

TEST_F(Watching, NoticesThatAnOuterDirectoryIsMoved) {
    watch({file});
    EXPECT_TRUE(notices([&] { disk::rename(directory.path(), directory.string() + "-moved"); }));
    EXPECT_TRUE(notices([&] { disk::rename(directory.string() + "-moved", directory.path()); }));
}

TEST_F(Watching, WaitsForDirectoriesThatDoNotExistYet) {
    watch({at("a/b/file")});
    EXPECT_TRUE(notices([&] { disk::create_directory(at("a")); }));
    EXPECT_TRUE(notices([&] { disk::create_directory(at("a/b")); }));
    EXPECT_TRUE(notices([&] { putFile(at("a/b/file"), "first"); }));
}

TEST_F(Watching, WaitsForADirectoryInPlaceOfAFile) {
    putFile(at("a"), "in the way");
    watch({at("a/file")});
    EXPECT_TRUE(notices([&] { disk::remove(at("a")); }));
    EXPECT_TRUE(notices([&] { disk::create_directory(at("a")); }));
    EXPECT_TRUE(notices([&] { putFile(at("a/file"), "first"); }));
}

TEST_F(Watching, FollowsALinkToTheFile) {
    disk::create_symlink("directory/file", at("link"));
    watch({at("link")});
    EXPECT_TRUE(notices([&] { replace(file); }));
    EXPECT_TRUE(notices([&] { putFile(file, "second"); }));
}

TEST_F(Watching, NoticesThatALinkToTheFileIsRepointed) {
    putFile(at("other"), "other");
    disk::create_symlink("directory/file", at("link"));
    watch({at("link")});
    EXPECT_TRUE(notices([&] {
        disk::create_symlink("other", at("next"));
        disk::rename(at("next"), at("link"));
    }));
    EXPECT_TRUE(notices([&] { replace(at("other")); }));
    EXPECT_FALSE(notices([&] { replace(file); }));
}

TEST_F(Watching, FollowsALinkThatReplacesTheFile) {
    putFile(at("other"), "other");
    watch({file});
    EXPECT_TRUE(notices([&] {
        disk::create_symlink("../other", at("next"));
        disk::rename(at("next"), file);
    }));
    EXPECT_TRUE(notices([&] { replace(at("other")); }));
}

TEST_F(Watching, NoticesThatALinkToTheDirectoryIsRepointed) {
    disk::create_directory(at("other"));
    disk::create_symlink("directory", at("link"));
    watch({at("link/file")});
    EXPECT_TRUE(notices([&] { replace(file); }));
    EXPECT_TRUE(notices([&] {
        disk::create_symlink("other", at("next"));
        disk::rename(at("next"), at("link"));
    }));
    EXPECT_TRUE(notices([&] { replace(at("other/file")); }));
    EXPECT_FALSE(notices([&] { replace(file); }));
}

TEST_F(Watching, WaitsForTheTargetOfADanglingLink) {
    disk::create_symlink("missing/file", at("link"));
    watch({at("link")});
    EXPECT_TRUE(notices([&] { disk::create_directory(at("missing")); }));
    EXPECT_TRUE(notices([&] { putFile(at("missing/file"), "first"); }));
}

TEST_F(Watching, GivesUpOnCyclicLinks) {
    disk::create_symlink("two", at("one"));
    disk::create_symlink("one", at("two"));
    watch({at("one/file")});
    EXPECT_TRUE(notices([&] {
        disk::create_symlink("directory", at("next"));
        disk::rename(at("next"), at("one"));
    }));
    EXPECT_TRUE(notices([&] { replace(file); }));
}

TEST_F(Watching, IgnoresNeighbours) {
    watch({file});
    EXPECT_FALSE(notices([&] {
        replace(at("directory/file.previous"));
        putFile(at("directory/neighbour"), "new");
        disk::remove(at("directory/neighbour"));
        disk::create_directory(at("directory/file-directory"));
        disk::create_directory(at("beside"));
        putFile(at("beside/file"), "new");
        disk::remove_all(at("beside"));
    }));
}

TEST_F(Watching, IgnoresReading) {
    watch({file});
    EXPECT_FALSE(notices([&] { EXPECT_EQ("first", fileBytes(file)); }));
}

TEST_F(Watching, TreatsLostEventsAsAChange) {
    int const most = mostEvents();
    if (most == 0 || most > 200'000)
        GTEST_SKIP() << "a queue of " << most << " events is too long to fill";
    watch({file});
    EXPECT_TRUE(notices([&] {
        for (int i = 0; i <= most / 2; ++i) {
            putFile(at("directory/neighbour"), "new");
            disk::remove(at("directory/neighbour"));
        }
    }));
    EXPECT_FALSE(notices([&] { putFile(at("directory/neighbour"), "new"); }));
    EXPECT_TRUE(notices([&] { replace(file); }));
}

TEST_F(Watching, ReportsADirectoryThatMayNotBeWatched) {
    ASSERT_EQ(0, ::chmod(folder.c_str(), 0333));
    EXPECT_EQ(0, asOrdinaryUser(directory, [&] {
                  FileWatch const blind({file});
                  EXPECT_FALSE(blind.isWatching());
                  EXPECT_EQ(EACCES, errno);
              }));
}

TEST_F(Watching, WatchesBelowADirectoryThatMayNotBeRead) {
    ASSERT_EQ(0, ::chmod(folder.c_str(), 0333));
    disk::create_directory(at("directory/inner"));
    EXPECT_EQ(0, asOrdinaryUser(directory, [&] { watch({at("directory/inner/file")}); }));
}

TEST_F(Watching, ReportsThatNoDescriptorIsLeft) {
    // Without descriptors, a sanitizer cannot examine the test's members or look for leaks at the exit.
    auto const watch = [watched = file] {
        struct rlimit const none = {0, 0};
        ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &none));
        FileWatch blind({watched});
        EXPECT_FALSE(blind.isWatching());
        EXPECT_EQ(EMFILE, errno);
        EXPECT_FALSE(blind.takeEvents());
    };
    EXPECT_EQ(0, inChild(watch, support::Leave::atOnce));
}
