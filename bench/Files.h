// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace bench {

/** A fresh, empty directory, removed with all that is in it at the end. */
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "velmorand-bench-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("cannot make a temporary directory at " + pattern);
        _path = pattern;
    }
    TemporaryDirectory(TemporaryDirectory const&) = delete;
    TemporaryDirectory& operator=(TemporaryDirectory const&) = delete;
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }

    [[nodiscard]] std::filesystem::path const& path() const { return _path; }

private:
    std::filesystem::path _path;
};

inline std::string readFile(std::filesystem::path const& path) {
    std::string bytes(std::filesystem::file_size(path), '\0');
    std::ifstream file(path, std::ios::binary);
    if (!file.read(bytes.data(), static_cast<std::streamsize>(bytes.size())))
        throw std::runtime_error("cannot read " + path.string());
    return bytes;
}

inline void synchronise(std::filesystem::path const& path) {
    int const descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    bool const done = descriptor >= 0 && ::fsync(descriptor) == 0;
    if (descriptor >= 0)
        ::close(descriptor);
    if (!done)
        throw std::runtime_error("cannot synchronise " + path.string());
}

/** Puts the file `aside`, which is complete, durably in the place of `path`, in one step. */
inline void moveInPlace(std::filesystem::path const& aside, std::filesystem::path const& path) {
    synchronise(aside);
    std::filesystem::rename(aside, path);
    synchronise(path.parent_path());
}

/** Replaces a file durably, in one step: the way of a store that has no safe saving of its own. */
inline void replaceFile(std::filesystem::path const& path, std::string const& bytes) {
    std::filesystem::path const aside = path.string() + ".new";
    std::ofstream file(aside, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file)
        throw std::runtime_error("cannot write " + aside.string());
    moveInPlace(aside, path);
}

} // namespace bench
