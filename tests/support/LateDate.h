// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>

namespace support {

static_assert(sizeof(std::time_t) == 8);
constexpr std::time_t lateDate = 2'208'988'800; // in 2040, which 32 bits cannot hold

/** Gives a file or directory the late date. Result: false if its file system cannot store it. */
inline bool dateLate(std::string const& path) {
    timespec const times[2] = {{lateDate, 0}, {lateDate, 0}};
    struct stat status = {};
    return ::utimensat(AT_FDCWD, path.c_str(), times, 0) == 0 && ::stat(path.c_str(), &status) == 0 &&
           status.st_mtim.tv_sec == lateDate;
}

} // namespace support
