// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>

#include <fcntl.h>

#include <filesystem/PrivateDirectory.h>

#include "DiskSupport.h"

namespace {

using namespace support;
using namespace std::chrono_literals;
using filesystem::DirectoryLock;
using filesystem::makePrivateDirectories;
using Outcome = DirectoryLock::Outcome;

constexpr auto atOnce = 0ms;
constexpr auto longEnough = 100s; // a limit that no wait reaches

using PrivateDirectories = OnDisk;

/** A temporary directory that is not locked. */
class Locking : public OnDisk {
protected:
    Locking() { std::filesystem::create_directory(path); }

    std::string path = at("locked");
    DirectoryLock lock;
};

} // namespace

TEST_F(PrivateDirectories, AreCreatedForTheUserOnly) {
    ::umask(022);
    EXPECT_TRUE(makePrivateDirectories(at("a/b/c")));
    for (char const* const made : {"a", "a/b", "a/b/c"})
        EXPECT_EQ(0700U, permissions(at(made))) << made;
}

TEST_F(PrivateDirectories, ThatExistKeepTheirMode) {
    std::filesystem::create_directory(at("a"));
    ASSERT_EQ(0, ::chmod(at("a").c_str(), 0755));
    EXPECT_TRUE(makePrivateDirectories(at("a/b")));
    EXPECT_TRUE(makePrivateDirectories(at("a")));
    EXPECT_EQ(0755U, permissions(at("a")));
}

TEST_F(PrivateDirectories, MayBeGivenWithFurtherSlashes) {
    EXPECT_TRUE(makePrivateDirectories(at("a//b/")));
    EXPECT_TRUE(std::filesystem::is_directory(at("a/b")));
}

TEST_F(PrivateDirectories, DoNotReplaceAFile) {
    putFile(at("a"), "content");
    EXPECT_FALSE(makePrivateDirectories(at("a/b")));
    EXPECT_EQ(ENOTDIR, errno);
    EXPECT_EQ("content", fileBytes(at("a")));
}

TEST_F(Locking, ExcludesOtherHolders) {
    ASSERT_EQ(Outcome::taken, lock.take(path, atOnce));
    EXPECT_TRUE(lock.isHeld());
    DirectoryLock other;
    EXPECT_EQ(Outcome::timedOut, other.take(path, atOnce));
    EXPECT_FALSE(other.isHeld());
}

TEST_F(Locking, ExcludesOtherProcesses) {
    ASSERT_EQ(Outcome::taken, lock.take(path, atOnce));
    EXPECT_EQ(0, inChild(
                     [&] {
                         DirectoryLock other;
                         EXPECT_EQ(Outcome::timedOut, other.take(path, atOnce));
                     },
                     Leave::atOnce));
}

TEST_F(Locking, DoesNotAffectOtherDirectories) {
    ASSERT_EQ(Outcome::taken, lock.take(path, atOnce));
    DirectoryLock other;
    EXPECT_EQ(Outcome::taken, other.take(directory.string(), atOnce));
}

TEST_F(Locking, WaitsForTheWholeTimeLimit) {
    ASSERT_EQ(Outcome::taken, lock.take(path, atOnce));
    DirectoryLock other;
    auto const begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Outcome::timedOut, other.take(path, 20ms));
    EXPECT_LE(20ms, std::chrono::steady_clock::now() - begin);
}

TEST_F(Locking, EndsWithTheObject) {
    {
        DirectoryLock first;
        ASSERT_EQ(Outcome::taken, first.take(path, atOnce));
    }
    EXPECT_EQ(Outcome::taken, lock.take(path, atOnce));
}

TEST_F(Locking, EndsWithTheProcess) {
    ASSERT_EQ(0, inChild([&] {
                  DirectoryLock left;
                  EXPECT_EQ(Outcome::taken, left.take(path, atOnce));
                  ::_exit(HasFailure() ? 1 : 0);
              }));
    EXPECT_EQ(Outcome::taken, lock.take(path, atOnce));
}

TEST_F(Locking, EndsEvenIfAForkedChildHasTheDirectoryOpen) {
    auto first = std::make_unique<DirectoryLock>();
    ASSERT_EQ(Outcome::taken, first->take(path, atOnce));
    std::array<int, 2> pipe{};
    ASSERT_EQ(0, ::pipe(pipe.data()));
    ::pid_t const child = ::fork();
    if (child == 0) {
        char byte = 0;
        ::close(pipe[1]);
        ::_exit(static_cast<int>(::read(pipe[0], &byte, 1))); // when the parent closes its end
    }
    first.reset();
    EXPECT_EQ(Outcome::taken, lock.take(path, atOnce));
    ::close(pipe[1]);
    ::close(pipe[0]);
    EXPECT_EQ(child, ::waitpid(child, nullptr, 0));
}

TEST_F(Locking, PassesToAWaiterWhenItIsReleased) {
    auto first = std::make_unique<DirectoryLock>();
    ASSERT_EQ(Outcome::taken, first->take(path, atOnce));
    std::thread waiter([&] { EXPECT_EQ(Outcome::taken, lock.take(path, longEnough)); });
    first.reset();
    waiter.join();
}

TEST_F(Locking, LocksTheDirectoryThatReplacedTheOneWaitedFor) {
    DirectoryLock old;
    ASSERT_EQ(Outcome::taken, old.take(path, atOnce));
    std::filesystem::create_directory(at("other"));
    std::thread waiter([&] { EXPECT_EQ(Outcome::taken, lock.take(path, longEnough)); });
    // In one step, so that the waiting thread always finds a directory.
    EXPECT_EQ(0, ::renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, at("other").c_str(), RENAME_EXCHANGE));
    waiter.join();
    DirectoryLock other;
    EXPECT_EQ(Outcome::timedOut, other.take(path, atOnce));
    EXPECT_EQ(Outcome::timedOut, other.take(at("other"), atOnce));
}

TEST_F(Locking, OfAMissingDirectoryFails) {
    EXPECT_EQ(Outcome::failed, lock.take(at("missing"), longEnough));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_FALSE(lock.isHeld());
}

TEST_F(Locking, OfAnUnreadableDirectoryCountsAsTaken) {
    ASSERT_EQ(0, ::chmod(path.c_str(), 0333));
    EXPECT_EQ(0, asOrdinaryUser(directory, [&] { EXPECT_EQ(Outcome::taken, lock.take(path, atOnce)); }));
}
