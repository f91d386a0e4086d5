// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "filesystem/Export.h"

namespace filesystem {

class FileSystem;

/**
 * An open file, created by a file system's `open` and released by its `close`. The file system owns it throughout.
 *
 * A handle that is never closed is released with its file system. A handle must not be used after `close`, nor by
 * several threads at the same time.
 */
class VELMORAND_FILESYSTEM_EXPORT FileHandle {
public:
    FileHandle(FileHandle const&) = delete;
    FileHandle& operator=(FileHandle const&) = delete;

    /** The file system that opened the file. Only its operations accept this handle. */
    [[nodiscard]] FileSystem& fileSystem() const noexcept { return _fileSystem; }

    /** The file's path for messages: UTF-8, valid as long as the handle; empty for a file in memory. */
    [[nodiscard]] std::string_view path() const noexcept {
        return _path != nullptr ? std::string_view(*_path) : std::string_view();
    }

protected:
    /** `path`, unless it is null, belongs to the derived class and must be valid as long as the handle. */
    explicit FileHandle(FileSystem& fileSystem, std::string const* path = nullptr) noexcept
        : _fileSystem(fileSystem), _path(path) {}
    ~FileHandle() = default;

private:
    FileSystem& _fileSystem;
    std::string const* _path;
};

} // namespace filesystem
