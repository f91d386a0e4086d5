// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "Node.h"
#include "filesystem/FileSystem.h"

namespace filesystem {

/** An open file in memory. Refers to the file by number; the generation shows whether it is still the same file. */
class RAMHandle final : public FileHandle {
public:
    explicit RAMHandle(FileSystem& fileSystem) noexcept : FileHandle(fileSystem) {}

    NodeId node = noNode;
    std::uint64_t generation = 0;
    FileSystem::FileSystemMode mode = FileSystem::MODE_READ;
    bool open = false;
    std::size_t position = 0;
};

/** All handles of a file system. Closed handles are reused. */
class RAMHandles {
public:
    /** An open handle, which the caller initialises. Errors: `std::bad_alloc`; nothing has changed. */
    RAMHandle& take(FileSystem& fileSystem) {
        if (_closed.empty()) {
            if (_closed.capacity() == _all.size())
                _closed.reserve(2 * _all.size() + 1); // so that `giveBack` cannot fail
            _closed.push_back(&_all.emplace_back(fileSystem));
        }
        RAMHandle& handle = *_closed.back();
        _closed.pop_back();
        handle.open = true;
        return handle;
    }

    void giveBack(RAMHandle& handle) noexcept {
        handle.open = false;
        _closed.push_back(&handle);
    }

private:
    std::deque<RAMHandle> _all;
    std::vector<RAMHandle*> _closed;
};

} // namespace filesystem
