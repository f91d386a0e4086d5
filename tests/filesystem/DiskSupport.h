// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include "FileSystemSupport.h"
#include "support/ChildProcess.h"

namespace support {

/** A file system rooted at a temporary directory, and the path of that directory. */
class OnDisk : public ::testing::Test {
protected:
    // The destructor of a file system may throw; the destructor of a test must not.
    ~OnDisk() noexcept override = default;

    [[nodiscard]] std::string at(std::string const& name) const { return (directory / name).string(); }

    TemporaryDirectory directory;
    RealFileSystem files{text(directory.string())};
};

inline void putFile(std::string const& path, std::string const& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string fileBytes(std::string const& path) {
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

/** The permission bits of the file at `path`. Follows links. */
inline unsigned permissions(std::string const& path) {
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : ~0U;
}

/**
 * Runs `body` in a child, as a user without privileges, who may enter `directory`. Result: 0 if all expectations were
 * met.
 */
template <class Body>
int asOrdinaryUser(TemporaryDirectory const& directory, Body&& body) {
    std::filesystem::permissions(directory.path(), std::filesystem::perms::all);
    return inChild([&] {
        ::uid_t const nobody = 65534;
        if (::geteuid() == 0 &&
            (::setgroups(0, nullptr) != 0 || ::setgid(nobody) != 0 || ::setuid(nobody) != 0))
            std::abort();
        body();
    });
}

} // namespace support
