// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <string>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include "support/ChildProcess.h"

namespace support {

constexpr int cannotMount = 77;

/**
 * Runs `body` in a child with a small tmpfs mounted at `place`. Only the child sees it, and it ends with the child.
 * Result: the child's status; `cannotMount` if the system does not allow the mount.
 */
template <class Body>
int withSmallDisk(std::filesystem::path const& place, std::string const& options, Body&& body) {
    return inChild([&] {
        bool const isRoot = ::geteuid() == 0;
        if (::unshare(isRoot ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) != 0 ||
            ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount("none", place.c_str(), "tmpfs", 0, options.c_str()) != 0) {
            std::cout << "no tmpfs: " << std::strerror(errno) << '\n';
            std::_Exit(cannotMount);
        }
        body();
    });
}

} // namespace support
