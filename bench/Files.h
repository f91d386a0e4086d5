// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "support/TemporaryDirectory.h"

namespace bench {

using support::TemporaryDirectory;

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
        throw std::runtime_error("cannot fsync " + path.string());
}

/** Durably and atomically replaces the file `path` with the file `aside`. */
inline void moveInPlace(std::filesystem::path const& aside, std::filesystem::path const& path) {
    synchronise(aside);
    std::filesystem::rename(aside, path);
    synchronise(path.parent_path());
}

/** Durably and atomically replaces a file, for stores that cannot save safely themselves. */
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
