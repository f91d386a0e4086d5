// SPDX-License-Identifier: Apache-2.0
//
// A program with an fsync of its own, to see what threads hold while they wait for the disk.

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <utils/properties/Register.h>
#include <velmorand/Initialize.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Lock.h>
#include <velmorand/Property.h>
#include <velmorand/Save.h>

#include "support/RegisterProbe.h"
#include "support/TemporaryDirectory.h"

using namespace velmorand;

namespace {

std::atomic<int> flushes{0};
std::atomic<int> flushesUnderTheLock{0};
std::function<void()> whenFlushed; // set while only one thread flushes

} // namespace

extern "C" int fsync(int file) {
    ++flushes;
    if (!support::lockIsFree())
        ++flushesUnderTheLock;
    if (whenFlushed)
        whenFlushed();
    return static_cast<int>(::syscall(SYS_fsync, file));
}

TEST(WaitingForTheDisk, IsDoneWithoutTheLockByASave) {
    support::TemporaryDirectory const directory;
    initialize("", directory.string());
    write("a/x", 1);
    flushes = 0;
    flushesUnderTheLock = 0;
    ASSERT_TRUE(saveSettings().saved);
    EXPECT_LT(0, flushes);
    EXPECT_EQ(0, flushesUnderTheLock);
}

TEST(WaitingForTheDisk, IsDoneWithoutTheLockByLiveSettings) {
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
