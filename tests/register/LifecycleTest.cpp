// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <filesystem>
#include <string>
#include <thread>

#include <boost/thread/locks.hpp>
#include <gtest/gtest.h>

#include "register/FileWatch.h"
#include "register/RegisterFile.h"
#include "register/Scopes.h"
#include "support/ChildProcess.h"
#include "support/Failure.h"
#include "support/RegisterProbe.h"
#include "support/TemporaryDirectory.h"

using support::failure;
using support::inChild;
using support::lockIsFree;
using support::RegisterProbe;
using support::TemporaryDirectory;
using utils::properties::_Register;

namespace {

/** Calls `getInstance` during a change, and records the result. */
class Asker : public _Register::Callback {
public:
    void propertyChanged(std::string const& /*name*/) override { found = _Register::getInstance(); }
    void* owner() override { return this; }

    _Register* found = nullptr;
};

} // namespace

TEST(LoadedLibrary, HasInitialValuesInItsStaticMembers) {
    EXPECT_EQ("Velmorand.dat", RegisterProbe::_VL_REGISTER_NAME);
    EXPECT_EQ("/temp/", RegisterProbe::_TempRegisterPath);
    EXPECT_EQ("", RegisterProbe::_GlobalRegisterPath);
    EXPECT_EQ("", RegisterProbe::_UserRegisterPath);
    EXPECT_FALSE(RegisterProbe::_haveGlobalRegister);
}

TEST(LoadedLibrary, HasAFreeLock) {
    ASSERT_NE(nullptr, _Register::_mutex);
    EXPECT_TRUE(lockIsFree());
}

TEST(LoadedLibrary, HasARecursiveLock) {
    boost::unique_lock<boost::recursive_mutex> const outer(*_Register::_mutex);
    boost::unique_lock<boost::recursive_mutex> inner(*_Register::_mutex, boost::try_to_lock);
    ASSERT_TRUE(inner.owns_lock());
    inner.unlock();
    EXPECT_FALSE(lockIsFree());
}

TEST(Construction, CreatesTheThreeScopes) {
    RegisterProbe const settings;
    for (char const* path : {"/global", "/global/", "/user", "/user/", "/temp", "/temp/"})
        EXPECT_TRUE(settings.isDirectory(path)) << path;
    EXPECT_EQ((Names{"global", "temp", "user"}), names(settings.getFileList("/")));
}

TEST(Construction, StartsWithoutChangesAndListeners) {
    RegisterProbe const settings;
    EXPECT_TRUE(settings._changedProperties.empty());
    EXPECT_TRUE(settings._callbacks.empty());
}

TEST(GetInstance, ReturnsTheSameRegisterAgain) {
    EXPECT_EQ(0, inChild([] {
                  _Register* const first = _Register::getInstance();
                  ASSERT_NE(nullptr, first);
                  EXPECT_EQ(first, _Register::getInstance());
                  EXPECT_TRUE(lockIsFree());
              }));
}

TEST(GetInstance, BuildsTheRegisterOnceForRacingThreads) {
    TemporaryDirectory const user;
    saveInteger(user.string(), "x", 1);
    FileWatch watch(user.string(), registerFileName);
    EXPECT_EQ(0, inChild([&] {
                  RegisterProbe::_UserRegisterPath = user.string();
                  std::atomic<int> ready = 0;
                  _Register* found[2] = {nullptr, nullptr};
                  auto const race = [&](int index) {
                      ++ready;
                      while (ready != 2)
                          std::this_thread::yield();
                      found[index] = _Register::getInstance();
                  };
                  std::thread other(race, 1);
                  race(0);
                  other.join();
                  EXPECT_NE(nullptr, found[0]);
                  EXPECT_EQ(found[0], found[1]);
                  EXPECT_EQ(1, watch.readings());
              }));
    EXPECT_EQ(1, watch.replacements());
}

TEST(GetInstance, ReturnsInsideAnOperation) {
    EXPECT_EQ(0, inChild([] {
                  _Register* const settings = _Register::getInstance();
                  Asker asker;
                  settings->addCallback("x", &asker);
                  settings->_writeInteger(nullptr, "x", 1, SCOPE_TEMPORARY);
                  EXPECT_EQ(settings, asker.found);
              }));
}

TEST(GetInstance, ReturnsToACallerThatHoldsTheLock) {
    EXPECT_EQ(0, inChild([] {
                  boost::unique_lock<boost::recursive_mutex> const held(*_Register::_mutex);
                  EXPECT_NE(nullptr, _Register::getInstance());
              }));
}

TEST(GetInstance, WithoutInitializeDoesNotUseTheDisk) {
    EXPECT_EQ(0, inChild([] {
                  _Register* const settings = _Register::getInstance();
                  EXPECT_EQ(Names{}, names(settings->propertyList("", SCOPE_USER)));
                  EXPECT_EQ(Names{}, names(settings->propertyList("", SCOPE_TEMPORARY)));
                  settings->_writeInteger(nullptr, "x", 1, SCOPE_USER);
                  EXPECT_EQ("nothing", failure([&] { settings->save(); }));
              }));
}

TEST(GetInstance, ReportsAFailureToLoadAndTriesAgain) {
    TemporaryDirectory const source;
    TemporaryDirectory const user;
    saveInteger(source.string(), "x", 4);
    std::filesystem::create_directory(user / registerFileName);
    EXPECT_EQ(0, inChild([&] {
                  RegisterProbe::_UserRegisterPath = user.string();
                  for (int attempt = 0; attempt < 2; ++attempt) {
                      EXPECT_EQ("Can't open " + user.string() + "/Velmorand.dat",
                                failure([] { _Register::getInstance(); }));
                      EXPECT_TRUE(lockIsFree());
                  }
                  std::filesystem::remove(user / registerFileName);
                  std::filesystem::copy(source / registerFileName, user / registerFileName);
                  EXPECT_EQ(4, integer(*_Register::getInstance(), "x"));
              }));
    EXPECT_EQ(4, savedInteger(user.string(), "x"));
}

TEST(GetInstance, TriesAgainFromAnEmptyTree) {
    TemporaryDirectory const global;
    TemporaryDirectory const user;
    saveInteger(global.string(), "x", 4);
    std::filesystem::create_directory(user / registerFileName);
    EXPECT_EQ(0, inChild([&] {
                  EXPECT_NE("nothing",
                            failure([&] { _Register::initialize(global.string(), user.string()); }));
                  std::filesystem::remove(global / registerFileName);
                  std::filesystem::remove(user / registerFileName);
                  EXPECT_FALSE(_Register::getInstance()->propertyExists("x"));
              }));
}
