// SPDX-License-Identifier: Apache-2.0
#include "RegisterFile.h"

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include <filesystem/RealFileSystem.h>
#include <utils/Exception.h>

#include "Failure.h"
#include "Text.h"

namespace tool {

namespace {

using filesystem::FileHandle;
using filesystem::FileSystem;
using filesystem::RealFileSystem;

} // namespace

RegisterFile::RegisterFile(std::string const& path, std::string hint)
    : _path(path), _directory(std::filesystem::path(path).parent_path().string()),
      _name(std::filesystem::path(path).filename().string()), _hint(std::move(hint)) {
    if (_directory.empty())
        _directory = ".";
    if (!isUtf8(path))
        throw Failure(Status::misuse, "invalid path: \"" + path + "\": not UTF-8 text");
}

std::string RegisterFile::refusal(int error) const {
    return _path + ": " + (error == EINVAL ? "not a regular file" : std::generic_category().message(error));
}

Loaded RegisterFile::load(Settings& settings) const {
    RealFileSystem disk(toQString(_directory));
    FileHandle* handle = nullptr;
    if (!disk.open(toQString('/' + _name), &handle, FileSystem::MODE_READ)) {
        if (errno != ENOENT)
            throw Failure(Status::fileTrouble, refusal(errno));
        settings.remove("");
        return {false, 0};
    }
    try {
        settings.read(*handle);
    } catch (utils::Exception const& failure) {
        // The message starts with the path that the file system uses, which may differ from the one that the user gave.
        throw Damage(_path + (failure.what() + handle->path().size()) + _hint);
    }
    long const end = disk.tell(handle);
    disk.seek(handle, 0, FileSystem::ORIGIN_END);
    return {true, disk.tell(handle) - end};
}

void RegisterFile::save(Settings const& settings) const {
    auto const failed = [this](int error) {
        return Failure(Status::fileTrouble, "not saved: " + refusal(error));
    };
    RealFileSystem disk(toQString(_directory));
    FileHandle* handle = nullptr;
    if (!disk.open(toQString('/' + _name), &handle, FileSystem::MODE_WRITE))
        throw failed(errno);
    errno = EIO;
    // A handle that is not closed leaves the file unchanged. The previous file is replaced only after the new content
    // has been flushed: some disks report only then that they are full.
    if (!settings.write(*handle) || !disk.flush(handle) ||
        (!disk.keepAs(toQString(_name), toQString(_name + previousEnding)) && errno != ENOENT) ||
        !disk.close(handle))
        throw failed(errno);
}

} // namespace tool
