// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <utils/properties/Register.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Lock.h>
#include <velmorand/Property.h>

#include "Soak.h"
#include "support/TemporaryDirectory.h"

using namespace velmorand;
using utils::properties::_Register;

namespace soak {
namespace {

/** The number in an environment variable; `otherwise` if it is not set. */
int number(char const* name, int otherwise) {
    char const* const value = std::getenv(name);
    return value != nullptr ? std::atoi(value) : otherwise;
}

void complain(Record& record, std::string const& what) {
    ++record.problems;
    std::cerr << "problem in process " << ::getpid() << ": " + what + '\n';
}

int valueOf(std::string const& name) {
    return read<int>(name, absent);
}

LiveOptions optionsFor(Record& record, std::filesystem::path const& directory,
                       std::chrono::milliseconds delay) {
    LiveOptions options;
    options.userDirectory = (directory / "user").string();
    options.globalDirectory = (directory / "global").string();
    options.delay = delay;
    options.onEvent = [&record](LiveEvent const& event) {
        complain(record, "event " + std::to_string(static_cast<int>(event.kind)) + ": " + event.reason);
    };
    return options;
}

/** Checks the values of a lane's names in a process that has just opened the file. */
void checkLane(Record& record, int lane) {
    for (int name = 0; name < ownNames; ++name) {
        Own const& own = record.own[lane][name];
        if (int const found = valueOf(ownName(lane, name)); !own.allows(found))
            complain(record, ownName(lane, name) + " is " + std::to_string(found) +
                                 " in the file, acknowledged " + std::to_string(own.acknowledged) +
                                 ", newest " + std::to_string(own.newest));
    }
}

/** A thread that changes its own names and names that all threads share. */
class Lane {
public:
    Lane(Record& record, LiveSettings& live, int lane)
        : _record(record), _live(live), _lane(lane),
          _chance(static_cast<unsigned>(lane + 1000 * record.serial[lane])) {}

    /** Checks the content of the file, and records it as the acknowledged state. */
    void start() {
        checkLane(_record, _lane);
        for (int name = 0; name < ownNames; ++name) {
            Own& one = own(name);
            int const found = valueOf(ownName(_lane, name));
            one.acknowledged = found;
            one.newest = found;
            one.isRemoved = false;
        }
    }

    void run() {
        try {
            for (;;) {
                step();
                if (_chance() % 4 != 0 && !sync())
                    break;
            }
        } catch (utils::Exception const&) { // the process is exiting
        }
        for (;;)
            ::pause();
    }

private:
    [[nodiscard]] Own& own(int name) { return _record.own[_lane][name]; }

    void step() {
        int const name = static_cast<int>(_chance() % ownNames);
        checkMemory(name);
        switch (_chance() % 16) {
        case 0:
            removeGroup();
            break;
        case 1:
        case 2:
            remove(name);
            break;
        case 3:
            addGroup();
            break;
        case 4:
            clash();
            break;
        case 5:
        case 6:
        case 7:
            writeShared(static_cast<int>(_chance() % sharedNames));
            break;
        default:
            writeOwn(name);
        }
    }

    /** Checks that a name that only this thread changes has its newest value in memory. */
    void checkMemory(int name) {
        int const expected = own(name).newest;
        // A process that is exiting cannot read any more.
        if (int const found = valueOf(ownName(_lane, name)); found != expected && !_record.leaves[_lane / 2])
            complain(_record, ownName(_lane, name) + " is " + std::to_string(found) + " in memory, not " +
                                  std::to_string(expected));
    }

    void writeOwn(int name) {
        int const value = ++_record.serial[_lane];
        own(name).highest = value;
        own(name).newest = value;
        write(ownName(_lane, name), value);
    }

    void remove(int name) {
        own(name).isRemoved = true;
        own(name).newest = absent;
        _Register::getInstance()->delProperty(ownName(_lane, name), SCOPE_USER);
    }

    void addGroup() {
        Lock const lock; // addGroup does not take it
        _Register::getInstance()->addGroup(groupName(_lane) + "/empty", SCOPE_USER);
    }

    void removeGroup() {
        for (int name = ownNames - grouped; name < ownNames; ++name) {
            own(name).isRemoved = true;
            own(name).newest = absent;
        }
        _Register::getInstance()->delProperty(groupName(_lane), SCOPE_USER);
    }

    void writeShared(int name) {
        int const value = _record.nextShared++;
        if (value >= mostShared)
            return;
        Shared& shared = _record.shared[value];
        shared.name = name;
        shared.begun = now();
        write(sharedName(name), value);
        _sharedToAcknowledge.push_back(value);
    }

    /** Changes a name that is a property for some threads and a group for others. */
    void clash() {
        Lock const lock;
        bool const isGroup = _chance() % 2 == 0;
        if (_Register::getInstance()->groupExists("clash", SCOPE_USER) != isGroup)
            _Register::getInstance()->delProperty("clash", SCOPE_USER);
        write(isGroup ? "clash/" + std::to_string(_lane) : "clash", 1);
    }

    /** Saves this lane's changes and records them as acknowledged. Result: whether the process continues. */
    bool sync() {
        SaveResult const result = _live.sync();
        if (!result.saved) {
            if (!_record.leaves[_lane / 2])
                complain(_record, "not saved: " + result.reason);
            return false;
        }
        for (Own& one : _record.own[_lane]) {
            one.acknowledged = one.newest.load();
            one.isRemoved = false;
        }
        for (int const value : _sharedToAcknowledge)
            _record.shared[value].acknowledged = now();
        _sharedToAcknowledge.clear();
        ++_record.acknowledgements;
        return true;
    }

    Record& _record;
    LiveSettings& _live;
    int const _lane;
    std::mt19937 _chance;
    std::vector<int> _sharedToAcknowledge;
};

/** A process with two lanes, which exits on request while they continue. */
void work(Record& record, std::filesystem::path const& directory, int process) {
    auto* const live = new LiveSettings(optionsFor(record, directory, std::chrono::milliseconds(3)));
    for (int const lane : {2 * process, 2 * process + 1}) {
        auto* const started = new Lane(record, *live, lane);
        started->start();
        std::thread([started] { started->run(); }).detach();
    }
    while (!record.leaves[process])
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::exit(0);
}

/** A process that changes nothing. */
void idle(Record& record, std::filesystem::path const& directory, int process) {
    LiveSettings const live(optionsFor(record, directory, std::chrono::milliseconds(3)));
    while (!record.leaves[process])
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

/** Checks that no acknowledged change of a shared name was undone by an earlier change. */
void checkShared(Record& record) {
    int const end = std::min(record.nextShared.load(), mostShared);
    std::map<int, int> found;
    for (int name = 0; name < sharedNames; ++name)
        found[name] = valueOf(sharedName(name));
    for (int value = 1; value < end; ++value) {
        Shared const& change = record.shared[value];
        if (change.name < 0 || change.acknowledged == 0)
            continue;
        int const there = found[change.name];
        if (there <= 0 || there >= end) {
            complain(record, sharedName(change.name) + " is " + std::to_string(there));
            return;
        }
        Shared const& left = record.shared[there];
        if (left.name != change.name || (left.acknowledged != 0 && change.begun > left.acknowledged)) {
            complain(record, sharedName(change.name) + " is " + std::to_string(there) + ", but " +
                                 std::to_string(value) + " was saved later");
            return;
        }
    }
}

void checkAll(Record& record, std::filesystem::path const& directory) {
    LiveSettings const live(optionsFor(record, directory, std::chrono::milliseconds(3)));
    for (int lane = 0; lane < mostLanes; ++lane)
        checkLane(record, lane);
    checkShared(record);
}

::pid_t start(std::function<void()> const& body) {
    ::pid_t const child = ::fork();
    if (child != 0)
        return child;
    try {
        body();
    } catch (std::exception const& failure) {
        std::cerr << "process " << ::getpid() << ": " << failure.what() << '\n';
        std::_Exit(1);
    }
    std::exit(0);
}

/** Waits for a process to end. Result: whether it exited normally. */
bool waitFor(::pid_t child) {
    int status = 0;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace

// Processes with two threads each change and save settings while others are killed or exit, and restart.
// VELMORAND_SOAK_PROCESSES, _SAVES, _KILLS and _SEED vary the test.
TEST(LiveSoak, KeepsEveryChangeThatWasAcknowledged) {
    int const processes = number("VELMORAND_SOAK_PROCESSES", 4);
    long const saves = number("VELMORAND_SOAK_SAVES", 400);
    int const kills = number("VELMORAND_SOAK_KILLS", 10);
    ASSERT_LT(2 * processes, mostLanes);
    support::TemporaryDirectory const directory;
    Record* const made = Record::make();
    ASSERT_NE(nullptr, made);
    Record& record = *made;
    std::mt19937 chance(static_cast<unsigned>(number("VELMORAND_SOAK_SEED", 1)));

    int const idleProcess = mostLanes - 1;
    ::pid_t const idling = start([&] { idle(record, directory.path(), idleProcess); });
    std::map<int, ::pid_t> running;
    auto const begin = [&](int process) {
        record.leaves[process] = false;
        return start([&record, &directory, process] { work(record, directory.path(), process); });
    };
    for (int process = 0; process < processes; ++process)
        running[process] = begin(process);

    int killed = 0;
    int left = 0;
    auto const end = [&](int process, bool kill) {
        ::pid_t const child = running[process];
        if (kill)
            ::kill(child, SIGKILL);
        else
            record.leaves[process] = true;
        bool const inOrder = waitFor(child);
        EXPECT_TRUE(kill || inOrder) << "process " << process << " did not exit normally";
        ++(kill ? killed : left);
    };
    // A process ends after every `interval` saves, alternately by a signal and by exiting.
    long const interval = std::max(1L, saves / (2L * kills + 1));
    long next = interval;
    while (record.problems == 0 && (record.acknowledgements < saves || killed < kills)) {
        std::this_thread::sleep_for(std::chrono::microseconds(100 + chance() % 2000));
        if (record.acknowledgements < next)
            continue;
        next = record.acknowledgements + interval;
        int const process = static_cast<int>(chance() % static_cast<unsigned>(processes));
        end(process, (killed + left) % 2 == 0);
        running[process] = begin(process);
    }
    for (int process = 0; process < processes; ++process)
        end(process, false);
    record.leaves[idleProcess] = true;
    EXPECT_TRUE(waitFor(idling));
    EXPECT_TRUE(waitFor(start([&] { checkAll(record, directory.path()); })));
    EXPECT_EQ(0, record.problems);
    std::cout << "figure: " << record.acknowledgements << " saves acknowledged to live settings\n"
              << "figure: " << killed << " processes with live settings killed\n"
              << "figure: " << left << " processes with live settings that exited while their threads ran\n";
    ::munmap(made, sizeof(Record));
}

} // namespace soak
