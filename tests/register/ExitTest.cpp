// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>

#include <unistd.h>

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
using support::RegisterProbe;
using support::TemporaryDirectory;
using utils::properties::_Register;

namespace {

std::string const nonAscii = "Pr\xc3\xa4"
                             "ferenzen \xe6\x97\xa5\xf0\x9f\x8e\xa8";

/** The time in seconds after which a process that hangs is killed. */
constexpr unsigned limit = 60;

/** The directory of the running test, for exit handlers, which take no argument. */
std::filesystem::path exitDirectory;

void write(std::string const& name, int value) {
    _Register::getInstance()->_writeInteger(nullptr, name, value, SCOPE_USER);
}

/** Appends a line to a file for every call and for its destruction. */
class Logger : public _Register::Callback {
public:
    explicit Logger(std::filesystem::path log) : _log(std::move(log)) {}
    Logger(Logger const&) = delete;
    Logger& operator=(Logger const&) = delete;
    ~Logger() override { note("destroyed"); }

    void propertyChanged(std::string const& name) override { note(name); }
    void* owner() override { return this; }

protected:
    void note(std::string const& line) { std::ofstream(_log, std::ios::app) << line << '\n'; }

private:
    std::filesystem::path _log;
};

class ThrowingLogger : public Logger {
public:
    using Logger::Logger;

    void propertyChanged(std::string const& name) override {
        note(name);
        throw std::runtime_error("no");
    }
};

} // namespace

TEST(Exit, SavesTheUserScope) {
    TemporaryDirectory const user;
    EXPECT_EQ(0, inChild([&] {
                  _Register::initialize("", user.string());
                  write("g/x", 42);
              }));
    EXPECT_EQ(42, savedInteger(user.string(), "g/x"));
}

TEST(Exit, SavesOnce) {
    TemporaryDirectory const user;
    FileWatch watch(user.string(), registerFileName);
    EXPECT_EQ(0, inChild([&] {
                  RegisterProbe::_UserRegisterPath = user.string();
                  write("x", 42);
                  EXPECT_EQ(0, watch.replacements());
              }));
    EXPECT_EQ(1, watch.replacements());
}

TEST(Exit, SavesNeitherTheGlobalNorTheTemporaryScope) {
    TemporaryDirectory const global;
    TemporaryDirectory const user;
    EXPECT_EQ(0, inChild([&] {
                  _Register::initialize(global.string(), user.string());
                  _Register::getInstance()->addProperty("global", SCOPE_GLOBAL);
                  _Register::getInstance()->addProperty("temporary", SCOPE_TEMPORARY);
              }));
    EXPECT_EQ(Names{}, names(loadedFrom(user.string())->propertyList("", SCOPE_USER)));
    EXPECT_TRUE(std::filesystem::is_empty(global.path()));
}

TEST(Exit, SavesIntoADirectoryWithANonAsciiName) {
    TemporaryDirectory const directory;
    std::filesystem::create_directory(directory / nonAscii);
    EXPECT_EQ(0, inChild([&] {
                  RegisterProbe::_UserRegisterPath = (directory / nonAscii).string();
                  write("x", 42);
              }));
    EXPECT_EQ(42, savedInteger((directory / nonAscii).string(), "x"));
}

TEST(Exit, SavesWhenCalledFromAnotherThread) {
    TemporaryDirectory const user;
    EXPECT_EQ(0, inChild([&] {
                  _Register::initialize("", user.string());
                  write("x", 42);
                  std::thread([] { std::exit(0); }).join();
              }));
    EXPECT_EQ(42, savedInteger(user.string(), "x"));
}

TEST(Exit, SavesNothingIfTheRegisterWasNeverUsed) {
    TemporaryDirectory const user;
    EXPECT_EQ(0, inChild([&] { RegisterProbe::_UserRegisterPath = user.string(); }));
    EXPECT_TRUE(std::filesystem::is_empty(user.path()));
}

TEST(Exit, IsSilentIfTheFileCannotBeSaved) {
    TemporaryDirectory const user;
    EXPECT_EQ(0, inChild([&] {
                  _Register::initialize("", user.string());
                  std::filesystem::remove(user / registerFileName);
                  std::filesystem::create_directory(user / registerFileName);
                  write("x", 42);
              }));
    EXPECT_TRUE(std::filesystem::is_directory(user / registerFileName));
}

TEST(Exit, SavesAfterTheHandlersRegisteredLater) {
    TemporaryDirectory const user;
    EXPECT_EQ(0, inChild([&] {
                  _Register::initialize("", user.string());
                  ASSERT_EQ(0, std::atexit([] { write("x", 42); }));
              }));
    EXPECT_EQ(42, savedInteger(user.string(), "x"));
}

TEST(Exit, SavesAfterStaticObjectsCreatedLaterAreDestroyed) {
    struct Writer {
        Writer() = default;
        Writer(Writer const&) = delete;
        Writer& operator=(Writer const&) = delete;
        ~Writer() { write("x", 42); }
    };
    TemporaryDirectory const user;
    EXPECT_EQ(0, inChild([&] {
                  _Register::initialize("", user.string());
                  static Writer const writer;
              }));
    EXPECT_EQ(42, savedInteger(user.string(), "x"));
}

TEST(Exit, SavesBeforeTheHandlersRegisteredEarlier) {
    TemporaryDirectory const user;
    EXPECT_EQ(0, inChild([&] {
                  exitDirectory = user.path();
                  ASSERT_EQ(0, std::atexit([] {
                                std::filesystem::rename(exitDirectory / registerFileName,
                                                        exitDirectory / "seen by the handler");
                            }));
                  RegisterProbe::_UserRegisterPath = user.string();
                  write("x", 42);
              }));
    EXPECT_TRUE(std::filesystem::exists(user / "seen by the handler"));
    EXPECT_FALSE(std::filesystem::exists(user / registerFileName));
}

TEST(Exit, KeepsTheLockFromOtherThreads) {
    TemporaryDirectory const user;
    EXPECT_EQ(0, inChild([&] {
                  exitDirectory = user.path();
                  ASSERT_EQ(0, std::atexit([] {
                                if (!support::lockIsFree())
                                    writeFile(exitDirectory / "locked", "");
                            }));
                  _Register::initialize("", user.string());
              }));
    EXPECT_TRUE(std::filesystem::exists(user / "locked"));
}

TEST(Exit, DoesNotWaitForeverForTheLock) {
    TemporaryDirectory const user;
    EXPECT_EQ(0, inChild([&] {
                  ::alarm(limit);
                  _Register::initialize("", user.string());
                  write("x", 42);
                  std::promise<void> locked;
                  std::thread([&locked] {
                      _Register::_mutex->lock();
                      locked.set_value();
                      ::pause();
                  }).detach();
                  locked.get_future().wait();
              }));
    EXPECT_EQ(42, savedInteger(user.string(), "x"));
}

TEST(Exit, SavesWhenCalledFromAListener) {
    class Exiting : public _Register::Callback {
    public:
        void propertyChanged(std::string const& /*name*/) override { std::exit(0); }
        void* owner() override { return this; }
    };
    TemporaryDirectory const user;
    EXPECT_EQ(0, inChild([&] {
                  ::alarm(limit);
                  _Register::initialize("", user.string());
                  static Exiting listener;
                  _Register::getInstance()->addCallback("x", &listener);
                  write("x", 42);
                  ADD_FAILURE() << "the process should have exited in the listener";
              }));
    EXPECT_EQ(42, savedInteger(user.string(), "x"));
}

TEST(ExitOfAForkedChild, Saves) {
    TemporaryDirectory const user;
    EXPECT_EQ(0, inChild(
                     [&] {
                         _Register::initialize("", user.string());
                         EXPECT_EQ(0, inChild([] { write("x", 42); }));
                     },
                     support::Leave::atOnce));
    EXPECT_EQ(42, savedInteger(user.string(), "x"));
}

TEST(ExitOfAForkedChild, DoesNotWaitForeverForALockThatWasHeldAtTheFork) {
    TemporaryDirectory const user;
    EXPECT_EQ(0, inChild([&] {
                  _Register::initialize("", user.string());
                  write("x", 42);
                  std::promise<void> locked;
                  std::promise<void> forked;
                  std::thread holder([&] {
                      boost::unique_lock<boost::recursive_mutex> const held(*_Register::_mutex);
                      locked.set_value();
                      forked.get_future().wait();
                  });
                  locked.get_future().wait();
                  std::filesystem::remove(user / registerFileName);
                  EXPECT_EQ(0, inChild([] { ::alarm(limit); }));
                  forked.set_value();
                  holder.join();
                  EXPECT_EQ(42, savedInteger(user.string(), "x"));
              }));
}

TEST(Exit, KeepsTheLockUsable) {
    TemporaryDirectory const user;
    EXPECT_EQ(0, inChild([&] {
                  exitDirectory = user.path();
                  ASSERT_EQ(0, std::atexit([] {
                                boost::unique_lock<boost::recursive_mutex> const held(*_Register::_mutex);
                                writeFile(exitDirectory / "locked", "");
                            }));
                  _Register::initialize("", user.string());
              }));
    EXPECT_TRUE(std::filesystem::exists(user / "locked"));
}

TEST(Exit, DoesNotDestroyListeners) {
    TemporaryDirectory const user;
    EXPECT_EQ(0, inChild([&] {
                  _Register::initialize("", user.string());
                  static auto* const listener = new Logger(user / "log"); // the exit must not delete it
                  _Register::getInstance()->addCallback("x", listener);
                  write("x", 1);
              }));
    EXPECT_EQ("x\n", fileBytes(user / "log"));
}

TEST(Exit, DoesNotTouchDestroyedListeners) {
    TemporaryDirectory const user;
    EXPECT_EQ(0, inChild([&] {
                  static Logger earlier(user / "earlier");
                  _Register::initialize("", user.string());
                  static Logger later(user / "later");
                  _Register::getInstance()->addCallback("x", &earlier);
                  _Register::getInstance()->addCallback("x", &later);
                  write("x", 1);
              }));
    EXPECT_EQ("x\ndestroyed\n", fileBytes(user / "earlier"));
    EXPECT_EQ("x\ndestroyed\n", fileBytes(user / "later"));
    EXPECT_EQ(1, savedInteger(user.string(), "x"));
}

TEST(Exit, AnnouncesNoPendingChange) {
    TemporaryDirectory const user;
    EXPECT_EQ(0, inChild([&] {
                  _Register::initialize("", user.string());
                  static auto* const listener = new ThrowingLogger(user / "log"); // outlives the register
                  _Register::getInstance()->addCallback("x", listener);
                  EXPECT_EQ("std: no", failure([] { write("x", 42); }));
              }));
    EXPECT_EQ("x\n", fileBytes(user / "log"));
    EXPECT_EQ(42, savedInteger(user.string(), "x"));
}

namespace {

/** Runs the program that writes 42 under "x" in `directory` and returns from `main`. */
int runProgram(std::string const& mode, std::string const& directory, char const* locale) {
    return inChild([&] {
        ::alarm(limit);
        ::setenv("LC_ALL", locale, 1);
        ::execl(REGISTER_EXIT_PROGRAM, REGISTER_EXIT_PROGRAM, mode.c_str(), directory.c_str(), nullptr);
        ::_exit(support::crashed);
    });
}

class ExitOfAProgram : public ::testing::TestWithParam<std::string> {};

} // namespace

TEST_P(ExitOfAProgram, SavesInTheCLocale) {
    TemporaryDirectory const directory;
    std::filesystem::create_directory(directory / nonAscii);
    ASSERT_EQ(0, runProgram(GetParam(), (directory / nonAscii).string(), "C"));
    EXPECT_EQ(42, savedInteger((directory / nonAscii).string(), "x"));
}

TEST_P(ExitOfAProgram, SavesInAUtf8Locale) {
    TemporaryDirectory const directory;
    std::filesystem::create_directory(directory / nonAscii);
    ASSERT_EQ(0, runProgram(GetParam(), (directory / nonAscii).string(), "C.UTF-8"));
    EXPECT_EQ(42, savedInteger((directory / nonAscii).string(), "x"));
}

INSTANTIATE_TEST_SUITE_P(Using, ExitOfAProgram,
                         ::testing::Values("Nothing", "QtCoreBefore", "QtCoreAfter", "Statics"),
                         [](auto const& test) { return test.param; });

namespace {

/** Runs the program several times. Its threads use the register at each exit, and each start loads the last save. */
void expectCleanExits(std::string const& mode) {
    TemporaryDirectory const directory;
    for (int round = 0; round < 20; ++round) {
        ASSERT_EQ(0, runProgram(mode, directory.string(), "C")) << round;
        ASSERT_EQ(42, savedInteger(directory.string(), "x")) << round;
    }
}

} // namespace

TEST(ExitWithThreads, ThatWriteSavesAnIntactFile) {
    expectCleanExits("Writers");
}

TEST(ExitWithThreads, ThatReadSavesAnIntactFile) {
    expectCleanExits("Readers");
}
