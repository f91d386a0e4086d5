// SPDX-License-Identifier: Apache-2.0
//
// Threads that wait for the disk must not hold the lock. The program replaces fsync to check this.

#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <utils/properties/Register.h>
#include <velmorand/Initialize.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Lock.h>
#include <velmorand/Property.h>
#include <velmorand/Save.h>

#include "support/RegisterProbe.h"
#include "support/StillThreads.h"
#include "support/TemporaryDirectory.h"

using namespace velmorand;

namespace {

std::atomic<int> flushes{0};
std::atomic<bool> areDirectoriesBroken{false};
std::atomic<int> failures{0};
std::atomic<int> flushesUnderTheLock{0};
std::function<void()> whenFlushed; // set while only one thread flushes

} // namespace

extern "C" int fsync(int file) {
    ++flushes;
    if (!support::lockIsFree())
        ++flushesUnderTheLock;
    if (whenFlushed)
        whenFlushed();
    struct stat status = {};
    if (areDirectoriesBroken && ::fstat(file, &status) == 0 && S_ISDIR(status.st_mode)) {
        ++failures;
        errno = EIO;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_fsync, file));
}

TEST(WaitingForTheDisk, ByASaveDoesNotHoldTheLock) {
    support::TemporaryDirectory const directory;
    initialize("", directory.string());
    write("a/x", 1);
    flushes = 0;
    flushesUnderTheLock = 0;
    ASSERT_TRUE(saveSettings().saved);
    EXPECT_LT(0, flushes);
    EXPECT_EQ(0, flushesUnderTheLock);
}

TEST(WaitingForTheDisk, ByLiveSettingsDoesNotHoldTheLock) {
    support::TemporaryDirectory const directory;
    LiveOptions options;
    options.userDirectory = directory.string();
    options.globalDirectory = directory.string();
    options.delay = std::chrono::hours(1);
    LiveSettings live(options);
    write("a/x", 1);
    flushes = 0;
    ASSERT_TRUE(live.sync().saved);
    EXPECT_LT(0, flushes);
    EXPECT_EQ(0, flushesUnderTheLock);
}

TEST(WaitingForTheDisk, DoesNotDelayAReaderEvenIfTheLockIsHeld) {
    support::TemporaryDirectory const directory;
    initialize("", directory.string());
    Property<int> const width{"a/width", -1};
    width.set(1);
    ASSERT_EQ(1, width.get());
    int read = 0;
    whenFlushed = [&] { std::thread([&] { read = width.get(); }).join(); };
    {
        Lock const lock;
        utils::properties::_Register::getInstance()->save();
    }
    whenFlushed = nullptr;
    EXPECT_EQ(1, read);
}

TEST(SavingAgain, SavesAChangeBackToTheValueBeforeAFailedSave) {
    support::TemporaryDirectory const directory;
    LiveOptions options;
    options.userDirectory = directory.string();
    options.globalDirectory = directory.string() + "/global";
    options.delay = std::chrono::hours(1);
    options.onEvent = [](LiveEvent const&) {};
    LiveSettings live(options);
    write("a/x", 1);
    ASSERT_TRUE(live.sync().saved);
    areDirectoriesBroken = true;
    write("a/x", 2);
    ASSERT_FALSE(live.sync().saved);
    EXPECT_FALSE(live.isSaved());
    areDirectoriesBroken = false;
    write("a/x", 1);
    EXPECT_TRUE(live.sync().saved);
    EXPECT_TRUE(live.isSaved());
    EXPECT_EQ(1, read<int>("a/x"));
}

// The file watch notices that the file was replaced, but must not trigger an immediate retry.
TEST(SavingAgain, IsDelayedEvenIfTheFailedSaveReplacedTheFile) {
    using Clock = std::chrono::steady_clock;
    support::TemporaryDirectory const directory;
    LiveOptions options;
    options.userDirectory = directory.string();
    options.globalDirectory = directory.string() + "/global";
    options.delay = std::chrono::milliseconds(1);
    options.onEvent = [](LiveEvent const&) {};
    LiveSettings const live(options);
    support::waitUntilAnotherThreadIsStill(); // the watch has begun
    areDirectoriesBroken = true;
    auto const begin = Clock::now();
    write("a/x", 1);
    while (failures < 3)
        std::this_thread::yield();
    EXPECT_LE(std::chrono::milliseconds(1500), Clock::now() - begin); // the delays are 500 ms and 1000 ms
    EXPECT_FALSE(live.isSaved());
    areDirectoriesBroken = false;
}
