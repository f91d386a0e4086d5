// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "filesystem/Export.h"

namespace filesystem {

class FileSystem;

/**
 * An open file: created by a file system's `open`, returned with its `close`, and owned by the file system throughout.
 *
 * A handle that is never closed is released with its file system. A handle must not be used after `close`, and only by
 * one thread at a time.
 */
class VELMORAND_FILESYSTEM_EXPORT FileHandle {
public:
    FileHandle(FileHandle const&) = delete;
    FileHandle& operator=(FileHandle const&) = delete;

    /** The file system that opened the file. Only its operations accept this handle. */
    [[nodiscard]] FileSystem& fileSystem() const noexcept { return _fileSystem; }

    /**
     * The path that messages use to name the file: UTF-8, valid as long as the handle; empty for a file that does not
     * exist outside the process.
     */
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
