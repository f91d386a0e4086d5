// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

#include <filesystem/FileSystem.h>

namespace utils::properties {

/** A record in an open file, accessed through the file system's virtual operations, one call per field. */
class FileRecord {
public:
    FileRecord(filesystem::FileSystem& fileSystem, filesystem::FileHandle* handle)
        : _fileSystem(fileSystem), _handle(handle) {}

    void writeByte(char value) { _fileSystem.writeByte(_handle, value); }
    void writeInt(int value) { _fileSystem.writeInt(_handle, value); }
    void writeBytes(std::string const& bytes) {
        _fileSystem.write(_handle, bytes.data(), static_cast<long>(bytes.size()));
    }

    template <class Field, class List>
    std::ptrdiff_t writeAhead(List const& /*list*/) {
        return 0; // every field is a separate call
    }

    char readByte() { return _fileSystem.readByte(_handle); }
    int readInt() { return _fileSystem.readInt(_handle); }
    std::string readBytes(int count) { return _fileSystem.readBytes(_handle, count); }

    template <class Field, class List>
    int readAhead(int /*count*/, List& list) {
        list.clear();
        return 0; // every field is a separate call
    }

private:
    filesystem::FileSystem& _fileSystem;
    filesystem::FileHandle* _handle;
};

} // namespace utils::properties
