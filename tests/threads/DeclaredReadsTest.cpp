// SPDX-License-Identifier: Apache-2.0
//
// Declared settings, read without the lock while another thread changes them. A reader must not get a value older than
// a change that it already knows of.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <filesystem/RealFileSystem.h>
#include <utils/properties/Register.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Lock.h>
#include <velmorand/Property.h>

#include "support/RegisterProbe.h"
#include "support/TemporaryDirectory.h"
#include "threads/Crew.h"

namespace {

enum class Hand { first, second, third, fourth };
VELMORAND_ENUM(Hand, {Hand::first, "first"}, {Hand::second, "second"}, {Hand::third, "third"},
               {Hand::fourth, "fourth"})

/** Eight bytes that can be verified: the second half is computed from the first. */
struct Pair {
    std::uint32_t number;
    std::uint32_t proof;
};

} // namespace

template <>
struct velmorand::Stored<Pair> {
    using Type = std::string;
    static std::string store(Pair pair) { return std::to_string(pair.number); }
    static std::optional<Pair> load(std::string const& text) {
        auto const number = static_cast<std::uint32_t>(std::stoul(text));
        return Pair{number, ~number};
    }
};

namespace {

using namespace velmorand;
using filesystem::FileHandle;
using filesystem::FileSystem;
using support::RegisterProbe;
using support::TemporaryDirectory;
using threads::Crew;
using threads::rounds;
using utils::properties::_Register;

constexpr char const* pairName = "litmus/pair";
constexpr char const* numberName = "litmus/number";
constexpr char const* flagName = "litmus/flag";
constexpr char const* handName = "litmus/hand";
constexpr char const* lastName = "litmus/last";

/** A number whose two halves are computed from an integer. */
double patternOf(int value) {
    std::uint64_t const half = 0x40000000U + static_cast<std::uint32_t>(value);
    std::uint64_t const bits = half << 32U | half;
    double pattern = 0;
    std::memcpy(&pattern, &bits, sizeof pattern);
    return pattern;
}

/** The integer, or -1 if the halves do not match. */
int madeFrom(double pattern) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &pattern, sizeof bits);
    auto const half = static_cast<std::uint32_t>(bits);
    return bits >> 32U == half ? static_cast<int>(half - 0x40000000U) : -1;
}

bool flagOf(int round) {
    return round % 2 != 0;
}

Hand handOf(int round) {
    return static_cast<Hand>(round % 4);
}

/** A setting of each type, in the order in which they are changed. */
struct Declarations {
    Property<Pair> pair{pairName, Pair{0, ~0U}};
    Property<double> number{numberName, patternOf(0)};
    Property<bool> flag{flagName, false};
    Property<Hand> hand{handName, Hand::first};
    Property<int> last{lastName, 0};
};

/** Changes all settings in order with `write(name, value)`. */
template <class Write>
void changeInOrder(int round, Write&& write) {
    write(pairName, std::to_string(round));
    write(numberName, patternOf(round));
    write(flagName, flagOf(round));
    write(handName, std::string(Stored<Hand>::store(handOf(round))));
    write(lastName, round);
}

/** Writes a value with the register's operation for its kind. */
struct Writer {
    _Register& settings;
    RegisterScope scope;

    void operator()(char const* name, std::string const& value) const {
        settings._writeString(nullptr, name, value, scope);
    }
    void operator()(char const* name, double value) const {
        settings._writeNumber(nullptr, name, value, scope);
    }
    void operator()(char const* name, int value) const {
        settings._writeInteger(nullptr, name, value, scope);
    }
    void operator()(char const* name, bool value) const {
        settings._writeBoolean(nullptr, name, value, scope);
    }
};

/** Writes the record of a value to the property's file. */
struct FileWriter {
    _Register& settings;

    void operator()(char const* name, std::string const& value) const {
        write(name, [&](FileHandle* file) {
            settings.writeByte(file, 'S');
            settings.writeInt(file, static_cast<int>(value.size()));
            settings.write(file, value.data(), static_cast<long>(value.size()));
        });
    }
    void operator()(char const* name, double value) const { Writer{settings, SCOPE_USER}(name, value); }
    void operator()(char const* name, bool value) const { Writer{settings, SCOPE_USER}(name, value); }
    void operator()(char const* name, int value) const {
        write(name, [&](FileHandle* file) {
            settings.writeByte(file, 'I');
            settings.writeInt(file, value);
        });
    }

private:
    template <class Write>
    void write(char const* name, Write&& write) const {
        FileHandle* file = nullptr;
        settings.open(QString::fromStdString(std::string("/user/") + name), &file, FileSystem::MODE_WRITE);
        write(file);
        settings.close(file);
    }
};

/** Whether the changes of a round become visible together or one by one. */
enum class Visible { together, oneByOne };

/** Tracks the rounds that a reader has seen; a later read must not return an older value. */
class Reader {
public:
    Reader(std::atomic<int>& wrong, Visible visible) : _wrong(wrong), _visible(visible) {}

    /** The last round that the reader knows to be complete. */
    [[nodiscard]] int complete() const { return _complete; }

    /** Records that the reader knows that a round is complete, without having read a value of it. */
    void hear(int round) {
        _complete = std::max(_complete, round);
        _seen = std::max(_seen, round);
    }

    /** Records that the reader has read the value of a round. */
    int see(int round) {
        if (round < _seen)
            ++_wrong;
        _seen = std::max(_seen, round);
        if (_visible == Visible::together)
            hear(round);
        return round;
    }

    /** Records that the reader has read the value that is changed last in its round. */
    int seeLast(int round) {
        _seen = _complete;
        see(round);
        hear(round);
        return round;
    }

    /**
     * Reads the settings in the reverse order of their changes. No value may be of an earlier round than the value read
     * before it. The flag and the hand do not contain their round, but if the first and the last value are of the same
     * round, the flag and the hand must be those of this round.
     */
    void readBackwards(Declarations const& settings) {
        int const begin = seeLast(settings.last.get());
        Hand const hand = settings.hand.get();
        bool const flag = settings.flag.get();
        see(madeFrom(settings.number.get()));
        int const end = seePair(settings.pair.get());
        if (begin == end && (flag != flagOf(end) || hand != handOf(end)))
            ++_wrong;
    }

    int seePair(Pair pair) {
        if (pair.proof != ~pair.number)
            ++_wrong;
        return see(static_cast<int>(pair.number));
    }

private:
    std::atomic<int>& _wrong;
    Visible _visible;
    int _complete = 0;
    int _seen = 0; ///< at least `_complete`
};

/** Lets the writer continue only after another read, so that each change is made while readers run. */
class Pace {
public:
    void haveRead(bool isNew) {
        _reads.fetch_add(1, std::memory_order_relaxed);
        if (!isNew)
            std::this_thread::yield(); // lets the writer run
    }

    void waitForAReader() {
        int const before = _reads.load(std::memory_order_relaxed);
        while (_reads.load(std::memory_order_relaxed) == before)
            std::this_thread::yield();
    }

private:
    std::atomic<int> _reads{0};
};

/**
 * Runs readers of all settings, and a writer that changes them in every round with `change(round)` and then publishes
 * the round in another variable.
 * Result: the number of wrong reads.
 */
template <class Change>
int wrongReads(int roundCount, Change&& change, Visible visible = Visible::together) {
    Declarations const shared;
    std::atomic<int> wrong{0};
    std::atomic<int> announced{0};
    Pace pace;
    Crew crew;
    crew.add(1, roundCount, 1, [&, round = 0](int /*writer*/, int /*round*/) mutable {
        pace.waitForAReader();
        change(++round);
        announced.store(round, std::memory_order_release);
    });
    // All readers read the settings. One also reads the published round, and another one other declarations of them.
    crew.add(3, 1, 1, [&](int readerNumber, int /*round*/) {
        Reader reader(wrong, visible);
        Declarations const own;
        Declarations const copies = shared;
        for (int before = 0; reader.complete() < roundCount; before = reader.complete()) {
            reader.readBackwards(shared);
            if (readerNumber == 1)
                reader.hear(announced.load(std::memory_order_acquire));
            if (readerNumber == 2) {
                reader.readBackwards(own);
                reader.seeLast(copies.last.get());
            }
            reader.readBackwards(copies);
            pace.haveRead(reader.complete() != before);
        }
        reader.readBackwards(own);
        reader.readBackwards(shared);
    });
    crew.run();
    return wrong;
}

_Register& theRegister() {
    return *_Register::getInstance();
}

} // namespace

TEST(ReadsWithoutTheLock, SeeChangesInTheirOrder) {
    Declarations const settings;
    EXPECT_EQ(0, wrongReads(rounds(5000), [&](int round) {
                  Lock const lock;
                  settings.pair.set({static_cast<std::uint32_t>(round), 0});
                  settings.number.set(patternOf(round));
                  settings.flag.set(flagOf(round));
                  settings.hand.set(handOf(round));
                  settings.last.set(round);
              }));
}

TEST(ReadsWithoutTheLock, SeeWritesOfTheRegisterInTheirOrder) {
    EXPECT_EQ(0, wrongReads(rounds(5000), [](int round) {
                  Lock const lock;
                  changeInOrder(round, Writer{theRegister(), SCOPE_USER});
              }));
}

// Without a lock around the round, each change becomes visible before the next one is made.
TEST(ReadsWithoutTheLock, SeeChangesOneByOneInTheirOrder) {
    EXPECT_EQ(0, wrongReads(
                     rounds(5000),
                     [](int round) {
                         changeInOrder(round, Writer{theRegister(), SCOPE_USER});
                     },
                     Visible::oneByOne));
}

TEST(ReadsWithoutTheLock, SeeChangesOfFilesInTheirOrder) {
    theRegister().addGroup("litmus", SCOPE_USER);
    EXPECT_EQ(0, wrongReads(rounds(5000), [](int round) {
                  Lock const lock;
                  changeInOrder(round, FileWriter{theRegister()});
              }));
}

// Even rounds write to the temporary scope, and become visible when the values in the user scope are removed.
TEST(ReadsWithoutTheLock, SeeRemovalsInTheirOrder) {
    EXPECT_EQ(0, wrongReads(rounds(5000), [](int round) {
                  if (round % 2 != 0) {
                      Lock const lock;
                      changeInOrder(round, Writer{theRegister(), SCOPE_USER});
                      return;
                  }
                  changeInOrder(round, Writer{theRegister(), SCOPE_TEMPORARY});
                  Lock const lock;
                  for (char const* const name : {pairName, numberName, flagName, handName, lastName})
                      theRegister().delProperty(name, SCOPE_USER);
              }));
}

// The value of a round is either an override or in the scope below.
TEST(ReadsWithoutTheLock, SeeOverridesInTheirOrder) {
    Declarations const settings;
    EXPECT_EQ(0, wrongReads(rounds(5000), [&](int round) {
                  if (round % 2 != 0) {
                      Lock const lock;
                      settings.pair.override({static_cast<std::uint32_t>(round), 0});
                      settings.number.override(patternOf(round));
                      settings.flag.override(flagOf(round));
                      settings.hand.override(handOf(round));
                      settings.last.override(round);
                      return;
                  }
                  changeInOrder(round, Writer{theRegister(), SCOPE_USER});
                  Lock const lock;
                  settings.pair.clearOverride();
                  settings.number.clearOverride();
                  settings.flag.clearOverride();
                  settings.hand.clearOverride();
                  settings.last.clearOverride();
              }));
}

// The value of a round is the administrator's while the settings are locked, and the user's otherwise.
TEST(ReadsWithoutTheLock, SeeLocksInTheirOrder) {
    EXPECT_EQ(0, wrongReads(rounds(5000), [](int round) {
                  // In the first round, the user has no values that hide the administrator's while they are written.
                  std::optional<Lock> wholeFirstRound;
                  if (round == 1)
                      wholeFirstRound.emplace();
                  bool const isLocked = round % 2 != 0;
                  changeInOrder(round, Writer{theRegister(), isLocked ? SCOPE_GLOBAL : SCOPE_USER});
                  std::vector<std::string> const list(isLocked ? 1 : 0, "litmus");
                  theRegister()._writeStrings(nullptr, "velmorand/locked", list, SCOPE_GLOBAL);
              }));
}

TEST(ReadsWithoutTheLock, SeeAnImageAllAtOnce) {
    TemporaryDirectory const directory;
    RegisterProbe other;
    filesystem::RealFileSystem disk(QString::fromStdString(directory.string()));
    EXPECT_EQ(0, wrongReads(rounds(300), [&](int round) {
                  changeInOrder(round, Writer{other, SCOPE_USER});
                  FileHandle* file = nullptr;
                  disk.open("image", &file, FileSystem::MODE_WRITE);
                  other.serialize("/user", *file);
                  disk.close(file);
                  disk.open("image", &file, FileSystem::MODE_READ);
                  {
                      Lock const lock;
                      theRegister().unserialize("/user", *file);
                  }
                  disk.close(file);
              }));
}

TEST(ReadsWithoutTheLock, SeeALoadedFileAllAtOnce) {
    TemporaryDirectory const directory;
    RegisterProbe other;
    RegisterProbe::_UserRegisterPath = directory.string();
    EXPECT_EQ(0, wrongReads(rounds(300), [&](int round) {
                  changeInOrder(round, Writer{other, SCOPE_USER});
                  other.save();
                  Lock const lock;
                  theRegister().load();
              }));
}

// For these settings, this is a save by another process.
TEST(ReadsWithoutTheLock, SeeAMergeAllAtOnce) {
    TemporaryDirectory const user;
    TemporaryDirectory const global;
    RegisterProbe other;
    LiveOptions options;
    options.userDirectory = user.string();
    options.globalDirectory = global.string();
    options.delay = std::chrono::hours(1);
    LiveSettings live(options);
    RegisterProbe::_UserRegisterPath = user.string(); // for `other`
    EXPECT_EQ(0, wrongReads(rounds(200), [&](int round) {
                  changeInOrder(round, Writer{other, SCOPE_USER});
                  other.save();
                  EXPECT_TRUE(live.sync().saved);
              }));
}

// Every thread that finds the kept value out of date reads it and keeps it for all, so several may do so at once.
TEST(ReadsWithoutTheLock, ReturnWholeValuesKeptByAnyThread) {
    Property<Pair> const shared{pairName, Pair{0, ~0U}};
    int const roundCount = rounds(5000);
    std::atomic<int> wrong{0};
    Pace pace;
    Crew crew;
    crew.add(1, roundCount, 1, [&, round = 0](int /*writer*/, int /*round*/) mutable {
        pace.waitForAReader();
        Writer{theRegister(), SCOPE_USER}(pairName, std::to_string(++round));
    });
    crew.add(6, 1, 1, [&](int /*reader*/, int /*round*/) {
        Reader reader(wrong, Visible::together);
        for (int before = 0; reader.complete() < roundCount; before = reader.complete()) {
            reader.seePair(shared.get());
            pace.haveRead(reader.complete() != before);
        }
    });
    crew.run();
    EXPECT_EQ(0, wrong);
}

// A thread publishes a value that it has read; threads that see it must not read an older one.
TEST(ReadsWithoutTheLock, AreNotOlderThanAReadReportedByAnotherThread) {
    Declarations const settings;
    int const roundCount = rounds(5000);
    std::atomic<int> wrong{0};
    std::atomic<int> told{0};
    Pace pace;
    Crew crew;
    crew.add(1, roundCount, 1, [&, round = 0](int /*writer*/, int /*round*/) mutable {
        pace.waitForAReader();
        Lock const lock;
        changeInOrder(++round, Writer{theRegister(), SCOPE_USER});
    });
    crew.add(1, 1, 1, [&](int /*teller*/, int /*round*/) {
        while (told.load(std::memory_order_relaxed) < roundCount) {
            told.store(settings.last.get(), std::memory_order_release);
            std::this_thread::yield();
        }
    });
    crew.add(2, 1, 1, [&](int /*listener*/, int /*round*/) {
        Reader reader(wrong, Visible::together);
        for (int before = 0; reader.complete() < roundCount; before = reader.complete()) {
            reader.hear(told.load(std::memory_order_acquire));
            reader.see(madeFrom(settings.number.get()));
            reader.seePair(settings.pair.get());
            pace.haveRead(reader.complete() != before);
        }
    });
    crew.run();
    EXPECT_EQ(0, wrong);
}
