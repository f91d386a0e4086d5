// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "filesystem/Export.h"

namespace filesystem {

class FileSystem;

/**
 * An open file: made by a file system's `open`, given back with its `close`, owned by the file system
 * throughout.
 *
 * A handle that is never given back is released with its file system. After `close` a handle must not be
 * used. A handle is used by one thread at a time.
 */
class VELMORAND_FILESYSTEM_EXPORT FileHandle {
public:
    FileHandle(FileHandle const&) = delete;
    FileHandle& operator=(FileHandle const&) = delete;

    /**
     * The file system that opened the file, and the only one that its operations on this handle work with.
     */
    [[nodiscard]] FileSystem& fileSystem() const noexcept { return _fileSystem; }

    /**
     * The path by which messages name the file, in UTF-8, valid as long as the handle; empty for a file that has no
     * place outside the process.
     */
    [[nodiscard]] std::string_view path() const noexcept {
        return _path != nullptr ? std::string_view(*_path) : std::string_view();
    }

protected:
    /** `path`, unless it is null, is the derived class's and lives as long as the handle. */
    explicit FileHandle(FileSystem& fileSystem, std::string const* path = nullptr) noexcept
        : _fileSystem(fileSystem), _path(path) {}
    ~FileHandle() = default;

private:
    FileSystem& _fileSystem;
    std::string const* _path;
};

} // namespace filesystem
