// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <QString>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "filesystem/RAMFileSystem.h"
#include "filesystem/RealFileSystem.h"
#include "support/TemporaryDirectory.h"

namespace support {

using filesystem::FileHandle;
using filesystem::FileSystem;
using filesystem::RAMFileSystem;
using filesystem::RealFileSystem;

inline QString text(std::string const& utf8) {
    return QString::fromStdString(utf8);
}

/** A name that is invalid in a path: half of a surrogate pair. */
inline QString unpairedSurrogate() {
    return {QChar(0xD800)};
}

/** Null if the file cannot be opened. */
inline FileHandle* opened(FileSystem& files, std::string const& path, FileSystem::FileSystemMode mode) {
    FileHandle* handle = nullptr;
    return files.open(text(path), &handle, mode) ? handle : nullptr;
}

inline FileHandle* openedForReading(FileSystem& files, std::string const& path) {
    return opened(files, path, FileSystem::MODE_READ);
}

inline FileHandle* openedForWriting(FileSystem& files, std::string const& path) {
    return opened(files, path, FileSystem::MODE_WRITE);
}

inline bool write(FileSystem& files, FileHandle* handle, std::string const& bytes) {
    auto const count = static_cast<long>(bytes.size());
    return files.write(handle, bytes.data(), count) == count;
}

inline bool writeFile(FileSystem& files, std::string const& path, std::string const& bytes) {
    FileHandle* const handle = openedForWriting(files, path);
    bool const written = write(files, handle, bytes);
    return files.close(handle) && written;
}

/** Up to `count` bytes from the handle's position. */
inline std::string read(FileSystem& files, FileHandle* handle, long count) {
    std::string bytes(static_cast<std::size_t>(count), '\0');
    bytes.resize(static_cast<std::size_t>(files.read(handle, bytes.data(), count)));
    return bytes;
}

/** The content of a file, if it can be opened. */
inline std::optional<std::string> readFile(FileSystem& files, std::string const& path) {
    FileHandle* const handle = openedForReading(files, path);
    if (handle == nullptr)
        return std::nullopt;
    std::string bytes = read(files, handle, files.size(handle));
    files.close(handle);
    return bytes;
}

inline std::vector<std::string> listing(FileSystem const& files, std::string const& path) {
    std::vector<std::string> names;
    for (filesystem::DirEntry const& entry : files.getFileList(text(path)))
        names.push_back(entry.name.toStdString());
    return names;
}

/** `length` pseudo-random bytes, which reveal buffering errors. */
inline std::string someBytes(std::size_t length) {
    std::string bytes;
    unsigned state = 12345;
    while (bytes.size() < length) {
        state = state * 1103515245U + 12345U;
        bytes += static_cast<char>((state >> 16) & 0xFFU);
    }
    return bytes;
}

struct RAMForm {
    RAMFileSystem files;
};

struct RealForm {
    TemporaryDirectory directory;
    RealFileSystem files{text(directory.string())};
};

/** The base of the suites that every kind of file system must pass. */
template <class Form>
class EachFileSystem : public ::testing::Test {
protected:
    // The destructor of a file system may throw; the destructor of a test must not.
    ~EachFileSystem() noexcept override = default;

    Form form;
    FileSystem& files = form.files;
};

using Forms = ::testing::Types<RAMForm, RealForm>;

struct FormNames {
    template <class Form>
    static std::string GetName(int) {
        return std::is_same_v<Form, RAMForm> ? "RAM" : "Real";
    }
};

} // namespace support
