// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <ctime>
#include <filesystem>
#include <string>

#include <sys/mman.h>

namespace soak {

constexpr int mostLanes = 32;
constexpr int ownNames =
    12; ///< of each lane; the last `grouped` names are in a group that is removed as a whole
constexpr int grouped = 4;
constexpr int sharedNames = 5;
constexpr int mostShared = 1'000'000;
constexpr int absent = 0;

inline std::string ownName(int lane, int name) {
    std::string const around = "own/lane" + std::to_string(lane);
    return around + (name < ownNames - grouped ? "/" : "/group/") + 'n' + std::to_string(name);
}

inline std::string groupName(int lane) {
    return "own/lane" + std::to_string(lane) + "/group";
}

inline std::string sharedName(int name) {
    return "shared/n" + std::to_string(name);
}

/** The time on a clock that all processes share, in nanoseconds. */
inline long now() {
    timespec time = {};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1'000'000'000 + time.tv_nsec;
}

/** The recorded state of a name that only one thread at a time changes. Values grow with each change. */
struct Own {
    std::atomic<int> acknowledged{absent}; ///< the value that `sync` has reported as saved
    std::atomic<int> newest{absent};       ///< the value written last
    std::atomic<int> highest{absent};      ///< the highest value written so far
    std::atomic<bool> isRemoved{false};    ///< whether it has been removed since it was acknowledged

    /** Whether the file may contain a value. */
    [[nodiscard]] bool allows(int found) const {
        if (found == acknowledged)
            return true;
        return found == absent ? isRemoved.load() : found > acknowledged && found <= highest;
    }
};

/** A change of a name that all processes change. Its index is the value. */
struct Shared {
    std::atomic<int> name{-1};
    std::atomic<long> begun{0};
    std::atomic<long> acknowledged{0}; ///< 0: not yet
};

/** Memory shared by the processes, which outlives a killed one. */
struct Record {
    Own own[mostLanes][ownNames];
    std::atomic<int> serial[mostLanes];
    Shared shared[mostShared];
    std::atomic<int> nextShared{1};
    std::atomic<long> acknowledgements{0};
    std::atomic<int> problems{0};
    std::atomic<bool> leaves[mostLanes]; ///< whether a process must exit

    /** Maps zeroed memory. Its pages take up space only once they are written to. */
    static Record* make() {
        void* const memory =
            ::mmap(nullptr, sizeof(Record), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        return memory == MAP_FAILED ? nullptr : static_cast<Record*>(memory);
    }
};

} // namespace soak
