// SPDX-License-Identifier: Apache-2.0
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <boost/thread/locks.hpp>
#include <gtest/gtest.h>

#include "register/RegisterFile.h"
#include "register/Scopes.h"
#include "support/Failure.h"
#include "support/RegisterProbe.h"
#include "support/TemporaryDirectory.h"

using filesystem::FileHandle;
using filesystem::FileSystem;
using support::failure;
using support::lockIsFree;
using support::RegisterProbe;
using support::TemporaryDirectory;

namespace {

/** The number of file-system calls of an operation during which the lock was held or free. */
struct Observed {
    int held = 0;
    int free = 0;
};

Observed observe(RegisterProbe& settings, std::function<void()> const& operation) {
    Observed observed;
    settings.onCall = [&observed](std::string const&) { ++(lockIsFree() ? observed.free : observed.held); };
    operation();
    settings.onCall = nullptr;
    return observed;
}

void expectLocked(RegisterProbe& settings, std::function<void()> const& operation) {
    Observed const observed = observe(settings, operation);
    EXPECT_LT(0, observed.held);
    EXPECT_EQ(0, observed.free);
    EXPECT_TRUE(lockIsFree());
}

void expectUnlocked(RegisterProbe& settings, std::function<void()> const& operation) {
    Observed const observed = observe(settings, operation);
    EXPECT_EQ(0, observed.held);
    EXPECT_LT(0, observed.free);
    EXPECT_TRUE(lockIsFree());
}

} // namespace

TEST(Lock, IsHeldByAddProperty) {
    RegisterProbe settings;
    expectLocked(settings, [&] { settings.addProperty("g/x", SCOPE_USER); });
}

TEST(Lock, IsHeldByDelProperty) {
    RegisterProbe settings;
    settings.addProperty("g/x", SCOPE_USER);
    expectLocked(settings, [&] { settings.delProperty("g/x", SCOPE_USER); });
}

TEST(Lock, IsHeldByGroupExists) {
    RegisterProbe settings;
    expectLocked(settings, [&] { (void)settings.groupExists("g", SCOPE_USER); });
    expectLocked(settings, [&] { (void)settings.groupExists("g"); });
}

TEST(Lock, IsHeldByPropertyExists) {
    RegisterProbe settings;
    expectLocked(settings, [&] { (void)settings.propertyExists("x", SCOPE_USER); });
    expectLocked(settings, [&] { (void)settings.propertyExists("x"); });
}

TEST(Lock, IsHeldByOpenProperty) {
    RegisterProbe settings;
    settings.addProperty("g/x", SCOPE_USER);
    FileHandle* handle = nullptr;
    expectLocked(settings, [&] { handle = settings.openProperty("g/x", FileSystem::MODE_READ, SCOPE_USER); });
    ASSERT_NE(nullptr, handle);
    settings.closeProperty(*handle);
}

TEST(Lock, IsHeldByReadPropertyType) {
    RegisterProbe settings;
    settings.store("/temp/x", "LI");
    auto element = utils::properties::TYPE_STRING;
    expectLocked(settings, [&] { (void)settings.readPropertyType("x", &element); });
}

TEST(Lock, IsNotTakenByAddGroup) {
    RegisterProbe settings;
    expectUnlocked(settings, [&] { settings.addGroup("a/b", SCOPE_USER); });
}

TEST(Lock, IsNotTakenByPropertyList) {
    RegisterProbe settings;
    expectUnlocked(settings, [&] { (void)settings.propertyList("", SCOPE_USER); });
}

TEST(Lock, IsNotTakenByCloseProperty) {
    RegisterProbe settings;
    settings.addProperty("x", SCOPE_USER);
    FileHandle* const handle = settings.openProperty("x", FileSystem::MODE_READ, SCOPE_USER);
    ASSERT_NE(nullptr, handle);
    expectUnlocked(settings, [&] { settings.closeProperty(*handle); });
}

TEST(Lock, IsNotTakenByLocateProperty) {
    RegisterProbe settings;
    settings.addProperty("x", SCOPE_TEMPORARY);
    expectUnlocked(settings, [&] { (void)settings._locateProperty("x"); });
}

TEST(Lock, IsNotTakenBySave) {
    TemporaryDirectory const directory;
    RegisterProbe settings;
    RegisterProbe::_UserRegisterPath = directory.string();
    expectUnlocked(settings, [&] { settings.save(); });
}

TEST(Lock, IsNotTakenByLoad) {
    TemporaryDirectory const directory;
    saveInteger(directory.string(), "x", 1);
    RegisterProbe settings;
    RegisterProbe::_UserRegisterPath = directory.string();
    expectUnlocked(settings, [&] { settings.load(); });
}

TEST(Lock, IsFreeAfterAnExceptionOfTheFileSystem) {
    RegisterProbe settings;
    auto const failing = [&](char const* call, std::function<void()> const& operation) {
        settings.failCall(call);
        EXPECT_EQ("std: " + std::string(call) + " fails", failure(operation));
        EXPECT_TRUE(lockIsFree()) << call;
    };
    failing("open", [&] { settings.addProperty("x", SCOPE_USER); });
    failing("close", [&] { settings.addProperty("x", SCOPE_USER); });
    failing("remove", [&] { settings.delProperty("x", SCOPE_USER); });
    failing("isDirectory", [&] { (void)settings.groupExists("g", SCOPE_USER); });
    failing("isDirectory", [&] { (void)settings.groupExists("g"); });
    failing("exists", [&] { (void)settings.propertyExists("x", SCOPE_USER); });
    failing("exists", [&] { (void)settings.propertyExists("x"); });
    failing("open", [&] { (void)settings.openProperty("x", FileSystem::MODE_READ, SCOPE_USER); });
    failing("readByte", [&] { (void)settings.readPropertyType("x", nullptr); });
}

TEST(Lock, IsFreeAfterAnExceptionOfTheRegister) {
    RegisterProbe settings;
    EXPECT_EQ("PropertyNotFound", failure([&] { (void)settings.readPropertyType("x", nullptr); }));
    EXPECT_TRUE(lockIsFree());
    EXPECT_NE("nothing",
              failure([&] { (void)settings.openProperty("g/x", FileSystem::MODE_READ, SCOPE_USER); }));
    EXPECT_TRUE(lockIsFree());
    EXPECT_NE("nothing",
              failure([&] { (void)settings.openProperty("x", FileSystem::MODE_READ, SCOPE_USER); }));
    EXPECT_TRUE(lockIsFree());
}

TEST(Lock, IsStillHeldByACallerThatHeldItBefore) {
    RegisterProbe settings;
    boost::unique_lock<boost::recursive_mutex> held(*RegisterProbe::_mutex);
    settings.addProperty("x", SCOPE_USER);
    EXPECT_TRUE(settings.propertyExists("x"));
    EXPECT_FALSE(lockIsFree());
    held.unlock();
    EXPECT_TRUE(lockIsFree());
}

TEST(BadScope, IsRefusedByEveryOperationWithoutLeavingALock) {
    RegisterProbe settings;
    for (int const value : {3, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        auto const scope = static_cast<RegisterScope>(value);
        std::vector<std::function<void()>> const operations = {
            [&] { settings.addGroup("g", scope); },
            [&] { settings.addProperty("x", scope); },
            [&] { settings.delProperty("x", scope); },
            [&] { (void)settings.groupExists("g", scope); },
            [&] { (void)settings.propertyExists("x", scope); },
            [&] { (void)settings.propertyList("g", scope); },
            [&] { (void)settings.openProperty("x", FileSystem::MODE_READ, scope); },
        };
        for (auto const& operation : operations) {
            EXPECT_EQ("Bad scope value.", failure(operation));
            EXPECT_TRUE(lockIsFree());
        }
    }
}

TEST(BadScope, IsRefusedBeforeTheTreeIsTouched) {
    RegisterProbe settings;
    EXPECT_EQ("Bad scope value.", failure([&] { settings.addGroup("g", badScope); }));
    EXPECT_EQ("Bad scope value.", failure([&] { settings.addProperty("x", badScope); }));
    EXPECT_EQ("Bad scope value.", failure([&] { settings.delProperty("x", badScope); }));
    EXPECT_EQ("Bad scope value.", failure([&] { (void)settings.propertyList("g", badScope); }));
    EXPECT_EQ(Calls{}, settings.takeCalls());
}

TEST(BadScope, IsRefusedBeforeTheLockIsTaken) {
    RegisterProbe settings;
    boost::unique_lock<boost::recursive_mutex> const held(*RegisterProbe::_mutex);
    std::string added;
    std::string deleted;
    std::thread([&] {
        added = failure([&] { settings.addProperty("x", badScope); });
        deleted = failure([&] { settings.delProperty("x", badScope); });
    }).join();
    EXPECT_EQ("Bad scope value.", added);
    EXPECT_EQ("Bad scope value.", deleted);
}
