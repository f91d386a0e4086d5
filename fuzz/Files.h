// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include <QString>

#include <filesystem/FileSystem.h>
#include <filesystem/RAMFileSystem.h>

#include "Check.h"

namespace fuzz {

using filesystem::FileHandle;
using filesystem::FileSystem;
using filesystem::RAMFileSystem;

inline QString text(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<int>(utf8.size()));
}

inline std::string bytes(QString const& text) {
    return text.toUtf8().toStdString();
}

inline void writeFile(FileSystem& files, QString const& path, std::string_view content) {
    FileHandle* handle = nullptr;
    check(files.open(path, &handle, FileSystem::MODE_WRITE), "a file that can be created can be written");
    auto const size = static_cast<long>(content.size());
    check(files.write(handle, content.data(), size) == size, "everything is written");
    check(files.close(handle), "a file that was written can be closed");
}

inline std::string readFile(FileSystem& files, QString const& path) {
    FileHandle* handle = nullptr;
    check(files.open(path, &handle, FileSystem::MODE_READ), "an existing file can be read");
    long const size = files.size(handle);
    check(size >= 0, "an open file has a size");
    std::string content(static_cast<std::size_t>(size), '\0');
    check(files.read(handle, content.data(), size) == size, "everything is read");
    files.close(handle);
    return content;
}

/** A directory, as `serialize` writes it. */
inline std::string image(RAMFileSystem const& files, std::string_view path) {
    static RAMFileSystem disk; // creating a file system would cost more than everything else here
    FileHandle* handle = nullptr;
    disk.open(text("/image"), &handle, FileSystem::MODE_WRITE);
    check(files.serialize(text(path), *handle), "a directory can be serialised");
    disk.close(handle);
    return readFile(disk, text("/image"));
}

} // namespace fuzz
