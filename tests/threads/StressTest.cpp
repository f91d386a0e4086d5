// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <atomic>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include <boost/thread/lock_types.hpp>
#include <gtest/gtest.h>

#include <filesystem/RAMFileSystem.h>
#include <filesystem/RealFileSystem.h>

#include "notification/Listener.h"
#include "support/Failure.h"
#include "support/TemporaryDirectory.h"
#include "threads/Crew.h"
#include "threads/Stamps.h"

namespace {

using notification::Listener;
using support::RegisterProbe;
using threads::Crew;
using threads::isMade;
using threads::rounds;
using threads::Stamp;
using threads::Stamped;
using threads::tellsItsStamp;
using utils::properties::_Register;
using utils::properties::RegisterScope;
using utils::properties::SCOPE_GLOBAL;
using utils::properties::SCOPE_TEMPORARY;
using utils::properties::SCOPE_USER;
using Lock = boost::unique_lock<boost::recursive_mutex>;

/**
 * Properties of one kind that several threads share, the writes to them, and the number of errors. All writers make
 * the same number of turns.
 *
 * Values are checked by their stamps. Booleans have none: half of them are written and read with the lock held and
 * compared with the last value written, the others are written and read without it and only their last value is
 * checked.
 */
template <class Kind>
class Shared {
public:
    explicit Shared(_Register& settings) : _settings(settings) {
        for (std::uint32_t property = 0; property < Stamp::properties; ++property)
            write({property, 0, 0}, nullptr);
    }

    [[nodiscard]] static std::string name(std::uint32_t property) {
        return std::string("shared/") + Kind::name + '/' + std::to_string(property);
    }

    void write(Stamp stamp, void* sender) {
        if (stamp.turn >= Stamp::turns)
            std::abort(); // the run is too long for the stamps
        auto const value = Stamped<Kind>::make(stamp);
        _begun.at(stamp.property).at(stamp.writer).store(stamp.turn, std::memory_order_relaxed);
        Lock const lock = lockFor(stamp.property);
        if (lock)
            _last.at(stamp.property) = value;
        Kind::write(_settings, sender, name(stamp.property), value, scope(stamp.property));
    }

    /** The last turn of each writer that a reader has seen. */
    using Seen = std::array<std::array<std::uint32_t, Stamp::writers>, Stamp::properties>;

    /** Reads a property. Its value must have been written there, and must not be older than one seen before. */
    void read(std::uint32_t property, Seen& seen) {
        Lock const lock = lockFor(property);
        typename Kind::Value value{};
        Kind::read(_settings, name(property), value);
        if (lock && value != _last.at(property))
            ++wrong;
        if constexpr (!tellsItsStamp<Kind>)
            return;
        Stamp stamp{};
        bool const sound =
            isMade<Kind>(value, property, stamp) &&
            stamp.turn <= _begun.at(property).at(stamp.writer).load(std::memory_order_relaxed) &&
            stamp.turn >= seen.at(property).at(stamp.writer);
        if (!sound)
            ++wrong;
        else
            seen.at(property).at(stamp.writer) = stamp.turn;
    }

    void readType(std::uint32_t property) {
        auto element = static_cast<utils::properties::Type>(0);
        std::string tags(1, static_cast<char>(_settings.readPropertyType(name(property), &element)));
        if (element != 0)
            tags += static_cast<char>(element);
        if (tags != Kind::tags)
            ++wrong;
    }

    /** Expects the value of every property to be the last one of some writer: no write is lost. */
    void expectTheLastWrites() {
        for (std::uint32_t property = 0; property < Stamp::properties; ++property) {
            auto const value = Kind::read(_settings, name(property));
            Stamp stamp{property, 0, _begun.at(property).at(0)};
            EXPECT_TRUE(isMade<Kind>(value, property, stamp)) << Kind::name;
            EXPECT_EQ(_begun.at(property).at(stamp.writer), stamp.turn) << Kind::name;
            EXPECT_EQ(Stamped<Kind>::make(stamp), value) << Kind::name;
        }
        EXPECT_EQ(0, wrong) << Kind::name;
    }

    std::atomic<int> wrong{0};

private:
    static RegisterScope scope(std::uint32_t property) {
        return property == 0 ? SCOPE_GLOBAL : property == 1 ? SCOPE_TEMPORARY : SCOPE_USER;
    }

    /** The register's lock for properties whose last value is recorded; otherwise no lock. */
    static Lock lockFor(std::uint32_t property) {
        return tellsItsStamp<Kind> || property % 2 == 0 ? Lock() : Lock(*_Register::_mutex);
    }

    _Register& _settings;
    std::array<std::array<std::atomic<std::uint32_t>, Stamp::writers>, Stamp::properties> _begun{};
    std::array<typename Kind::Value, Stamp::properties> _last{}; // guarded by the register's lock
};

template <class Kind>
class Stress : public testing::Test {};
TYPED_TEST_SUITE(Stress, kinds::All, kinds::KindNames);

} // namespace

TYPED_TEST(Stress, ReadersSeeOnlyWrittenValues) {
    _Register& settings = *_Register::getInstance();
    Shared<TypeParam> shared(settings);
    Crew crew;
    crew.add(3, rounds(3000), Stamp::properties, [&](int writer, int round) {
        for (std::uint32_t property = 0; property < Stamp::properties; ++property)
            shared.write(
                {property, static_cast<std::uint32_t>(writer), static_cast<std::uint32_t>(round) + 1},
                nullptr);
    });
    crew.add(3, rounds(3000), 2 * Stamp::properties,
             [&, seen = typename Shared<TypeParam>::Seen{}](int /*reader*/, int /*round*/) mutable {
                 for (std::uint32_t property = 0; property < Stamp::properties; ++property) {
                     shared.read(property, seen);
                     shared.readType(property);
                 }
             });
    crew.run();
    shared.expectTheLastWrites();
}

// The kind of a property changes while it is read: readers get a complete value or an exception.
TEST(StressOfKinds, ReadersSeeOnlyCompleteValuesOfTheirKind) {
    _Register& settings = *_Register::getInstance();
    settings._writeInteger(nullptr, "x", Stamped<kinds::Integer>::make({0, 0, 0}), SCOPE_USER);
    std::atomic<int> wrong{0};
    Crew crew;
    crew.add(3, rounds(1000), 8, [&](int writer, int round) {
        kinds::forEach([&](auto kind) {
            using Kind = decltype(kind);
            Kind::write(settings, nullptr, "x",
                        Stamped<Kind>::make(
                            {0, static_cast<std::uint32_t>(writer), static_cast<std::uint32_t>(round)}),
                        SCOPE_USER);
        });
    });
    crew.add(3, rounds(1000), 8, [&](int /*reader*/, int /*round*/) {
        kinds::forEach([&](auto kind) {
            using Kind = decltype(kind);
            typename Kind::Value value{};
            std::string const failure = support::failure([&] { Kind::read(settings, "x", value); });
            Stamp stamp{};
            if (failure == "nothing" ? !isMade<Kind>(value, 0, stamp) : failure != "PropertyBadType")
                ++wrong;
        });
    });
    crew.run();
    EXPECT_EQ(0, wrong);
}

namespace {

/** Thrown by a listener, and then by the writer. */
struct Thrown {};

template <class Change>
void letListenersThrow(Change change) {
    try {
        change();
    } catch (Thrown const&) {
        // The change has been made, and is announced again with the next one.
    }
}

/** Reads a property whenever it changes. It listens to the group, so it is called after the property's listeners. */
template <class Kind>
class Watcher : public _Register::Callback {
public:
    Watcher(_Register& settings, std::string name) : _settings(settings), _name(std::move(name)) {
        _settings.addCallback(_name.substr(0, _name.rfind('/')), this);
    }
    Watcher(Watcher const&) = delete;
    Watcher& operator=(Watcher const&) = delete;
    ~Watcher() override { _settings.removeCallback(this); }

    void propertyChanged(std::string const& name) override {
        if (name == _name)
            Kind::read(_settings, name, last);
    }
    void* owner() override { return this; }

    typename Kind::Value last{};

private:
    _Register& _settings;
    std::string _name;
};

/** One of two listeners under one name: the first to be called removes and deletes both. */
class OneShot : public _Register::Callback {
public:
    OneShot(_Register& settings, int& told) : _settings(settings), _told(told) {}

    static void addTwo(_Register& settings, std::string const& key, int& told) {
        Lock const lock(*_Register::_mutex);
        auto* const first = new OneShot(settings, told);
        auto* const second = new OneShot(settings, told);
        first->_other = second;
        second->_other = first;
        settings.addCallback(key, first);
        settings.addCallback(key, second);
    }

    void propertyChanged(std::string const& /*name*/) override {
        ++_told;
        _settings.removeCallback(this);
        _settings.removeCallback(_other);
        delete _other;
        delete this;
    }
    void* owner() override { return this; }

private:
    _Register& _settings;
    int& _told; // guarded by the register's lock
    OneShot* _other = nullptr;
};

/** Throws whenever it is called. */
class Thrower : public _Register::Callback {
public:
    void propertyChanged(std::string const& /*name*/) override { throw Thrown(); }
    void* owner() override { return this; }
};

/** The shared properties of a kind, one of them with a watcher. */
template <class Kind>
struct Watched {
    explicit Watched(_Register& settings)
        : shared(settings), watcher(settings, Shared<Kind>::name(watched)) {}

    static constexpr std::uint32_t watched = Stamp::properties - 1;
    Shared<Kind> shared;
    Watcher<Kind> watcher;
};

using EveryKind = std::tuple<Watched<kinds::String>, Watched<kinds::Number>, Watched<kinds::Integer>,
                             Watched<kinds::Boolean>, Watched<kinds::Strings>, Watched<kinds::Numbers>,
                             Watched<kinds::Integers>, Watched<kinds::Booleans>>;

template <class Visit>
void forEach(EveryKind& kinds, Visit visit) {
    std::apply([&](auto&... kind) { (visit(kind), ...); }, kinds);
}

/** Changes the structure and checks it, holding the lock around operations that do not take it. */
void changeStructure(_Register& settings, int thread, int round) {
    std::string const group = "structure/" + std::to_string(thread);
    std::string const name = group + '/' + std::to_string(round % 5);
    settings.addProperty(name, SCOPE_USER);
    EXPECT_TRUE(settings.propertyExists(name, SCOPE_USER));
    EXPECT_TRUE(settings.propertyExists(name));
    EXPECT_TRUE(settings.groupExists(group, SCOPE_USER));
    EXPECT_TRUE(settings.groupExists(group));
    {
        Lock const lock(*_Register::_mutex);
        settings.addGroup(group + "/inner", SCOPE_USER);
        EXPECT_EQ("/user/" + name, settings._locateProperty(name));
        EXPECT_LE(2U, settings.propertyList(group, SCOPE_USER).size());
        letListenersThrow([&] { settings.markAsChanged(nullptr, name); });
        filesystem::FileHandle* const handle = settings.openProperty(name, _Register::MODE_WRITE, SCOPE_USER);
        settings.writeInt(handle, round);
        settings.closeProperty(*handle);
    }
    settings.delProperty(round % 2 == 0 ? name : group, SCOPE_USER);
    EXPECT_FALSE(settings.propertyExists(name, SCOPE_USER));
}

/** Adds and removes a listener, which must not be called after its removal. */
void passBy(_Register& settings, int round) {
    bool gone = false; // guarded by the register's lock
    std::string const key = round % 2 == 0 ? "shared" : Shared<kinds::Integer>::name(0);
    Listener passer;
    passer.whenTold = [&](std::string const& name) {
        EXPECT_FALSE(gone);
        EXPECT_TRUE(settings.propertyExists(name));
    };
    settings.addCallback(key, &passer);
    settings.addCallback("shared/Number", &passer);
    settings.removeCallback(key, &passer);
    settings.removeCallback(&passer);
    Lock const lock(*_Register::_mutex);
    gone = true;
}

} // namespace

TEST(StressOfEverything, LosesNothingAndNotifiesEveryListener) {
    support::TemporaryDirectory const directory;
    RegisterProbe::_UserRegisterPath = directory.string();
    _Register& settings = *_Register::getInstance();
    EveryKind kinds(settings, settings, settings, settings, settings, settings, settings, settings);
    int const shots = rounds(1000);
    int told = 0;

    Crew crew;
    crew.add(3, rounds(300), 8 * Stamp::properties, [&](int writer, int round) {
        forEach(kinds, [&](auto& kind) {
            for (std::uint32_t property = 0; property < Stamp::properties; ++property)
                letListenersThrow([&] {
                    kind.shared.write(
                        {property, static_cast<std::uint32_t>(writer), static_cast<std::uint32_t>(round) + 1},
                        nullptr);
                });
        });
    });
    using SeenOfEach = std::array<Shared<kinds::String>::Seen, std::tuple_size_v<EveryKind>>;
    crew.add(2, rounds(300), 8 * Stamp::properties,
             [&, seenOfEach = SeenOfEach{}](int /*reader*/, int /*round*/) mutable {
                 EXPECT_EQ(&settings, _Register::getInstance());
                 auto* seen = seenOfEach.data();
                 forEach(kinds, [&](auto& kind) {
                     for (std::uint32_t property = 0; property < Stamp::properties; ++property)
                         kind.shared.read(property, *seen);
                     ++seen;
                 });
             });
    crew.add(2, rounds(1000), 5, [&](int /*passer*/, int round) { passBy(settings, round); });
    crew.add(1, shots, 3, [&](int /*shooter*/, int /*round*/) {
        OneShot::addTwo(settings, "shots", told);
        letListenersThrow([&] { settings._writeBoolean(nullptr, "shots/fired", true, SCOPE_TEMPORARY); });
    });
    crew.add(1, rounds(500), 3, [&](int /*thrower*/, int /*round*/) {
        Thrower thrower;
        settings.addCallback(Shared<kinds::String>::name(Watched<kinds::String>::watched), &thrower);
        letListenersThrow([&] { settings.notify(nullptr); });
        settings.removeCallback(&thrower);
    });
    crew.add(1, rounds(20), 1, [&](int /*saver*/, int /*round*/) {
        Lock const lock(*_Register::_mutex);
        settings.save();
    });
    crew.add(2, rounds(1000), 13, [&](int thread, int round) { changeStructure(settings, thread, round); });
    crew.run();

    // Announces the changes that are still pending because a listener threw.
    settings.notify(nullptr);
    EXPECT_EQ(shots, told);
    EXPECT_TRUE(forms::pending(settings).empty());
    EXPECT_TRUE(support::lockIsFree());
    forEach(kinds, [&](auto& kind) {
        kind.shared.expectTheLastWrites();
        auto const lastTold = kind.watcher.last;
        kind.watcher.propertyChanged(kind.shared.name(kind.watched));
        EXPECT_EQ(kind.watcher.last, lastTold);
    });
}

namespace {

/** Whether a register file contains the two values of the same stamp. */
bool holdsAPair(std::string const& directory) {
    filesystem::RealFileSystem disk(QString::fromStdString(directory));
    filesystem::RAMFileSystem tree;
    filesystem::FileHandle* handle = nullptr;
    if (!disk.open("Velmorand.dat", &handle, filesystem::FileSystem::MODE_READ))
        return false;
    tree.unserialize("/user", *handle);
    auto const content = [&](char const* path) {
        filesystem::FileHandle* file = nullptr;
        std::string bytes = tree.open(path, &file, filesystem::FileSystem::MODE_READ)
                                ? tree.readBytes(file, static_cast<int>(tree.size(QString::fromLatin1(path))))
                                : std::string();
        tree.close(file);
        return bytes;
    };
    std::string const text = content("/user/pair/text");
    if (text.size() < 5)
        return false;
    Stamp const stamp = Stamped<kinds::String>::claimed(text.substr(5));
    return text == kinds::recordOf<kinds::String>(Stamped<kinds::String>::make(stamp)) &&
           content("/user/pair/list") ==
               kinds::recordOf<kinds::Numbers>(Stamped<kinds::Numbers>::make(stamp));
}

} // namespace

TEST(StressOfSaves, FilesContainAConsistentState) {
    support::TemporaryDirectory const directory;
    RegisterProbe::_UserRegisterPath = directory.string();
    _Register& settings = *_Register::getInstance();
    auto const write = [&](Stamp stamp) {
        Lock const lock(*_Register::_mutex);
        settings._writeString(nullptr, "pair/text", Stamped<kinds::String>::make(stamp), SCOPE_USER);
        settings._writeNumbers(nullptr, "pair/list", Stamped<kinds::Numbers>::make(stamp), SCOPE_USER);
    };
    write({0, 0, 0});
    settings.save();

    std::atomic<int> wrong{0};
    Crew crew;
    crew.add(2, rounds(500), 2, [&](int writer, int round) {
        write({0, static_cast<std::uint32_t>(writer), static_cast<std::uint32_t>(round)});
    });
    crew.add(2, rounds(50), 1, [&](int /*saver*/, int /*round*/) {
        Lock const lock(*_Register::_mutex);
        settings.save();
    });
    crew.add(2, rounds(100), 1, [&](int /*loader*/, int /*round*/) {
        if (!holdsAPair(directory.string()))
            ++wrong;
    });
    crew.run();
    EXPECT_EQ(0, wrong);
}
