// SPDX-License-Identifier: Apache-2.0
#include "Directory.h"

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Failure.h"

namespace tool {

namespace {

int openDirectory(std::string const& path) {
    return ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

Failure notMade(std::string const& path) {
    return {Status::fileTrouble,
            "cannot create the directory " + path + ": " + std::generic_category().message(errno)};
}

/** Makes a directory's entries durable. One that may not be read cannot be flushed, nor can some file systems. */
bool flush(std::string const& path) {
    int const directory = openDirectory(path);
    if (directory < 0)
        return errno == EACCES;
    bool const isDone = ::fsync(directory) == 0 || errno == EINVAL;
    int const error = errno;
    ::close(directory);
    errno = error;
    return isDone;
}

void makeDirectory(std::string const& path, std::string const& parent) {
    if (::mkdir(path.c_str(), S_IRWXU) != 0) {
        struct stat status = {};
        if (errno == EEXIST && ::stat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode))
            errno = ENOTDIR;
        else if (errno == EEXIST)
            return;
        throw notMade(path);
    }
    if (!flush(path) || !flush(parent))
        throw notMade(path);
}

} // namespace

void makeDirectories(std::string const& path) {
    std::filesystem::path made;
    for (std::filesystem::path const& name : std::filesystem::path(path)) {
        std::string const parent = made.empty() ? "." : made.string();
        made /= name;
        std::error_code ignored;
        if (!name.empty() && !std::filesystem::is_directory(made, ignored))
            makeDirectory(made.string(), parent);
    }
}

// A wait that can end: flock itself has no time limit.
EditLock::EditLock(std::string const& directory, std::chrono::seconds patience)
    : _directory(openDirectory(directory)) {
    using Clock = std::chrono::steady_clock;
    auto const end = Clock::now() + patience;
    while (_directory >= 0 && ::flock(_directory, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK)
            return;
        if (Clock::now() >= end) {
            ::close(_directory);
            throw Failure(Status::fileTrouble,
                          "nothing changed: " + directory + ": locked by another process for more than " +
                              std::to_string(patience.count()) +
                              " s (end that process, or wait longer with --wait SECONDS)");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

EditLock::~EditLock() {
    if (_directory >= 0)
        ::close(_directory);
}

} // namespace tool
