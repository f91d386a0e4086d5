// SPDX-License-Identifier: Apache-2.0
#include "Careless.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace crash {

namespace {

/** Writes all bytes, unless the manner ignores short writes. */
bool put(std::string const& manner, int file, std::string const& bytes) {
    for (std::size_t moved = 0; moved < bytes.size();) {
        auto const step = ::write(file, bytes.data() + moved, bytes.size() - moved);
        if (step < 0 && errno == EINTR && manner != "impatient")
            continue;
        if (step <= 0)
            return manner == "unchecked-write";
        moved += static_cast<std::size_t>(step);
        if (manner == "unchecked-write")
            break;
    }
    return true;
}

bool synchronise(std::string const& manner, int file) {
    while (::fsync(file) != 0)
        if (errno != EINTR)
            return manner == "unchecked-sync";
    return true;
}

template <class Call>
auto retried(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

bool write(std::string const& manner, std::string const& path, std::string const& bytes) {
    int const flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
    int const file = retried([&] { return ::open(path.c_str(), flags, 0666); });
    if (file < 0)
        return false;
    bool const written = put(manner, file, bytes) && (manner == "unsynced" || synchronise(manner, file));
    ::close(file);
    return written;
}

void synchroniseDirectory(std::string const& manner, std::string const& directory) {
    int const file = retried([&] { return ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
    if (file >= 0)
        synchronise(manner, file);
    ::close(file);
}

} // namespace

void saveCarelessly(std::string const& manner, std::string const& directory, std::string const& bytes) {
    std::string const name = directory + "/Velmorand.dat";
    if (manner == "direct") {
        write(manner, name, bytes);
        return;
    }
    std::string const aside = directory + (manner == "littering" ? "/litter" + std::to_string(::getpid())
                                                                 : "/.Velmorand.dat.000000");
    auto const remove = [](std::string const& path) { retried([&] { return ::unlink(path.c_str()); }); };
    remove(aside); // left by a killed process
    if (!write(manner, aside, bytes)) {
        remove(aside);
        return;
    }
    if (manner == "removing-first")
        remove(name);
    if (retried([&] { return ::rename(aside.c_str(), name.c_str()); }) != 0)
        remove(aside);
    if (manner != "directory-unsynced")
        synchroniseDirectory(manner, directory);
}

} // namespace crash
