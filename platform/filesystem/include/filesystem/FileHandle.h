// SPDX-License-Identifier: Apache-2.0
#pragma once

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

protected:
    explicit FileHandle(FileSystem& fileSystem) noexcept : _fileSystem(fileSystem) {}
    ~FileHandle() = default;

private:
    FileSystem& _fileSystem;
};

} // namespace filesystem
