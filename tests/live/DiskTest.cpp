// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <functional>
#include <optional>

#include <sys/stat.h>
#include <unistd.h>

#include <utils/Exception.h>

#include "Live.h"
#include "support/FileSizeLimit.h"
#include "support/SmallDisk.h"

using namespace velmorand;
using support::FileSizeLimit;
using support::inChild;

namespace fs = std::filesystem;

namespace {

class LiveOnDisk : public live::Directories {
protected:
    /** Runs a program without root's privileges. */
    template <class Body>
    int asUser(Body&& body) {
        return inChild([&] {
            if (::geteuid() == 0) {
                constexpr unsigned nobody = 65'534;
                EXPECT_EQ(0, ::chmod(directory.path().c_str(), 0755));
                EXPECT_EQ(0, ::chown(options.userDirectory.c_str(), nobody, nobody));
                EXPECT_EQ(0, ::setgid(nobody));
                EXPECT_EQ(0, ::setuid(nobody));
            }
            body();
        });
    }
};

/** Live settings whose file may be damaged. */
class LiveWithDamage : public LiveOnDisk {
protected:
    LiveWithDamage() {
        save("a/x", 1);
        save("a/y", 2); // the first file is kept as the previous one
        _sound = live::bytes(file());
        _previous = live::bytes(previous());
    }

    [[nodiscard]] fs::path previous() const { return file().string() + ".previous"; }

    /** Opens the settings with these bytes in the file, and expects that a change can be saved then. */
    void tryWith(std::string const& bytes, std::string const& what) {
        SCOPED_TRACE(what);
        live::put(file(), bytes);
        live::put(previous(), _previous);
        EXPECT_EQ(0, inChild([&] { open(bytes); }));
        for (auto const& entry : fs::directory_iterator(options.userDirectory))
            if (entry.path() != file() && entry.path() != previous())
                fs::remove(entry.path());
    }

    [[nodiscard]] std::string const& sound() const { return _sound; }

private:
    void open(std::string const& bytes) {
        std::optional<LiveSettings> live;
        try {
            live.emplace(options);
        } catch (utils::Exception const&) {
            EXPECT_EQ(bytes, live::bytes(file()));
            return;
        }
        EXPECT_EQ(1, read<int>("a/x", -1));
        if (events.empty()) {
            EXPECT_EQ(_sound, bytes.substr(0, _sound.size()));
            EXPECT_EQ(2, read<int>("a/y", -1));
        } else {
            EXPECT_EQ(LiveEventKind::recovered, events[0].kind);
            EXPECT_EQ(bytes, live::bytes(events[0].keptAs));
        }
        write("a/z", 3);
        EXPECT_TRUE(live->sync().saved);
    }

    std::string _sound;
    std::string _previous;
};

} // namespace

TEST_F(LiveWithDamage, RecoverFromAFileThatIsTruncatedAnywhere) {
    for (std::size_t size = 0; size < sound().size(); ++size)
        tryWith(sound().substr(0, size), std::to_string(size) + " bytes");
}

TEST_F(LiveWithDamage, RecoverFromAWrongByteAnywhere) {
    for (std::size_t place = 0; place < sound().size(); ++place) {
        std::string bytes = sound();
        bytes[place] = static_cast<char>(bytes[place] ^ 0x10);
        tryWith(bytes, "byte " + std::to_string(place));
    }
}

TEST_F(LiveWithDamage, RecoverFromAFileOfAnotherKind) {
    tryWith(std::string(1, '\0'), "a zero");
    tryWith(std::string(100'000, '\0'), "zeros");
    tryWith(std::string(100'000, '\xFF'), "ones");
    tryWith("[settings]\nx=1\n", "text");
    tryWith(sound() + "more", "more after the end");
    tryWith(sound().substr(0, 10) + sound(), "two beginnings");
}

TEST_F(LiveWithDamage, StartEmptyWithoutAPreviousFile) {
    fs::remove(previous());
    live::put(file(), "damaged");
    EXPECT_EQ(0, inProgram([&](auto&) {
                  ASSERT_EQ(1U, events.size());
                  EXPECT_EQ(LiveEventKind::startedEmpty, events[0].kind);
                  EXPECT_EQ("damaged", live::bytes(events[0].keptAs));
                  EXPECT_FALSE(Property<int>("a/x").isSet());
              }));
}

TEST_F(LiveWithDamage, LeaveTheDamagedFileInItsPlaceUntilTheyCanReplaceIt) {
    live::put(file(), "damaged");
    EXPECT_EQ(0, inProgram([&](auto&) { EXPECT_EQ(1, read<int>("a/x", -1)); }));
    live::put(file(), "damaged again");
    EXPECT_EQ(0, inChild([&] {
                  FileSizeLimit const noRoom(0);
                  LiveSettings live(options);
                  EXPECT_EQ(1, read<int>("a/x", -1));
                  write("a/y", 3);
                  EXPECT_FALSE(live.sync().saved);
              }));
    expectStored("a/x", 1);
}

TEST_F(LiveWithDamage, KeepAFileThatIsDamagedWhileTheyRun) {
    EXPECT_EQ(0, inProgram([&](LiveSettings& live) {
                  live::put(file(), "damaged");
                  {
                      FileSizeLimit const noRoom(0);
                      EXPECT_FALSE(live.sync().saved);
                      EXPECT_EQ("damaged", live::bytes(file()));
                  }
                  EXPECT_TRUE(live.sync().saved);
                  auto const recovered =
                      std::find_if(events.begin(), events.end(), [](LiveEvent const& event) {
                          return event.kind == LiveEventKind::recovered;
                      });
                  ASSERT_NE(events.end(), recovered);
                  EXPECT_EQ("damaged", live::bytes(recovered->keptAs));
              }));
    EXPECT_NE("damaged", live::bytes(previous()));
    expectStored("a/y", 2);
}

TEST_F(LiveWithDamage, RefuseAFileThatIsNotRegular) {
    auto const refuse = [this](char const* what) {
        EXPECT_EQ(0, inChild([this] { EXPECT_THROW(LiveSettings const live(options), utils::Exception); }))
            << what;
        fs::remove(file());
    };
    fs::remove(file());
    ASSERT_EQ(0, ::mkfifo(file().c_str(), 0600));
    refuse("a pipe");
    fs::create_symlink(file(), file());
    refuse("a link to itself");
    fs::create_symlink("/dev/null", file());
    refuse("a device");
}

TEST_F(LiveOnDisk, AreSavedOnceTheDirectoryIsWritableAgain) {
    EXPECT_EQ(0, asUser([this] {
                  LiveSettings live(options);
                  write("a/x", 1);
                  EXPECT_EQ(0, ::chmod(options.userDirectory.c_str(), 0500));
                  EXPECT_FALSE(live.sync().saved);
                  EXPECT_FALSE(live.isSaved());
                  EXPECT_EQ(0, ::chmod(options.userDirectory.c_str(), 0700));
                  EXPECT_TRUE(live.sync().saved);
                  EXPECT_EQ(2U, events.size());
              }));
    expectStored("a/x", 1);
}

TEST_F(LiveOnDisk, RefuseAFileThatTheUserMayNotRead) {
    EXPECT_EQ(0, asUser([this] {
                  live::put(file(), "anything");
                  EXPECT_EQ(0, ::chmod(file().c_str(), 0));
                  EXPECT_THROW(LiveSettings const live(options), utils::Exception);
              }));
    EXPECT_EQ("anything", live::bytes(file()));
}

TEST_F(LiveOnDisk, AreSavedOnceAFullDiskHasRoomAgain) {
    int const status = support::withSmallDisk(options.userDirectory, "size=256k", [this] {
        fs::path const ballast = fs::path(options.userDirectory) / "ballast";
        LiveSettings live(options);
        write("a/x", 1);
        EXPECT_TRUE(live.sync().saved);
        std::string const before = live::bytes(file());
        live::put(ballast, std::string(1'000'000, 'x'));
        write("a/y", std::string(5'000, 'y'));
        EXPECT_FALSE(live.sync().saved);
        EXPECT_EQ(before, live::bytes(file()));
        fs::remove(ballast);
        EXPECT_TRUE(live.sync().saved);
        EXPECT_LT(5'000U, live::bytes(file()).size());
    });
    if (status == support::cannotMount)
        GTEST_SKIP() << "this process may not mount a tmpfs";
    EXPECT_EQ(0, status);
}
