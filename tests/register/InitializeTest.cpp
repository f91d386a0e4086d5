// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <string>

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

/** The two directories that an application passes. */
struct Directories {
    TemporaryDirectory global;
    TemporaryDirectory user;

    void initialize() const { _Register::initialize(global.string(), user.string()); }
};

std::string text(std::string const& name) {
    std::string value;
    _Register::getInstance()->_readString(name, value);
    return value;
}

/** Removes the register file when notified, and records the change and whether the file existed. */
class FileRemover : public _Register::Callback {
public:
    explicit FileRemover(std::filesystem::path file) : _file(std::move(file)) {}

    void propertyChanged(std::string const& name) override {
        seen.push_back(name + (std::filesystem::remove(_file) ? " saved" : " missing"));
    }
    void* owner() override { return this; }

    Names seen;

private:
    std::filesystem::path _file;
};

} // namespace

TEST(Initialize, RecordsBothDirectoriesInTheTemporaryScope) {
    Directories const directories;
    EXPECT_EQ(0, inChild([&] {
                  directories.initialize();
                  EXPECT_EQ(directories.user.string(), text("UserDataPath"));
                  EXPECT_EQ(directories.global.string(), text("GlobalDataPath"));
                  EXPECT_EQ((Names{"GlobalDataPath", "UserDataPath"}),
                            names(_Register::getInstance()->propertyList("", SCOPE_TEMPORARY)));
              }));
}

TEST(Initialize, LeavesTheOtherScopesEmptyWithoutRegisterFiles) {
    Directories const directories;
    EXPECT_EQ(0, inChild([&] {
                  directories.initialize();
                  EXPECT_EQ(Names{}, names(_Register::getInstance()->propertyList("", SCOPE_GLOBAL)));
                  EXPECT_EQ(Names{}, names(_Register::getInstance()->propertyList("", SCOPE_USER)));
              }));
}

TEST(Initialize, SetsThePaths) {
    Directories const directories;
    EXPECT_EQ(0, inChild([&] {
                  directories.initialize();
                  EXPECT_EQ(directories.global.string(), RegisterProbe::_GlobalRegisterPath);
                  EXPECT_EQ(directories.user.string(), RegisterProbe::_UserRegisterPath);
                  EXPECT_TRUE(RegisterProbe::_haveGlobalRegister);
                  EXPECT_TRUE(lockIsFree());
              }));
}

TEST(Initialize, LoadsBothFiles) {
    Directories const directories;
    saveInteger(directories.global.string(), "of the system", 1);
    saveInteger(directories.user.string(), "of the user", 2);
    EXPECT_EQ(0, inChild([&] {
                  directories.initialize();
                  EXPECT_EQ(1, integer(*_Register::getInstance(), "of the system"));
                  EXPECT_EQ(2, integer(*_Register::getInstance(), "of the user"));
              }));
}

TEST(Initialize, KeepsThePathsAsTheyWereGiven) {
    TemporaryDirectory const directory;
    std::string const user = directory.string() + "//\xc3\xa4\xff/../";
    EXPECT_EQ(0, inChild([&] {
                  _Register::initialize("", user);
                  EXPECT_EQ(user, text("UserDataPath"));
                  EXPECT_EQ("", text("GlobalDataPath"));
              }));
}

TEST(Initialize, AcceptsMissingDirectoriesAndCreatesNone) {
    TemporaryDirectory const directory;
    EXPECT_EQ(0, inChild([&] {
                  _Register::initialize((directory / "global").string(), (directory / "user").string());
                  _Register::getInstance()->save();
              }));
    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST(Initialize, SavesTwice) {
    Directories const directories;
    FileWatch watch(directories.user.string(), registerFileName);
    EXPECT_EQ(0, inChild([&] {
                  directories.initialize();
                  EXPECT_EQ(2, watch.replacements());
                  ::_exit(::testing::Test::HasFailure() ? 1 : 0);
              }));
}

TEST(Initialize, SavesAfterRecordingTheUserAndThenTheGlobalDirectory) {
    Directories const directories;
    EXPECT_EQ(0, inChild([&] {
                  directories.initialize();
                  FileRemover remover(directories.user / registerFileName);
                  _Register::getInstance()->addCallback("UserDataPath", &remover);
                  _Register::getInstance()->addCallback("GlobalDataPath", &remover);
                  std::filesystem::remove(directories.user / registerFileName);
                  directories.initialize();
                  EXPECT_EQ((Names{"UserDataPath missing", "GlobalDataPath saved"}), remover.seen);
                  EXPECT_TRUE(std::filesystem::exists(directories.user / registerFileName));
              }));
}

TEST(Initialize, DoesNotChangeTheContentOfTheUserFile) {
    Directories const directories;
    saveInteger(directories.user.string(), "g/x", 9);
    std::string const before = fileBytes(directories.user / registerFileName);
    EXPECT_EQ(0, inChild([&] {
                  directories.initialize();
                  EXPECT_EQ(before, fileBytes(directories.user / registerFileName));
              }));
    EXPECT_EQ(before, fileBytes(directories.user / registerFileName));
}

TEST(Initialize, WritesNothingToTheGlobalDirectory) {
    Directories const directories;
    EXPECT_EQ(0, inChild([&] { directories.initialize(); }));
    EXPECT_TRUE(std::filesystem::is_empty(directories.global.path()));
}

TEST(Initialize, ChangesThePathsButLoadsNothingTheSecondTime) {
    Directories const first;
    Directories const second;
    saveInteger(first.user.string(), "first", 1);
    saveInteger(second.user.string(), "second", 2);
    EXPECT_EQ(0, inChild([&] {
                  first.initialize();
                  _Register* const settings = _Register::getInstance();
                  second.initialize();
                  EXPECT_EQ(settings, _Register::getInstance());
                  EXPECT_EQ((Names{"first"}), names(settings->propertyList("", SCOPE_USER)));
                  EXPECT_EQ(second.user.string(), text("UserDataPath"));
                  settings->_writeInteger(nullptr, "first", 3, SCOPE_USER);
              }));
    EXPECT_EQ(1, savedInteger(first.user.string(), "first"));
    EXPECT_EQ(3, savedInteger(second.user.string(), "first"));
}

TEST(Initialize, LoadsNothingAfterTheFirstUse) {
    Directories const directories;
    saveInteger(directories.user.string(), "x", 1);
    EXPECT_EQ(0, inChild([&] {
                  _Register* const settings = _Register::getInstance();
                  directories.initialize();
                  EXPECT_EQ(settings, _Register::getInstance());
                  EXPECT_FALSE(settings->propertyExists("x"));
                  settings->_writeInteger(nullptr, "y", 2, SCOPE_USER);
              }));
    EXPECT_EQ(2, savedInteger(directories.user.string(), "y"));
}

TEST(Initialize, ReportsThatNoUserRegisterCanExist) {
    TemporaryDirectory const directory;
    EXPECT_EQ(0, inChild([&] {
                  RegisterProbe::_VL_REGISTER_NAME = "settings/register";
                  RegisterProbe::_UserRegisterPath = "before";
                  EXPECT_EQ("User register not found", failure([&] {
                                _Register::initialize(directory.string(), (directory / "missing").string());
                            }));
                  EXPECT_TRUE(RegisterProbe::_haveGlobalRegister);
                  EXPECT_EQ(directory.string(), RegisterProbe::_GlobalRegisterPath);
                  EXPECT_EQ("before", RegisterProbe::_UserRegisterPath);
              }));
    EXPECT_FALSE(std::filesystem::exists(directory / "missing"));
}

TEST(Initialize, ContinuesWithoutAGlobalRegister) {
    TemporaryDirectory const directory;
    EXPECT_EQ(0, inChild([&] {
                  RegisterProbe::_VL_REGISTER_NAME = "settings/register";
                  std::string const missing = (directory / "missing").string();
                  _Register::initialize(missing, directory.string());
                  EXPECT_FALSE(RegisterProbe::_haveGlobalRegister);
                  EXPECT_EQ(missing, RegisterProbe::_GlobalRegisterPath);
                  EXPECT_EQ(missing, text("GlobalDataPath"));
              }));
    EXPECT_TRUE(std::filesystem::exists(directory / "settings/register"));
}
