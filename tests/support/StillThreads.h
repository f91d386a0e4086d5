// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include <sys/syscall.h>
#include <unistd.h>

namespace support {

/**
 * Whether a thread, given its directory in /proc, waits in the kernel for events without a time limit. Until an event
 * arrives, it makes no system call.
 */
inline bool isStill(std::filesystem::path const& thread) {
    // The number of the call and its arguments; for poll the third one is the time limit.
    std::ifstream file(thread / "syscall");
    std::string call;
    std::string arguments[3];
    file >> call >> arguments[0] >> arguments[1] >> arguments[2];
#ifdef SYS_poll
    if (call == std::to_string(SYS_poll))
        return (std::stoull(arguments[2], nullptr, 16) & 0xFFFFFFFFU) == 0xFFFFFFFFU;
#endif
    return call == std::to_string(SYS_ppoll) && std::stoull(arguments[2], nullptr, 16) == 0;
}

inline std::filesystem::directory_iterator threadsOf(::pid_t process) {
    return std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task");
}

/** Waits until all threads of a process are still. */
inline void waitUntilStill(::pid_t process) {
    while (!std::all_of(threadsOf(process), {}, [](auto const& thread) { return isStill(thread.path()); }))
        std::this_thread::yield();
}

/** Waits until any other thread of this process is still. A sanitizer's own thread never is. */
inline void waitUntilAnotherThreadIsStill() {
    while (!std::any_of(threadsOf(::getpid()), {}, [](auto const& thread) { return isStill(thread.path()); }))
        std::this_thread::yield();
}

} // namespace support
