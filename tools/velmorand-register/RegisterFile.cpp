// SPDX-License-Identifier: Apache-2.0
#include "RegisterFile.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem/RealFileSystem.h>
#include <utils/properties/Register.h>

#include "Failure.h"
#include "Settings.h"
#include "Text.h"

namespace tool {

namespace {

using filesystem::FileHandle;
using filesystem::FileSystem;
using filesystem::RealFileSystem;
using utils::properties::_Register;

/** Where the user scope lies in the register's file system. */
QString userScope() {
    return QStringLiteral("/user/");
}

} // namespace

RegisterFile::RegisterFile(std::string const& path)
    : _path(path), _directory(std::filesystem::path(path).parent_path().string()),
      _name(std::filesystem::path(path).filename().string()) {
    if (_directory.empty())
        _directory = ".";
    for (std::string const& text : {_directory, '/' + _name})
        if (toQString(text).toUtf8().toStdString() != text)
            throw Failure(Status::misuse, "a path is UTF-8 text: " + path);
}

std::string RegisterFile::refusal(int error) const {
    return _path + ": " + (error == EINVAL ? "Not a regular file" : std::generic_category().message(error));
}

Loaded RegisterFile::load() const {
    RealFileSystem disk(toQString(_directory));
    FileHandle* handle = nullptr;
    if (!disk.open(toQString('/' + _name), &handle, FileSystem::MODE_READ)) {
        if (errno != ENOENT)
            throw Failure(Status::fileTrouble, refusal(errno));
        settings::remove("");
        settings::makeGroup("");
        return {false, 0};
    }
    try {
        _Register::getInstance()->unserialize(userScope(), *handle);
    } catch (utils::Exception const& failure) {
        // The message starts with the path by which the file system knows the file.
        throw Failure(Status::fileTrouble, _path + (failure.what() + handle->path().size()));
    }
    long const end = disk.tell(handle);
    disk.seek(handle, 0, FileSystem::ORIGIN_END);
    return {true, disk.tell(handle) - end};
}

Entries RegisterFile::entries() const {
    load();
    return settings::entriesBelow("");
}

void RegisterFile::save() const {
    auto const failed = [this](int error) {
        return Failure(Status::fileTrouble, "not saved: " + refusal(error));
    };
    RealFileSystem disk(toQString(_directory));
    FileHandle* handle = nullptr;
    if (!disk.open(toQString('/' + _name), &handle, FileSystem::MODE_WRITE))
        throw failed(errno);
    errno = EIO;
    // A handle that is not closed leaves the file as it was.
    if (!_Register::getInstance()->serialize(userScope(), *handle) || !disk.close(handle))
        throw failed(errno);
}

EditLock::EditLock(std::string const& directory)
    : _directory(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    while (_directory >= 0 && ::flock(_directory, LOCK_EX) != 0 && errno == EINTR) {
    }
}

EditLock::~EditLock() {
    if (_directory >= 0)
        ::close(_directory);
}

} // namespace tool
