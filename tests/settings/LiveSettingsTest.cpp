// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem/PrivateDirectory.h>
#include <utils/Exception.h>
#include <utils/properties/Register.h>
#include <velmorand/Initialize.h>
#include <velmorand/Listener.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>

#include "support/Allocators.h"
#include "support/ChildProcess.h"
#include "support/Failure.h"
#include "support/StillThreads.h"
#include "support/TemporaryDirectory.h"

using namespace velmorand;
using utils::properties::_Register;

namespace {

using support::failure;
using support::inChild;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace fs = std::filesystem;

/** Temporary directories, and options for live settings in them that are saved only on request. */
class Live : public testing::Test {
protected:
    Live() {
        options.userDirectory = (directory / "user").string();
        options.globalDirectory = (directory / "global").string();
        options.delay = std::chrono::hours(1);
        options.onEvent = [this](LiveEvent const& event) {
            std::lock_guard<std::mutex> const lock(mutex);
            events.push_back(event);
        };
        fs::create_directories(options.globalDirectory);
        fs::create_directories(options.userDirectory);
    }

    [[nodiscard]] fs::path file() const { return fs::path(options.userDirectory) / "Velmorand.dat"; }
    [[nodiscard]] fs::path globalFile() const { return fs::path(options.globalDirectory) / "Velmorand.dat"; }

    /** Runs another process with live settings in the same directories. Result: its output. */
    std::string inOther(std::string const& actions) {
        return run(options.userDirectory, options.globalDirectory, actions);
    }

    /** Runs another process that changes the administrator's settings. */
    void administer(std::string const& actions) const {
        run(options.globalDirectory, options.userDirectory, actions);
    }

    static std::string run(std::string const& user, std::string const& global, std::string const& actions) {
        std::string const command = LIVE_PROGRAM " '" + user + "' '" + global + "' " + actions;
        std::unique_ptr<std::FILE, int (*)(std::FILE*)> output(::popen(command.c_str(), "re"), ::pclose);
        std::string printed;
        for (int c = std::fgetc(output.get()); c != EOF; c = std::fgetc(output.get()))
            printed += static_cast<char>(c);
        EXPECT_EQ(0, ::pclose(output.release())) << command;
        return printed;
    }

    /** The value that a new process reads; -1 if the property does not exist. */
    [[nodiscard]] int stored(std::string const& name) {
        std::string const printed = inOther("get " + name);
        return printed == "-\n" ? -1 : std::stoi(printed);
    }

    [[nodiscard]] std::vector<std::string> namesInUserDirectory() const {
        std::vector<std::string> names;
        for (auto const& entry : fs::directory_iterator(options.userDirectory))
            names.push_back(entry.path().filename().string());
        return names;
    }

    support::TemporaryDirectory directory;
    LiveOptions options;
    std::mutex mutex;
    std::vector<LiveEvent> events;
};

void damage(fs::path const& file) {
    std::ofstream(file, std::ios::binary) << "not a register file";
}

/** A register file of a later version. */
std::string const later("\xD9\xD9\xF7\x83\x02\x00\xD8\x18\x41\xA0", 10);

std::string bytes(fs::path const& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace

TEST_F(Live, SaveChangesWhenDestroyed) {
    {
        LiveSettings const live(options);
        write("a/x", 1);
    }
    EXPECT_EQ(1, stored("a/x"));
}

TEST_F(Live, ReadTheUsersAndTheAdministratorsFile) {
    administer("set a/x 1 set a/y 2");
    inOther("set a/y 3");
    LiveSettings const live(options);
    EXPECT_EQ(1, read<int>("a/x"));
    EXPECT_EQ(3, read<int>("a/y"));
}

TEST_F(Live, RecordTheirDirectoriesAsProperties) {
    LiveSettings const live(options);
    EXPECT_EQ(options.userDirectory, read<std::string>("UserDataPath"));
    EXPECT_EQ(options.globalDirectory, read<std::string>("GlobalDataPath"));
}

TEST_F(Live, WriteNothingIfNothingHasChanged) {
    {
        LiveSettings live(options);
        EXPECT_EQ(0, read<int>("a/x", 0));
        EXPECT_TRUE(live.sync().saved);
    }
    EXPECT_THAT(namesInUserDirectory(), IsEmpty());
}

TEST_F(Live, DoNotReplaceTheFileIfNothingHasChanged) {
    inOther("set a/x 1");
    struct stat before = {};
    ASSERT_EQ(0, ::stat(file().c_str(), &before));
    {
        LiveSettings live(options);
        write("a/x", 1);
        EXPECT_TRUE(live.sync().saved);
    }
    struct stat after = {};
    ASSERT_EQ(0, ::stat(file().c_str(), &after));
    EXPECT_EQ(before.st_ino, after.st_ino);
}

TEST_F(Live, KeepValuesThatAnotherProcessHasSaved) {
    LiveSettings live(options);
    write("a/mine", 1);
    inOther("set a/theirs 2");
    EXPECT_TRUE(live.sync().saved);
    EXPECT_EQ(1, stored("a/mine"));
    EXPECT_EQ(2, stored("a/theirs"));
    EXPECT_EQ(2, read<int>("a/theirs"));
}

TEST_F(Live, LetTheLaterSaveWinIfBothChangedAName) {
    LiveSettings live(options);
    write("a/x", 1);
    inOther("set a/x 2");
    EXPECT_TRUE(live.sync().saved);
    EXPECT_EQ(1, read<int>("a/x"));
    EXPECT_EQ(1, stored("a/x"));
}

TEST_F(Live, KeepADeletionByAnotherProcess) {
    inOther("set a/x 1 set a/y 1");
    LiveSettings live(options);
    write("a/y", 2);
    inOther("delete a/x");
    EXPECT_TRUE(live.sync().saved);
    EXPECT_FALSE(Property<int>("a/x").isSet());
    EXPECT_EQ(-1, stored("a/x"));
    EXPECT_EQ(2, stored("a/y"));
}

TEST_F(Live, SaveADeletionByThisProcess) {
    inOther("set a/x 1 set a/y 1");
    LiveSettings live(options);
    _Register::getInstance()->delProperty("a/x", SCOPE_USER);
    EXPECT_TRUE(live.sync().saved);
    EXPECT_EQ(-1, stored("a/x"));
    EXPECT_EQ(1, stored("a/y"));
}

TEST_F(Live, DeleteAGroupExceptForNewSettingsInIt) {
    inOther("set a/x 1 set a/y 1");
    LiveSettings live(options);
    _Register::getInstance()->delProperty("a", SCOPE_USER);
    inOther("set a/new 2");
    EXPECT_TRUE(live.sync().saved);
    EXPECT_EQ(-1, stored("a/x"));
    EXPECT_EQ(2, stored("a/new"));
    EXPECT_EQ(2, read<int>("a/new"));
}

TEST_F(Live, ShareEmptyGroups) {
    LiveSettings live(options);
    _Register::getInstance()->addGroup("empty/group", SCOPE_USER);
    EXPECT_TRUE(live.sync().saved);
    inOther("delete empty/group");
    EXPECT_TRUE(live.sync().saved);
    EXPECT_TRUE(_Register::getInstance()->groupExists("empty", SCOPE_USER));
    inOther("delete empty");
    EXPECT_TRUE(live.sync().saved);
    EXPECT_FALSE(_Register::getInstance()->groupExists("empty", SCOPE_USER));
}

TEST_F(Live, KeepTheirPropertyIfAnotherProcessMadeItAGroup) {
    LiveSettings live(options);
    write("a", 1);
    inOther("set a/x 2");
    EXPECT_TRUE(live.sync().saved);
    EXPECT_EQ(1, read<int>("a"));
    EXPECT_EQ(1, stored("a"));
}

TEST_F(Live, KeepTheirGroupIfAnotherProcessMadeItAProperty) {
    LiveSettings live(options);
    write("a/x", 1);
    inOther("set a 2");
    EXPECT_TRUE(live.sync().saved);
    EXPECT_EQ(1, read<int>("a/x"));
    EXPECT_EQ(1, stored("a/x"));
}

TEST_F(Live, FollowAnotherProcessThatMadeAPropertyAGroup) {
    inOther("set a 1");
    LiveSettings live(options);
    inOther("delete a set a/x 2");
    EXPECT_TRUE(live.sync().saved);
    EXPECT_EQ(2, read<int>("a/x"));
}

TEST_F(Live, SurviveTheRemovalOfTheWholeScope) {
    inOther("set a/x 1");
    LiveSettings live(options);
    _Register::getInstance()->delProperty("", SCOPE_USER);
    EXPECT_TRUE(live.sync().saved);
    EXPECT_EQ(-1, stored("a/x"));
    write("b", 2);
    EXPECT_TRUE(live.sync().saved);
    EXPECT_EQ(2, stored("b"));
}

TEST_F(Live, KeepThePreviousFile) {
    LiveSettings live(options);
    write("a/x", 1);
    ASSERT_TRUE(live.sync().saved);
    std::string const first = bytes(file());
    write("a/x", 2);
    ASSERT_TRUE(live.sync().saved);
    EXPECT_EQ(first, bytes(file().string() + ".previous"));
    EXPECT_THAT(namesInUserDirectory(), UnorderedElementsAre("Velmorand.dat", "Velmorand.dat.previous"));
}

TEST_F(Live, CreateARemovedFileAgain) {
    LiveSettings live(options);
    write("a/x", 1);
    ASSERT_TRUE(live.sync().saved);
    fs::remove(file());
    EXPECT_TRUE(live.sync().saved);
    EXPECT_EQ(1, read<int>("a/x"));
    EXPECT_EQ(1, stored("a/x"));
}

TEST_F(Live, SaveEverythingWithTheNextChangeIfTheFileHasBeenRemoved) {
    {
        LiveSettings const live(options);
        write("a/x", 1);
        ASSERT_TRUE(saveSettings().saved);
        fs::remove(file());
        write("a/y", 2);
    }
    EXPECT_EQ(1, stored("a/x"));
    EXPECT_EQ(2, stored("a/y"));
}

TEST_F(Live, CreateARemovedDirectoryAgain) {
    LiveSettings live(options);
    write("a/x", 1);
    fs::remove_all(options.userDirectory);
    EXPECT_TRUE(live.sync().saved);
    EXPECT_EQ(1, stored("a/x"));
}

TEST_F(Live, ReportAFileInPlaceOfTheirDirectory) {
    LiveSettings live(options);
    write("a/x", 1);
    fs::remove_all(options.userDirectory);
    std::ofstream(options.userDirectory) << "content";
    SaveResult const result = live.sync();
    EXPECT_FALSE(result.saved);
    EXPECT_EQ(options.userDirectory + ": Not a directory", result.reason);
}

TEST_F(Live, ReportThatAnotherProcessHoldsTheLockForTooLong) {
    LiveSettings live(options);
    write("a/x", 1);
    filesystem::DirectoryLock other;
    ASSERT_EQ(filesystem::DirectoryLock::Outcome::taken,
              other.take(options.userDirectory, std::chrono::milliseconds(0)));
    SaveResult const result = live.sync();
    EXPECT_FALSE(result.saved);
    EXPECT_EQ(options.userDirectory + ": another process has held the lock for too long", result.reason);
}

TEST_F(Live, DoNotCreateARemovedFileIfNothingChanges) {
    {
        LiveSettings const live(options);
        write("a/x", 1);
        ASSERT_TRUE(saveSettings().saved);
        fs::remove(file());
        EXPECT_EQ(1, read<int>("a/x"));
    }
    EXPECT_FALSE(fs::exists(file()));
}

TEST_F(Live, CreateTheirDirectoryForTheUserOnly) {
    fs::remove_all(options.userDirectory);
    options.userDirectory = (directory / "new" / "user").string();
    LiveSettings const live(options);
    for (char const* const made : {"new", "new/user"}) {
        struct stat status = {};
        ASSERT_EQ(0, ::stat((directory / made).c_str(), &status));
        EXPECT_EQ(0700U, status.st_mode & 07777U) << made;
    }
}

TEST_F(Live, UseTheDirectoriesOfTheEnvironment) {
    ASSERT_EQ(0, ::setenv("XDG_CONFIG_HOME", directory.path().c_str(), 1));
    ASSERT_EQ(0, ::setenv("XDG_CONFIG_DIRS", ("/nowhere:" + directory.string()).c_str(), 1));
    LiveSettings const live;
    EXPECT_EQ((directory / "velmorand").string(), live.userDirectory());
    EXPECT_EQ("/nowhere/velmorand", live.globalDirectory());
}

TEST_F(Live, UseTheHomeDirectoryIfTheEnvironmentNamesNoOther) {
    options.userDirectory.clear();
    ASSERT_EQ(0, ::setenv("HOME", directory.path().c_str(), 1));
    ASSERT_EQ(0, ::unsetenv("XDG_CONFIG_HOME"));
    EXPECT_EQ((directory / ".config/velmorand").string(), LiveSettings(options).userDirectory());
    ASSERT_EQ(0, ::setenv("XDG_CONFIG_HOME", "relative", 1));
    EXPECT_EQ((directory / ".config/velmorand").string(), LiveSettings(options).userDirectory());
}

TEST_F(Live, NeedADirectoryForTheUser) {
    options.userDirectory.clear();
    ASSERT_EQ(0, ::unsetenv("XDG_CONFIG_HOME"));
    ASSERT_EQ(0, ::setenv("HOME", "relative", 1));
    EXPECT_EQ("no directory for the user's settings: neither XDG_CONFIG_HOME nor HOME is set",
              failure([this] { LiveSettings const live(options); }));
}

TEST_F(Live, ReportAUserDirectoryThatCannotBeCreated) {
    std::ofstream(directory / "file") << "content";
    options.userDirectory = (directory / "file/user").string();
    EXPECT_EQ("cannot create the directory " + options.userDirectory + ": Not a directory",
              failure([this] { LiveSettings const live(options); }));
}

TEST_F(Live, UseTheStandardGlobalDirectoryIfTheEnvironmentNamesNoOther) {
    options.globalDirectory.clear();
    ASSERT_EQ(0, ::setenv("XDG_CONFIG_DIRS", "", 1));
    EXPECT_EQ("/etc/xdg/velmorand", LiveSettings(options).globalDirectory());
    ASSERT_EQ(0, ::unsetenv("XDG_CONFIG_DIRS"));
    EXPECT_EQ("/etc/xdg/velmorand", LiveSettings(options).globalDirectory());
}

TEST_F(Live, UseTheFirstGlobalDirectoryThatHasAFile) {
    fs::path const second = directory / "second";
    fs::create_directories(second / "velmorand");
    run((second / "velmorand").string(), options.userDirectory, "set a/x 1");
    // A relative path does not count, even if it has a file.
    fs::current_path(directory.path());
    fs::create_directories("relative/velmorand");
    run((directory / "relative/velmorand").string(), options.userDirectory, "set a/x 2");
    ASSERT_EQ(0, ::setenv("XDG_CONFIG_DIRS", ("relative:/nowhere:" + second.string() + ":/last").c_str(), 1));
    options.globalDirectory.clear();
    LiveSettings const live(options);
    EXPECT_EQ((second / "velmorand").string(), live.globalDirectory());
    EXPECT_EQ(1, read<int>("a/x"));
}

TEST_F(Live, DoNotUseTheNumbersOfClosedStandardStreams) {
    EXPECT_EQ(0, inChild([this] {
                  for (int stream = 0; stream < 3; ++stream)
                      ::close(stream);
                  LiveSettings const live(options);
                  for (int stream = 0; stream < 3; ++stream)
                      EXPECT_EQ(-1, ::fcntl(stream, F_GETFD));
              }));
}

TEST_F(Live, ExistOnlyOncePerProcess) {
    LiveSettings const live(options);
    EXPECT_EQ("this process already has a LiveSettings, and can have only one at a time",
              failure([this] { LiveSettings const second(options); }));
}

TEST_F(Live, RefuseARegisterThatHasBeenUsed) {
    EXPECT_EQ(0, inChild([this] {
                  static_cast<void>(read<int>("a/x", 0));
                  EXPECT_THAT(failure([this] { LiveSettings const live(options); }),
                              HasSubstr("the register is already in use"));
              }));
    EXPECT_EQ(0, inChild([this] {
                  _Register::getInstance();
                  EXPECT_THAT(failure([this] { LiveSettings const live(options); }),
                              HasSubstr("the register is already in use"));
              }));
}

TEST_F(Live, MayBeCreatedAgain) {
    {
        LiveSettings const first(options);
        write("a/x", 1);
    }
    inOther("set a/x 2");
    std::vector<std::string> heard;
    Listener const listener{"a", [&](std::string const& name) { heard.push_back(name); }};
    LiveSettings const second(options);
    EXPECT_EQ(2, read<int>("a/x"));
    EXPECT_THAT(heard, ElementsAre("a/x"));
}

TEST_F(Live, PreventOpeningTheSettingsInAnotherWay) {
    LiveSettings const live(options);
    EXPECT_EQ("cannot open the settings: LiveSettings has already opened them",
              failure([this] { initialize("", options.userDirectory); }));
}

TEST_F(Live, AnnounceTheChangesOfAnotherProcessTogether) {
    inOther("set a/x 1 set a/y 1 set a/z 1");
    LiveSettings live(options);
    std::vector<std::string> heard;
    Listener const listener{"a", [&](std::string const& name) {
                                heard.push_back(name + '=' + std::to_string(read<int>("a/x")) +
                                                std::to_string(read<int>("a/y", 0)));
                            }};
    Listener const own{"a", [&](std::string const&) { heard.emplace_back("own"); }, &live};
    inOther("set a/x 2 delete a/y set a/z 1");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_THAT(heard, ElementsAre("a/x=20", "a/y=20"));
}

TEST_F(Live, AnnounceNewGroupsToAListenerToEverything) {
    inOther("set a/x 1 set single 1");
    LiveSettings live(options);
    std::vector<std::string> heard;
    Listener const listener{everything, [&](std::string const& name) { heard.push_back(name); }};
    inOther("set b/y 1 set c 1 delete a/x delete single");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_THAT(heard, ElementsAre("a/x", "b/y", "c", "single"));
}

TEST_F(Live, NotifyEveryListenerEvenIfOneThrows) {
    LiveSettings live(options);
    std::vector<std::string> heard;
    Listener const throwing{"a/x", [](std::string const&) { throw std::runtime_error("no"); }};
    Listener const listener{"b", [&](std::string const& name) { heard.push_back(name); }};
    inOther("set a/x 1 set b 1");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_THAT(heard, ElementsAre("b"));
    write("b", 2);
    EXPECT_THAT(heard, ElementsAre("b", "b"));
}

TEST_F(Live, NotifyTheOtherListenersOfANameEvenIfOneThrows) {
    LiveSettings live(options);
    std::vector<std::string> heard;
    Listener const first{"a/x", [&](std::string const&) { heard.emplace_back("first"); }};
    Listener const throwing{"a/x", [](std::string const&) { throw std::runtime_error("no"); }};
    Listener const throwingOddly{"a/x", [](std::string const&) { throw 1; }};
    Listener const second{"a/x", [&](std::string const&) { heard.emplace_back("second"); }};
    QueuedListener queued{"a", [] { throw std::runtime_error("no wake"); }};
    Listener const around{"a", [&](std::string const&) { heard.emplace_back("around"); }};
    testing::internal::CaptureStderr(); // the live settings' own thread may announce the change
    inOther("set a/x 1");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_EQ(
        "settings: exception in a listener to \"a/x\" (changed by another program): no\n"
        "settings: exception in a listener to \"a/x\" (changed by another program): not a std::exception\n"
        "settings: exception in a listener to \"a/x\" (changed by another program): no wake\n",
        testing::internal::GetCapturedStderr());
    EXPECT_THAT(heard, ElementsAre("first", "second", "around"));
    EXPECT_FALSE(queued.empty());
}

TEST_F(Live, PassTheExceptionToAListenerThatWrites) {
    LiveSettings live(options);
    std::string caught;
    Listener const throwing{"b", [](std::string const&) { throw std::runtime_error("no"); }};
    Listener const writing{"a", [&](std::string const&) {
                               try {
                                   write("b", 1);
                               } catch (std::runtime_error const& thrown) {
                                   caught = thrown.what();
                               }
                           }};
    inOther("set a/x 1");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_EQ("no", caught);
    EXPECT_THROW(write("b", 2), std::runtime_error);
}

TEST_F(Live, NotifyTheOtherListenersEvenIfACallbackOfTheRegisterThrows) {
    struct Throwing : _Register::Callback {
        void* owner() override { return this; }
        void propertyChanged(std::string const& /*name*/) override { throw std::runtime_error("no"); }
    } throwing;
    LiveSettings live(options);
    _Register::getInstance()->addCallback("a/x", &throwing);
    std::vector<std::string> heard;
    Listener const same{"a/x", [&](std::string const&) { heard.emplace_back("same"); }};
    Listener const around{"a", [&](std::string const&) { heard.emplace_back("around"); }};
    Listener const other{"b", [&](std::string const&) { heard.emplace_back("other"); }};
    Listener const own{"a", [&](std::string const&) { heard.emplace_back("own"); }, &live};
    testing::internal::CaptureStderr(); // the live settings' own thread may announce the change
    inOther("set a/x 1 set b 1");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_EQ("settings: exception in a listener to \"a/x\" (changed by another program): no\n",
              testing::internal::GetCapturedStderr());
    EXPECT_THAT(heard, ElementsAre("same", "around", "other"));
    write("b", 2);
    EXPECT_THAT(heard, ElementsAre("same", "around", "other", "other"));
    _Register::getInstance()->removeCallback(&throwing);
}

TEST_F(Live, AllowAListenerToRemoveAnotherAfterACallbackOfTheRegisterHasThrown) {
    struct Throwing : _Register::Callback {
        void* owner() override { return this; }
        void propertyChanged(std::string const& /*name*/) override { throw std::runtime_error("no"); }
    } throwing;
    LiveSettings live(options);
    _Register::getInstance()->addCallback("a", &throwing);
    std::vector<std::string> heard;
    std::optional<Listener> removed;
    Listener const removing{"a", [&](std::string const&) {
                                heard.emplace_back("removing");
                                removed.reset();
                            }};
    removed.emplace("a", [&](std::string const&) { heard.emplace_back("removed"); });
    inOther("set a 1");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_THAT(heard, ElementsAre("removing"));
    _Register::getInstance()->removeCallback(&throwing);
}

TEST_F(Live, FollowTheAdministratorsFile) {
    LiveSettings live(options);
    std::vector<std::string> heard;
    Listener const listener{"a", [&](std::string const& name) { heard.push_back(name); }};
    administer("set a/x 1");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_EQ(1, read<int>("a/x"));
    EXPECT_THAT(heard, ElementsAre("a/x"));
    EXPECT_FALSE(Property<int>("a/x").isSet());
}

TEST_F(Live, FollowTheAdministratorsLocks) {
    LiveSettings live(options);
    Property<int> const property{"a/x"};
    property.set(1);
    administer("set a/x 2 lock a");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_TRUE(property.isLocked());
    EXPECT_EQ(2, property.get());
    EXPECT_EQ("cannot write \"a/x\": the administrator has locked \"a\"", failure([&] { property.set(3); }));
    administer("lock b");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_FALSE(property.isLocked());
    EXPECT_EQ(1, property.get());
}

TEST_F(Live, AnnounceValuesChangedByALock) {
    inOther("set a/other 1 set a/same 3 set a/deep/x 1 set b/x 1");
    administer("set a/other 2 set a/same 3 set a/unset 4");
    LiveSettings live(options);
    std::vector<std::string> heard;
    std::vector<int> values;
    Listener const listener{"a", [&](std::string const& name) {
                                heard.push_back(name);
                                values.push_back(read<int>(name, -1));
                            }};
    Listener const ofTheList{"velmorand/locked", [&](std::string const& name) { heard.push_back(name); }};
    administer("lock a");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_THAT(heard, ElementsAre("a/deep/x", "a/other", "velmorand/locked"));
    EXPECT_THAT(values, ElementsAre(-1, 2));
    heard.clear();
    values.clear();
    administer("lock a/other");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_THAT(heard, ElementsAre("a/deep/x", "velmorand/locked"));
    EXPECT_THAT(values, ElementsAre(1));
}

TEST_F(Live, AnnounceAValueThatALockPutsInPlaceOfAGroup) {
    inOther("set a/x/y 1");
    administer("set a/x 2");
    LiveSettings live(options);
    std::vector<std::string> heard;
    Listener const listener{"a", [&](std::string const& name) { heard.push_back(name); }};
    administer("lock a/x");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_THAT(heard, ElementsAre("a/x", "a/x/y"));
    EXPECT_EQ(2, read<int>("a/x"));
}

TEST_F(Live, AnnounceAValueThatALockPutsInPlaceOfAnOverride) {
    LiveSettings live(options);
    Property<int> const property{"a/x"};
    property.override(9);
    std::vector<int> seen;
    Listener const listener{"a", [&](std::string const& /*name*/) { seen.push_back(property.get()); }};
    administer("lock a/x");
    ASSERT_TRUE(live.sync().saved);
    administer("lock b");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_THAT(seen, ElementsAre(0, 9));
}

TEST_F(Live, AnnounceALockTogetherWithTheAdministratorsValue) {
    inOther("set a/x 1");
    LiveSettings live(options);
    std::vector<int> seen;
    Listener const listener{"a/x", [&](std::string const& name) { seen.push_back(read<int>(name)); }};
    administer("set a/x 2 lock a/x");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_THAT(seen, ElementsAre(2));
}

TEST_F(Live, ReportWhetherEverythingIsSaved) {
    LiveSettings live(options);
    EXPECT_TRUE(live.isSaved());
    write("a/x", 1);
    EXPECT_FALSE(live.isSaved());
    ASSERT_TRUE(live.sync().saved);
    EXPECT_TRUE(live.isSaved());
}

TEST_F(Live, AreAlsoSavedByAPlainSave) {
    LiveSettings const live(options);
    write("a/x", 1);
    EXPECT_TRUE(saveSettings().saved);
    EXPECT_TRUE(live.isSaved());
    EXPECT_EQ(1, stored("a/x"));
}

TEST_F(Live, RestoreThePreviousFileIfTheFileIsDamaged) {
    inOther("set a/x 1");
    inOther("set a/x 2");
    damage(file());
    LiveSettings const live(options);
    EXPECT_EQ(1, read<int>("a/x"));
    ASSERT_EQ(1U, events.size());
    EXPECT_EQ(LiveEventKind::recovered, events[0].kind);
    EXPECT_EQ(file().string(), events[0].file);
    EXPECT_EQ("not a register file; restored from the previous file, without the changes of the last save",
              events[0].reason);
    EXPECT_EQ("not a register file", bytes(events[0].keptAs));
    EXPECT_EQ(1, stored("a/x"));
}

TEST_F(Live, StartEmptyIfThePreviousFileIsDamagedToo) {
    damage(file());
    damage(file().string() + ".previous");
    LiveSettings const live(options);
    EXPECT_EQ(0, read<int>("a/x", 0));
    ASSERT_EQ(1U, events.size());
    EXPECT_EQ(LiveEventKind::startedEmpty, events[0].kind);
    EXPECT_EQ("not a register file; the previous file cannot be used either, so no settings are loaded",
              events[0].reason);
    EXPECT_EQ(1U, live.events().size());
}

TEST_F(Live, StartEmptyIfTheFileIsDamagedAndThereIsNoPreviousOne) {
    damage(file());
    LiveSettings const live(options);
    ASSERT_EQ(1U, events.size());
    EXPECT_EQ(LiveEventKind::startedEmpty, events[0].kind);
    EXPECT_EQ("not a register file; there is no previous file to restore, so no settings are loaded",
              events[0].reason);
}

TEST_F(Live, KeepALimitedNumberOfDamagedFiles) {
    for (int i = 0; i < 8; ++i) {
        damage(file());
        inOther("");
    }
    int kept = 0;
    for (std::string const& name : namesInUserDirectory())
        kept += name.find(".damaged-") != std::string::npos ? 1 : 0;
    EXPECT_EQ(5, kept);
}

TEST_F(Live, RepairAFileThatIsDamagedWhileTheyRun) {
    LiveSettings live(options);
    write("a/x", 1);
    ASSERT_TRUE(live.sync().saved);
    damage(file());
    write("a/y", 2);
    EXPECT_TRUE(live.sync().saved);
    ASSERT_EQ(1U, events.size());
    EXPECT_EQ(LiveEventKind::recovered, events[0].kind);
    EXPECT_EQ("not a register file; replaced with the settings in memory, nothing is lost", events[0].reason);
    EXPECT_EQ(1, stored("a/x"));
    EXPECT_EQ(2, stored("a/y"));
}

TEST_F(Live, IgnoreADamagedAdministratorsFileUntilItIsRepaired) {
    damage(globalFile());
    LiveSettings live(options);
    ASSERT_TRUE(live.sync().saved);
    ASSERT_EQ(1U, events.size());
    EXPECT_EQ(LiveEventKind::globalIgnored, events[0].kind);
    EXPECT_EQ("not a register file; no settings of the administrator are used until it is repaired",
              events[0].reason);
    EXPECT_EQ("not a register file", bytes(globalFile()));
    fs::remove(globalFile());
    administer("set a/x 1");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_EQ(1, read<int>("a/x"));
}

TEST_F(Live, RefuseAnAdministratorsFileThatCannotBeRead) {
    fs::create_directory(globalFile());
    EXPECT_EQ(globalFile().string() + ": Is a directory",
              failure([this] { LiveSettings const live(options); }));
}

TEST_F(Live, IgnoreAnAdministratorsFileThatBecomesUnreadable) {
    LiveSettings live(options);
    fs::create_directory(globalFile());
    ASSERT_TRUE(live.sync().saved);
    ASSERT_EQ(1U, events.size());
    EXPECT_EQ(LiveEventKind::globalIgnored, events[0].kind);
    EXPECT_EQ("Is a directory; no settings of the administrator are used until it is repaired",
              events[0].reason);
}

TEST_F(Live, ForgetTheAdministratorsSettingsIfTheFileIsRemoved) {
    administer("set a/x 1");
    LiveSettings live(options);
    fs::remove(globalFile());
    ASSERT_TRUE(live.sync().saved);
    EXPECT_EQ(-1, read<int>("a/x", -1));
}

TEST_F(Live, KeepTheAdministratorsSettingsIfTheFileIsDamagedLater) {
    administer("set a/x 1");
    LiveSettings live(options);
    damage(globalFile());
    ASSERT_TRUE(live.sync().saved);
    EXPECT_EQ(1, read<int>("a/x"));
    ASSERT_EQ(1U, events.size());
    EXPECT_EQ(LiveEventKind::globalIgnored, events[0].kind);
    EXPECT_EQ("not a register file; the settings last read from it remain in force", events[0].reason);
}

TEST_F(Live, DoNotChangeAFileOfALaterVersion) {
    std::ofstream(file(), std::ios::binary) << later;
    EXPECT_THAT(failure([this] { LiveSettings const live(options); }),
                testing::AllOf(testing::StartsWith(file().string() + ": "), HasSubstr("version")));
    EXPECT_EQ(later, bytes(file()));
}

TEST_F(Live, DoNotChangeAFileThatAProgramOfALaterVersionHasReplaced) {
    LiveSettings live(options);
    for (bool const hasChanged : {false, true}) {
        std::ofstream(file(), std::ios::binary) << later;
        if (hasChanged)
            write("a/x", 1);
        SaveResult const result = live.sync();
        EXPECT_FALSE(result.saved);
        EXPECT_THAT(result.reason,
                    testing::AllOf(testing::StartsWith(file().string() + ": "), HasSubstr("version")));
        EXPECT_EQ(later, bytes(file()));
    }
}

TEST_F(Live, RefuseAFileThatCannotBeRead) {
    fs::create_directory(file());
    EXPECT_EQ(file().string() + ": Is a directory", failure([this] { LiveSettings const live(options); }));
    EXPECT_TRUE(fs::is_directory(file()));
}

TEST_F(Live, MayBeCreatedAfterAFailure) {
    fs::create_directory(file());
    EXPECT_NE("", failure([this] { LiveSettings const live(options); }));
    fs::remove(file());
    LiveSettings const live(options);
    EXPECT_EQ(0, read<int>("a/x", 0));
}

TEST_F(Live, ReportAFailingSaveAndItsRecoveryOnceEach) {
    LiveSettings live(options);
    fs::create_directory(file());
    write("a/x", 1);
    SaveResult const result = live.sync();
    EXPECT_FALSE(result.saved);
    EXPECT_EQ(file().string() + ": Is a directory", result.reason);
    EXPECT_FALSE(live.isSaved());
    EXPECT_FALSE(live.sync().saved);
    fs::remove(file());
    EXPECT_TRUE(live.sync().saved);
    ASSERT_EQ(2U, events.size());
    EXPECT_EQ(LiveEventKind::saveFailed, events[0].kind);
    EXPECT_EQ("Is a directory", events[0].reason);
    EXPECT_EQ(LiveEventKind::savedAgain, events[1].kind);
    EXPECT_EQ("", events[1].reason);
    EXPECT_EQ(1, stored("a/x"));
}

TEST_F(Live, RememberTheLastHundredEvents) {
    LiveSettings live(options);
    for (int i = 0; i < 60; ++i) {
        fs::create_directory(file());
        write("a/x", i);
        EXPECT_FALSE(live.sync().saved);
        fs::remove(file());
        EXPECT_TRUE(live.sync().saved);
        fs::remove(file());
    }
    EXPECT_EQ(120U, events.size());
    std::vector<LiveEvent> const remembered = live.events();
    ASSERT_EQ(100U, remembered.size());
    EXPECT_EQ(LiveEventKind::saveFailed, remembered.front().kind);
    EXPECT_EQ(LiveEventKind::savedAgain, remembered.back().kind);
}

TEST_F(Live, PrintEventsIfNoHandlerIsGiven) {
    options.onEvent = nullptr;
    damage(file());
    testing::internal::CaptureStderr();
    LiveSettings live(options);
    std::string const keptAs = live.events().at(0).keptAs;
    fs::create_directory(file());
    write("a/x", 1);
    EXPECT_FALSE(live.sync().saved);
    fs::remove(file());
    EXPECT_TRUE(live.sync().saved);
    std::string const begin = "settings: " + file().string() + ": ";
    EXPECT_EQ(begin +
                  "not a register file; there is no previous file to restore, so no settings are loaded; the "
                  "damaged "
                  "file is kept as " +
                  keptAs + '\n' + begin + "Is a directory; changes are not saved (retrying)\n" + begin +
                  "all changes are saved now\n",
              testing::internal::GetCapturedStderr());
}

TEST_F(Live, MergeAChangeOfANameThatIsBeingAnnounced) {
    struct Throwing : utils::properties::_Register::Callback {
        void propertyChanged(std::string const& name) override {
            names.push_back(name);
            if (names.size() == 1)
                throw utils::Exception("no");
        }
        void* owner() override { return this; }
        std::vector<std::string> names;
    } callback;
    LiveSettings live(options);
    write("a/b", 1);
    ASSERT_TRUE(live.sync().saved);
    auto* const theRegister = utils::properties::_Register::getInstance();
    bool isFirst = true;
    Listener const syncing{"a/b", [&](std::string const&) {
                               if (std::exchange(isFirst, false)) {
                                   inOther("set a/b 5");
                                   EXPECT_TRUE(live.sync().saved);
                               }
                           }};
    theRegister->addCallback("a/b", &callback);
    theRegister->markAsChanged(nullptr, "a/b");
    EXPECT_EQ(5, read<int>("a/b"));
    EXPECT_THAT(callback.names, testing::Each("a/b"));
    EXPECT_THAT(callback.names, testing::SizeIs(testing::Ge(2U)));
    theRegister->removeCallback(&callback);
}

TEST_F(Live, SaveNothingInAForkedChild) {
#ifdef UNDER_A_SANITIZER
    GTEST_SKIP() << "the sanitizer's allocator may be locked in a child forked while another thread runs";
#endif
    inOther("set a/x 1");
    LiveSettings live(options);
    EXPECT_EQ(0, inChild([&live] {
                  write("a/x", 2);
                  EXPECT_FALSE(live.sync().saved);
              }));
    EXPECT_TRUE(live.sync().saved);
    EXPECT_EQ(1, read<int>("a/x"));
    EXPECT_EQ(1, stored("a/x"));
}

TEST_F(Live, SaveAtTheExitIfTheyAreNotDestroyed) {
    ASSERT_EQ(0, inChild([this] {
                  auto* const live = new LiveSettings(options); // NOLINT: never destroyed
                  write("a/x", 1);
                  static_cast<void>(live);
              }));
    EXPECT_EQ(1, stored("a/x"));
}

TEST_F(Live, DoNotUndoSavesOfOtherProcessesWhenDestroyed) {
    inOther("set a/x 1");
    {
        LiveSettings const idle(options);
        inOther("set a/x 2");
    }
    EXPECT_EQ(2, stored("a/x"));
}

TEST_F(Live, SaveAtAnExitFromAListener) {
    ASSERT_EQ(0, inChild([this] {
                  LiveSettings const live(options);
                  Listener const listener{"a", [](std::string const&) { std::exit(0); }};
                  write("a/x", 1);
              }));
    EXPECT_EQ(1, stored("a/x"));
}

TEST_F(Live, SaveAtAnExitFromAnotherThread) {
    ASSERT_EQ(0, inChild([this] {
                  LiveSettings const live(options);
                  std::thread([] {
                      write("a/x", 1);
                      std::exit(0);
                  }).join();
              }));
    EXPECT_EQ(1, stored("a/x"));
}

namespace {

/** Live settings that are saved and updated by their background thread. */
class LiveInBackground : public Live {
protected:
    LiveInBackground() { options.delay = std::chrono::milliseconds(1); }

    /** Waits, without a time limit, until a listener has been notified of a name. */
    class Heard {
    public:
        explicit Heard(std::string const& key)
            : _listener(key, [this](std::string const& name) {
                  std::lock_guard<std::mutex> const lock(_mutex);
                  _names.push_back(name);
                  _changed.notify_all();
              }) {}

        void waitFor(std::string const& name) {
            std::unique_lock<std::mutex> lock(_mutex);
            _changed.wait(lock, [&] { return std::count(_names.begin(), _names.end(), name) != 0; });
            _names.clear();
        }

    private:
        std::mutex _mutex;
        std::condition_variable _changed;
        std::vector<std::string> _names;
        Listener _listener;
    };

    static void waitUntil(std::function<bool()> const& condition) {
        while (!condition())
            std::this_thread::yield();
    }
};

} // namespace

TEST_F(LiveInBackground, SaveAChange) {
    LiveSettings const live(options);
    write("a/x", 1);
    waitUntil([&] { return live.isSaved(); });
    EXPECT_EQ(1, stored("a/x"));
}

// The first change schedules the save; further changes do not delay it.
TEST_F(LiveInBackground, SaveDuringContinuousChanges) {
    options.delay = std::chrono::milliseconds(50);
    LiveSettings const live(options);
    for (int i = 0; !fs::exists(file()); ++i)
        write("a/x", i);
}

TEST_F(LiveInBackground, StayIdleWhileNothingChanges) {
    LiveSettings const live(options);
    write("a/x", 1);
    waitUntil([&] { return live.isSaved(); });
    support::waitUntilAnotherThreadIsStill();
}

TEST_F(LiveInBackground, FollowTheSaveOfAnotherProcess) {
    LiveSettings const live(options);
    Heard heard{"a"};
    inOther("set a/x 1");
    heard.waitFor("a/x");
    EXPECT_EQ(1, read<int>("a/x"));
}

TEST_F(LiveInBackground, FollowManySavesOfAnotherProcess) {
    LiveSettings const live(options);
    Heard heard{"a"};
    for (int i = 1; i < 20; ++i) {
        inOther("set a/x " + std::to_string(i));
        heard.waitFor("a/x");
        EXPECT_EQ(i, read<int>("a/x"));
    }
}

TEST_F(LiveInBackground, FollowADirectoryThatWasRemovedAndCreatedAgain) {
    LiveSettings const live(options);
    Heard heard{"a"};
    fs::remove_all(options.userDirectory);
    inOther("set a/x 1");
    heard.waitFor("a/x");
    EXPECT_EQ(1, read<int>("a/x"));
}

TEST_F(LiveInBackground, FollowALinkThatWasRepointed) {
    fs::path const user = directory / "user";
    fs::rename(user, directory / "one");
    fs::create_directory_symlink(directory / "one", user);
    LiveOptions other = options;
    other.userDirectory = (directory / "two").string();
    fs::create_directory(other.userDirectory);
    run(other.userDirectory, other.globalDirectory, "set a/x 2");
    LiveSettings const live(options);
    Heard heard{"a"};
    fs::create_directory_symlink(directory / "two", directory / "link");
    fs::rename(directory / "link", user);
    heard.waitFor("a/x");
    EXPECT_EQ(2, read<int>("a/x"));
}

TEST_F(LiveInBackground, FollowAChangeByTheAdministrator) {
    LiveSettings const live(options);
    Heard heard{"a"};
    administer("set a/x 1");
    heard.waitFor("a/x");
    EXPECT_EQ(1, read<int>("a/x"));
}

TEST_F(LiveInBackground, AllowAnExitFromAListenerOnTheirThread) {
    ASSERT_EQ(7, inChild([this] {
                  static LiveSettings const live(options);
                  Listener const listener{"a", [](std::string const&) { std::exit(7); }};
                  administer("set a/x 1");
                  for (;;)
                      std::this_thread::yield();
              }));
}
