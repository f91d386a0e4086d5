// SPDX-License-Identifier: Apache-2.0
//
// A declared setting caches the value that it has read, so that further reads take no lock. After any change of the
// register, the next read fetches the new value.

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <boost/thread/lock_types.hpp>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem/RAMFileSystem.h>
#include <filesystem/RealFileSystem.h>
#include <utils/properties/Register.h>
#include <velmorand/Catalogue.h>
#include <velmorand/Initialize.h>
#include <velmorand/Listener.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Lock.h>
#include <velmorand/Property.h>

#include "register/RegisterFile.h"
#include "support/Allocators.h"
#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

namespace {

enum class Theme { light, dark, system };
VELMORAND_ENUM(Theme, {Theme::light, "light"}, {Theme::dark, "dark"}, {Theme::system, "system"})

using namespace velmorand;
using filesystem::FileHandle;
using filesystem::FileSystem;
using support::inChild;
using support::RegisterProbe;
using support::TemporaryDirectory;
using utils::properties::_Register;

/** Settings that have been read and cached: `height` with its fallback, the others with values of the user scope. */
class KeptValue : public testing::Test {
protected:
    void SetUp() override {
        write("a/width", 1);
        write("a/size", 1.5);
        write("a/on", true);
        write("a/theme", "dark");
        readAll();
    }

    void readAll() const {
        ASSERT_EQ(1, width.get());
        ASSERT_EQ(1.5, size.get());
        ASSERT_EQ(true, on.get());
        ASSERT_EQ(Theme::dark, theme.get());
        ASSERT_EQ(-1, height.get());
    }

    static _Register& settings() { return *_Register::getInstance(); }

    /** Opens a file of the register. */
    static FileHandle* opened(char const* path, FileSystem::FileSystemMode mode) {
        FileHandle* handle = nullptr;
        EXPECT_TRUE(settings().open(QString::fromLatin1(path), &handle, mode)) << path;
        return handle;
    }

    /** A file, opened for reading, with an image of a register's user scope or of the whole register. */
    FileHandle* image(std::function<void(_Register&)> const& fill, QString const& path = "/user") {
        RegisterProbe other;
        fill(other);
        FileHandle* handle = nullptr;
        EXPECT_TRUE(disk->open(QStringLiteral("image"), &handle, FileSystem::MODE_WRITE));
        EXPECT_TRUE(other.serialize(path, *handle));
        disk->close(handle);
        EXPECT_TRUE(disk->open(QStringLiteral("image"), &handle, FileSystem::MODE_READ));
        return handle;
    }

    static void fillWithTwo(_Register& other) { other._writeInteger(nullptr, "a/width", 2, SCOPE_USER); }

    Property<int> const width{"a/width", -1};
    Property<double> const size{"a/size", -1.0};
    Property<bool> const on{"a/on", false};
    Property<Theme> const theme{"a/theme", Theme::light};
    Property<int> const height{"a/height", -1}; // not set
    TemporaryDirectory const directory;
    std::unique_ptr<FileSystem> const disk =
        std::make_unique<filesystem::RealFileSystem>(QString::fromStdString(directory.string()));
};

} // namespace

// The front end.

TEST_F(KeptValue, IsReplacedWhenItIsSet) {
    width.set(2);
    EXPECT_EQ(2, width.get());
    size.set(2.5);
    EXPECT_EQ(2.5, size.get());
    on.set(false);
    EXPECT_FALSE(on.get());
    theme.set(Theme::system);
    EXPECT_EQ(Theme::system, theme.get());
}

TEST_F(KeptValue, IsReplacedWhenTheFirstValueIsSet) {
    height.set(2);
    EXPECT_EQ(2, height.get());
}

TEST_F(KeptValue, IsReplacedWhenItIsSetThroughACopy) {
    Property<int> const copy = width;
    copy.set(2);
    EXPECT_EQ(2, width.get());
    width.set(3);
    EXPECT_EQ(3, copy.get());
}

TEST_F(KeptValue, IsReplacedWhenItIsSetThroughAnotherDeclaration) {
    Property<int> const other("a/width", 5);
    ASSERT_EQ(1, other.get());
    other.set(2);
    EXPECT_EQ(2, width.get());
    width.set(3);
    EXPECT_EQ(3, other.get());
}

TEST_F(KeptValue, IsReplacedWhenItIsWritten) {
    write("a/width", 2);
    EXPECT_EQ(2, width.get());
}

TEST_F(KeptValue, IsReplacedWhenItIsWrittenUnderAnotherSpelling) {
    write("/a//width/", 2);
    EXPECT_EQ(2, width.get());
}

TEST_F(KeptValue, IsReplacedByAFallbackWhenItIsReset) {
    width.reset();
    EXPECT_EQ(-1, width.get());
    EXPECT_EQ(1.5, size.get());
}

TEST_F(KeptValue, IsReplacedByAFallbackWhenAllAreReset) {
    resetDeclaredProperties();
    EXPECT_EQ(-1, width.get());
    EXPECT_EQ(-1.0, size.get());
    EXPECT_FALSE(on.get());
    EXPECT_EQ(Theme::light, theme.get());
}

TEST_F(KeptValue, IsReplacedByAFallbackForAnotherKindOfValue) {
    write("a/width", "wide");
    EXPECT_EQ(-1, width.get());
    write("a/size", 1);
    EXPECT_EQ(-1.0, size.get());
    write("a/on", std::vector<bool>{true});
    EXPECT_FALSE(on.get());
    write("a/theme", "purple");
    EXPECT_EQ(Theme::light, theme.get());
}

TEST_F(KeptValue, IsReplacedBeforeListenersAreCalled) {
    std::vector<int> heard;
    Listener const listener{"a/width", [&](std::string const&) { heard.push_back(width.get()); }};
    width.set(2);
    width.reset();
    EXPECT_EQ((std::vector<int>{2, -1}), heard);
}

TEST_F(KeptValue, IsReplacedBetweenTwoChangesUnderOneLock) {
    Lock const lock;
    width.set(2);
    EXPECT_EQ(2, width.get());
    width.set(3);
    EXPECT_EQ(3, width.get());
}

TEST_F(KeptValue, IsReplacedInEveryThread) {
    width.set(2);
    int read = 0;
    std::thread([&] { read = width.get(); }).join();
    EXPECT_EQ(2, read);
    std::thread([&] { width.set(3); }).join();
    EXPECT_EQ(3, width.get());
}

// The register's writers.

TEST_F(KeptValue, IsReplacedByAWriteOfTheRegister) {
    settings()._writeInteger(nullptr, "a/width", 2, SCOPE_USER);
    EXPECT_EQ(2, width.get());
    settings()._writeNumber(nullptr, "a/size", 2.5, SCOPE_USER);
    EXPECT_EQ(2.5, size.get());
    settings()._writeBoolean(nullptr, "a/on", false, SCOPE_USER);
    EXPECT_FALSE(on.get());
    settings()._writeString(nullptr, "a/theme", "system", SCOPE_USER);
    EXPECT_EQ(Theme::system, theme.get());
}

TEST_F(KeptValue, IsReplacedByAFallbackWhenTheRegisterWritesAnotherKind) {
    std::vector<std::function<void()>> const writers = {
        [] { settings()._writeString(nullptr, "a/width", "2", SCOPE_USER); },
        [] { settings()._writeNumber(nullptr, "a/width", 2, SCOPE_USER); },
        [] { settings()._writeBoolean(nullptr, "a/width", true, SCOPE_USER); },
        [] { settings()._writeStrings(nullptr, "a/width", {"2"}, SCOPE_USER); },
        [] { settings()._writeNumbers(nullptr, "a/width", {2}, SCOPE_USER); },
        [] { settings()._writeIntegers(nullptr, "a/width", {2}, SCOPE_USER); },
        [] { settings()._writeBooleans(nullptr, "a/width", {true}, SCOPE_USER); },
    };
    for (std::size_t i = 0; i < writers.size(); ++i) {
        settings()._writeInteger(nullptr, "a/width", 1, SCOPE_USER);
        ASSERT_EQ(1, width.get());
        writers[i]();
        EXPECT_EQ(-1, width.get()) << i;
    }
}

TEST_F(KeptValue, IsReplacedByAWriteToAScopeThatIsSearchedEarlier) {
    settings()._writeInteger(nullptr, "a/height", 2, SCOPE_TEMPORARY);
    EXPECT_EQ(2, height.get());
    settings()._writeInteger(nullptr, "a/height", 3, SCOPE_GLOBAL);
    EXPECT_EQ(3, height.get());
    settings()._writeInteger(nullptr, "a/height", 4, SCOPE_USER);
    EXPECT_EQ(4, height.get());
}

TEST_F(KeptValue, IsReplacedByTheValueOfTheNextScopeWhenItIsRemoved) {
    settings()._writeInteger(nullptr, "a/width", 2, SCOPE_GLOBAL);
    ASSERT_EQ(1, width.get());
    settings().delProperty("a/width", SCOPE_USER);
    EXPECT_EQ(2, width.get());
}

// The register's structure.

TEST_F(KeptValue, IsReplacedByAFallbackWhenThePropertyIsRemoved) {
    settings().delProperty("a/width", SCOPE_USER);
    EXPECT_EQ(-1, width.get());
}

TEST_F(KeptValue, IsReplacedByAFallbackWhenTheGroupIsRemoved) {
    settings().delProperty("a", SCOPE_USER);
    EXPECT_EQ(-1, width.get());
    EXPECT_EQ(-1.0, size.get());
}

TEST_F(KeptValue, IsReplacedByAFallbackWhenTheScopeIsRemoved) {
    settings().delProperty("", SCOPE_USER);
    EXPECT_EQ(-1, width.get());
}

TEST_F(KeptValue, IsReplacedByAFallbackWhenAnEmptyPropertyHidesIt) {
    settings()._writeInteger(nullptr, "a/height", 2, SCOPE_TEMPORARY);
    ASSERT_EQ(2, height.get());
    settings().addProperty("a/height", SCOPE_USER);
    EXPECT_EQ(-1, height.get());
    EXPECT_NE("", height.problem());
}

TEST_F(KeptValue, IsReplacedByAFallbackWhenAGroupHidesIt) {
    settings()._writeInteger(nullptr, "a/height", 2, SCOPE_TEMPORARY);
    ASSERT_EQ(2, height.get());
    settings().addGroup("a/height", SCOPE_USER);
    EXPECT_EQ(-1, height.get());
}

// The register as a file system.

TEST_F(KeptValue, IsReplacedByAWriteToTheFile) {
    FileHandle* const file = opened("/user/a/width", FileSystem::MODE_WRITE);
    EXPECT_EQ(-1, width.get()) << "emptied";
    settings().writeByte(file, 'I');
    EXPECT_EQ(-1, width.get()) << "truncated";
    settings().writeInt(file, 2);
    EXPECT_EQ(2, width.get());
    settings().seek(file, -4, FileSystem::ORIGIN_CURRENT);
    EXPECT_EQ(2, width.get());
    settings().writeInt(file, 3);
    EXPECT_EQ(3, width.get()) << "in place";
    settings().close(file);
    EXPECT_EQ(3, width.get());
}

TEST_F(KeptValue, IsReplacedByAWriteToTheOpenedProperty) {
    FileHandle* const file = settings().openProperty("a/width", FileSystem::MODE_WRITE, SCOPE_USER);
    settings().writeByte(file, 'I');
    settings().writeInt(file, 2);
    settings().closeProperty(*file);
    EXPECT_EQ(2, width.get());
}

TEST_F(KeptValue, IsReplacedByAFallbackWhenTheFileIsRemoved) {
    ASSERT_TRUE(settings().remove("/user/a/width"));
    EXPECT_EQ(-1, width.get());
}

TEST_F(KeptValue, IsReplacedByAFallbackWhenADirectoryHidesTheFile) {
    settings()._writeInteger(nullptr, "a/height", 2, SCOPE_GLOBAL);
    ASSERT_EQ(2, height.get());
    ASSERT_TRUE(settings().mkdir("/user/a/height"));
    EXPECT_EQ(-1, height.get());
}

TEST_F(KeptValue, IsReplacedByAnImageOfTheScope) {
    settings().unserialize("/user", *image(fillWithTwo));
    EXPECT_EQ(2, width.get());
    EXPECT_EQ(-1.0, size.get());
}

TEST_F(KeptValue, IsReplacedByAnEmptyImageOfTheScope) {
    settings().unserialize("/user", *image([](_Register&) {}));
    EXPECT_EQ(-1, width.get());
}

TEST_F(KeptValue, IsReplacedByAnImageOfTheGroup) {
    settings().unserialize("/user/a", *image(fillWithTwo, "/user/a"));
    EXPECT_EQ(2, width.get());
}

TEST_F(KeptValue, IsReplacedByTheFirstImageOfItsGroup) {
    Property<int> const other{"b/width", -1};
    ASSERT_EQ(-1, other.get());
    settings().unserialize("/user/b", *image(fillWithTwo, "/user/a"));
    EXPECT_EQ(2, other.get());
}

TEST_F(KeptValue, IsReplacedByAnImageOfEverything) {
    settings().unserialize(*image(fillWithTwo, "/"));
    EXPECT_EQ(2, width.get());
}

// Register files.

namespace {

/** Two directories with register files. */
class KeptValueOfAFile : public testing::Test {
protected:
    KeptValueOfAFile() { fill(1); }

    /** Writes both files. */
    void fill(int value) const {
        saveInteger(user.string(), "a/width", value);
        saveInteger(global.string(), "a/height", value);
        RegisterProbe::_UserRegisterPath = user.string();
    }

    Property<int> const width{"a/width", -1};
    Property<int> const height{"a/height", -1};
    TemporaryDirectory const user;
    TemporaryDirectory const global;
};

} // namespace

TEST_F(KeptValueOfAFile, IsReadAfterInitialize) {
    initialize(global.string(), user.string());
    EXPECT_EQ(1, width.get());
    EXPECT_EQ(1, height.get());
}

TEST_F(KeptValueOfAFile, IsReplacedWhenTheFilesAreLoadedAgain) {
    initialize(global.string(), user.string());
    ASSERT_EQ(1, width.get());
    ASSERT_EQ(1, height.get());
    fill(2);
    {
        Lock const lock;
        _Register::getInstance()->load();
    }
    EXPECT_EQ(2, width.get());
    EXPECT_EQ(2, height.get());
}

TEST_F(KeptValueOfAFile, IsReadAgainOnceTheFileCanBeLoaded) {
    std::string const sound = fileBytes(user / registerFileName);
    writeFile(user / registerFileName, "damaged");
    EXPECT_THROW(static_cast<void>(width.get()), utils::Exception);
    writeFile(user / registerFileName, sound);
    EXPECT_EQ(1, width.get());
}

// Live settings.

namespace {

class KeptValueOfLiveSettings : public testing::Test {
protected:
    KeptValueOfLiveSettings() {
        options.userDirectory = user.string();
        options.globalDirectory = global.string();
        options.delay = std::chrono::hours(1);
    }

    /** Runs another process with live settings. */
    static void run(TemporaryDirectory const& saved, TemporaryDirectory const& read,
                    std::string const& actions) {
        std::string const command = LIVE_PROGRAM " " + saved.string() + " " + read.string() + " " + actions;
        ASSERT_EQ(0, std::system(command.c_str())) << command;
    }
    void inOther(std::string const& actions) const { run(user, global, actions); }
    void administer(std::string const& actions) const { run(global, user, actions); }

    Property<int> const width{"a/width", -1};
    TemporaryDirectory const user;
    TemporaryDirectory const global;
    LiveOptions options;
};

} // namespace

TEST_F(KeptValueOfLiveSettings, IsReadFromTheFile) {
    inOther("set a/width 1");
    LiveSettings const live(options);
    EXPECT_EQ(1, width.get());
}

TEST_F(KeptValueOfLiveSettings, IsReplacedByTheValueOfAnotherProcess) {
    inOther("set a/width 1");
    LiveSettings live(options);
    ASSERT_EQ(1, width.get());
    inOther("set a/width 2");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_EQ(2, width.get());
}

TEST_F(KeptValueOfLiveSettings, IsReplacedByTheFirstValueOfAnotherProcess) {
    LiveSettings live(options);
    ASSERT_EQ(-1, width.get());
    inOther("set a/width 2");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_EQ(2, width.get());
}

TEST_F(KeptValueOfLiveSettings, IsReplacedByAFallbackWhenAnotherProcessRemovesIt) {
    inOther("set a/width 1");
    LiveSettings live(options);
    ASSERT_EQ(1, width.get());
    inOther("delete a/width");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_EQ(-1, width.get());
}

TEST_F(KeptValueOfLiveSettings, IsReplacedByAFallbackWhenAnotherProcessReplacesItByAGroup) {
    inOther("set a/width 1");
    LiveSettings live(options);
    ASSERT_EQ(1, width.get());
    inOther("delete a/width group a/width");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_EQ(-1, width.get());
}

TEST_F(KeptValueOfLiveSettings, IsReplacedByTheAdministratorsValue) {
    LiveSettings live(options);
    ASSERT_EQ(-1, width.get());
    administer("set a/width 2");
    ASSERT_TRUE(live.sync().saved);
    EXPECT_EQ(2, width.get());
}

TEST_F(KeptValueOfLiveSettings, IsReplacedByTheNextLiveSettings) {
    {
        LiveSettings const live(options);
        width.set(1);
        ASSERT_EQ(1, width.get());
    }
    inOther("set a/width 2");
    LiveSettings const live(options);
    EXPECT_EQ(2, width.get());
}

// Process exit and fork.

namespace {

constexpr int held = 7;
constexpr int failed = 8;

/** When destroyed, ends the process with `held` or `failed`, depending on the check. */
struct AtEnd {
    ~AtEnd() {
        if (check)
            std::_Exit(check() ? held : failed);
    }
    std::function<bool()> check;
};

} // namespace

TEST(KeptValueAtExit, IsReplacedByTheFallbackOnceTheRegisterIsDestroyed) {
    EXPECT_EQ(held, inChild([] {
                  static Property<int> const width{"a/width", -1};
                  static AtEnd end; // older than the register, so destroyed after it
                  width.set(1);
                  if (width.get() == 1)
                      end.check = [] { return width.get() == -1; };
              }));
}

TEST(KeptValueAtExit, IsKeptUntilTheRegisterIsDestroyed) {
    EXPECT_EQ(held, inChild([] {
                  static Property<int> const width{"a/width", -1};
                  width.set(1);
                  static AtEnd end; // younger than the register, so destroyed before it
                  if (width.get() == 1)
                      end.check = [] { return width.get() == 1; };
              }));
}

TEST(KeptValueOfAForkedChild, IsReplacedByTheFallbackIfTheForkingThreadHeldTheLock) {
    Property<int> const width{"a/width", -1};
    width.set(1);
    ASSERT_EQ(1, width.get());
    Lock const lock;
    EXPECT_EQ(0, inChild([&] { EXPECT_EQ(-1, width.get()); }, support::Leave::atOnce));
    EXPECT_EQ(1, width.get());
}

TEST(KeptValueOfAForkedChild, IsReplacedByTheFallbackIfAnotherThreadHeldTheLock) {
    Property<int> const width{"a/width", -1};
    width.set(1);
    ASSERT_EQ(1, width.get());
    std::promise<void> taken;
    std::promise<void> release;
    std::thread holder([&] {
        Lock const lock;
        taken.set_value();
        release.get_future().wait();
    });
    taken.get_future().wait();
    EXPECT_EQ(held, inChild([&] { std::_Exit(width.get() == -1 ? held : failed); }, support::Leave::atOnce));
    release.set_value();
    holder.join();
}

TEST(KeptValueOfAForkedChild, IsIndependentOfTheParents) {
    Property<int> const width{"a/width", -1};
    width.set(1);
    ASSERT_EQ(1, width.get());
    EXPECT_EQ(0, inChild(
                     [&] {
                         EXPECT_EQ(1, width.get());
                         width.set(2);
                         EXPECT_EQ(2, width.get());
                     },
                     support::Leave::atOnce));
    EXPECT_EQ(1, width.get());
}

TEST(AForkedChild, DeclaresSettingsEvenIfOtherThreadsWereDeclaringThem) {
#ifdef UNDER_A_SANITIZER
    GTEST_SKIP() << "the sanitizer's allocator may be locked in a child forked while another thread runs";
#endif
    std::atomic<bool> isDone{false};
    std::thread declaring([&] {
        while (!isDone)
            Property<int> const passing{"a/passing", 1};
    });
    int crashes = 0;
    for (int i = 0; i < 300 && crashes == 0; ++i)
        crashes += inChild(
                       [] {
                           ::alarm(30); // for a child that hangs
                           Property<int> const own{"a/own", 1};
                       },
                       support::Leave::atOnce) != 0;
    isDone = true;
    declaring.join();
    EXPECT_EQ(0, crashes);
}

// The lock: if a read took it, these cases would hang, because the holder of the lock waits for the reader.

namespace {

template <class Call>
auto onAnotherThread(Call const& call) {
    std::optional<decltype(call())> result;
    std::thread([&] { result = call(); }).join();
    return *result;
}

} // namespace

TEST_F(KeptValue, IsReadWhileAnotherThreadHoldsTheLock) {
    Lock const lock;
    EXPECT_EQ(1, onAnotherThread([&] { return width.get(); }));
    EXPECT_EQ(1.5, onAnotherThread([&] { return size.get(); }));
    EXPECT_TRUE(onAnotherThread([&] { return on.get(); }));
    EXPECT_EQ(Theme::dark, onAnotherThread([&] { return theme.get(); }));
}

TEST_F(KeptValue, IsReadWhileAnotherThreadHoldsTheRegistersLock) {
    boost::unique_lock<boost::recursive_mutex> const lock(*_Register::_mutex);
    EXPECT_EQ(1, onAnotherThread([&] { return width.get(); }));
}

TEST_F(KeptValue, IsReadWithoutTheLockIfItIsAFallback) {
    write("a/theme", "purple");
    ASSERT_EQ(Theme::light, theme.get());
    ASSERT_EQ(-1, height.get());
    Lock const lock;
    EXPECT_EQ(-1, onAnotherThread([&] { return height.get(); }));
    EXPECT_EQ(Theme::light, onAnotherThread([&] { return theme.get(); }));
}

TEST_F(KeptValue, IsReadWithoutTheLockForEverySmallType) {
    Property<unsigned> const unsignedValue{"a/unsigned", 1U};
    Property<long> const longValue{"a/long", 2L};
    Property<float> const floatValue{"a/float", 3.0F};
    Property<std::chrono::milliseconds> const duration{"a/duration", std::chrono::milliseconds(4)};
    longValue.set(5);
    duration.set(std::chrono::milliseconds(6));
    static_cast<void>(unsignedValue.get());
    static_cast<void>(longValue.get());
    static_cast<void>(floatValue.get());
    static_cast<void>(duration.get());
    Lock const lock;
    EXPECT_EQ(1U, onAnotherThread([&] { return unsignedValue.get(); }));
    EXPECT_EQ(5L, onAnotherThread([&] { return longValue.get(); }));
    EXPECT_EQ(3.0F, onAnotherThread([&] { return floatValue.get(); }));
    EXPECT_EQ(std::chrono::milliseconds(6), onAnotherThread([&] { return duration.get(); }));
}

TEST_F(KeptValue, IsReadThroughACopyWithoutTheLock) {
    Property<int> const copy = width;
    Lock const lock;
    EXPECT_EQ(1, onAnotherThread([&] { return copy.get(); }));
}

TEST_F(KeptValue, IsReadWithoutTheLockWhileAListenerIsNotified) {
    int read = 0;
    Listener const listener{"a/height",
                            [&](std::string const&) { read = onAnotherThread([&] { return width.get(); }); }};
    utils::properties::_Register::getInstance()->markAsChanged(nullptr, "a/height"); // without a change
    EXPECT_EQ(1, read);
}

TEST_F(KeptValue, IsReadWithoutTheLockAfterAnEqualValueIsSet) {
    width.set(1);
    size.set(1.5);
    Lock const lock;
    EXPECT_EQ(1, onAnotherThread([&] { return width.get(); }));
}
