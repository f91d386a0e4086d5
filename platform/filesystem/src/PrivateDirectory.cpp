// SPDX-License-Identifier: Apache-2.0
#include "filesystem/PrivateDirectory.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "Descriptor.h"
#include "Directory.h"

namespace filesystem {

namespace {

/**
 * Makes the entries of a directory durable. Also returns true if the directory may not be read or the file system
 * cannot flush directories.
 */
bool isFlushed(std::string const& path) {
    Descriptor const directory = openDirectory(AT_FDCWD, path);
    if (!directory.isOpen())
        return errno == EACCES;
    return retried([&] { return ::fsync(directory.number()); }) == 0 || errno == EINVAL;
}

bool isDirectory(std::string const& path) {
    struct stat status = {};
    if (retried([&] { return ::stat(path.c_str(), &status); }) != 0)
        return false;
    errno = ENOTDIR;
    return S_ISDIR(status.st_mode);
}

} // namespace

bool makePrivateDirectories(std::string const& path) {
    if (isDirectory(path))
        return true;
    std::filesystem::path made;
    for (std::filesystem::path const& name : std::filesystem::path(path)) {
        std::string const parent = made.empty() ? "." : made.string();
        made /= name;
        if (name.empty() || isDirectory(made.string()))
            continue;
        // Another process may have created it meanwhile.
        if (::mkdir(made.c_str(), S_IRWXU) != 0 && (errno != EEXIST || !isDirectory(made.string())))
            return false;
        if (!isFlushed(made.string()) || !isFlushed(parent))
            return false;
    }
    return true;
}

DirectoryLock::DirectoryLock() noexcept = default;

DirectoryLock::~DirectoryLock() {
    // Closing would not release the lock if a child that was forked meanwhile still has the directory open.
    if (Descriptor const directory(_directory); directory.isOpen())
        ::flock(directory.number(), LOCK_UN);
}

bool DirectoryLock::isHeld() const noexcept {
    return _isHeld;
}

DirectoryLock::Outcome DirectoryLock::take(std::string const& path, std::chrono::milliseconds patience) {
    using Clock = std::chrono::steady_clock;
    auto const end = Clock::now() + patience;
    // flock has no timeout, so the lock is polled at growing intervals.
    std::chrono::microseconds interval{100};
    for (;;) {
        Outcome const outcome = tryOnce(path);
        _isHeld = outcome == Outcome::taken;
        if (outcome != Outcome::timedOut || Clock::now() >= end)
            return outcome;
        std::this_thread::sleep_for(interval);
        interval = std::min(2 * interval, std::chrono::microseconds(5'000));
    }
}

/** Result: `timedOut` if the lock is held already, or the directory was removed or replaced meanwhile. */
DirectoryLock::Outcome DirectoryLock::tryOnce(std::string const& path) {
    Descriptor directory = openDirectory(AT_FDCWD, path);
    if (!directory.isOpen())
        return errno == EACCES ? Outcome::taken : Outcome::failed; // unreadable, but perhaps writable
    if (retried([&] { return ::flock(directory.number(), LOCK_EX | LOCK_NB); }) != 0)
        return errno == EWOULDBLOCK ? Outcome::timedOut : Outcome::taken; // no locks: counts as taken
    struct stat own = {};
    struct stat there = {};
    if (!isExamined(directory.number(), own))
        return Outcome::failed;
    bool const isThere = retried([&] { return ::stat(path.c_str(), &there); }) == 0;
    if (!isThere && errno != ENOENT && errno != ENOTDIR)
        return Outcome::failed;
    if (!isThere || own.st_dev != there.st_dev || own.st_ino != there.st_ino)
        return Outcome::timedOut; // it has been replaced meanwhile
    _directory = directory.release();
    return Outcome::taken;
}

} // namespace filesystem
