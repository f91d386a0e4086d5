// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "sharing/Sharing.h"

namespace bench::sharing {

/** The minimum for durably replacing a file: write, fsync, rename, fsync of the directory. */
class Floor : public Sharing {
public:
    static constexpr char const* label = "floor";

    Floor(std::filesystem::path const& directory, std::size_t bytes)
        : _directory(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)), _bytes(bytes, 'x') {}
    Floor(Floor const&) = delete;
    Floor& operator=(Floor const&) = delete;
    ~Floor() { ::close(_directory); }

    void save(std::string const& /*name*/, int value) {
        _bytes.front() = static_cast<char>(value);
        int const file = ::openat(_directory, "new", O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        bool const isWritten =
            ::write(file, _bytes.data(), _bytes.size()) == static_cast<long>(_bytes.size()) &&
            ::fsync(file) == 0;
        ::close(file);
        if (!isWritten || ::renameat(_directory, "new", _directory, "file") != 0 || ::fsync(_directory) != 0)
            throw std::runtime_error("the floor cannot be measured");
    }

private:
    int _directory;
    std::string _bytes;
};

} // namespace bench::sharing
