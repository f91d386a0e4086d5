// SPDX-License-Identifier: Apache-2.0
#include "DiskFile.h"

#include <cerrno>
#include <system_error>

#include <QString>
#include <filesystem/DamagedFiles.h>

namespace velmorand::live {

namespace {

using filesystem::FileHandle;
using filesystem::FileSystem;
using filesystem::TreeImage;
using Found = Reading::Found;

constexpr long headSize = 64;

QString text(std::string const& utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<int>(utf8.size()));
}

/** Opens a file for reading, and closes it in the destructor. */
class Opened {
public:
    Opened(filesystem::RealFileSystem& disk, std::string const& name) : _disk(disk) {
        errno = 0;
        if (!disk.open(text(name), &_handle, FileSystem::MODE_READ))
            _error = errno;
    }
    Opened(Opened const&) = delete;
    Opened& operator=(Opened const&) = delete;
    ~Opened() {
        if (_handle != nullptr)
            _disk.close(_handle);
    }

    [[nodiscard]] FileHandle* handle() const noexcept { return _handle; }
    [[nodiscard]] int error() const noexcept { return _error; }

private:
    filesystem::RealFileSystem& _disk;
    FileHandle* _handle = nullptr;
    int _error = 0;
};

bool isMissing(int error) {
    return error == ENOENT || error == ENOTDIR;
}

std::string because(int error) {
    if (error == EINVAL)
        return "not a regular file";
    return std::generic_category().message(error);
}

} // namespace

DiskFile::DiskFile(std::string const& directory, std::string const& name)
    : _directory(text(directory)), _name(name), _path(directory + '/' + name), _disk(_directory) {}

DiskFile::Identity DiskFile::identify(FileHandle* handle) {
    Identity identity{_disk.stamp(handle), std::string(headSize, '\0')};
    identity.head.resize(static_cast<std::size_t>(_disk.read(handle, identity.head.data(), headSize)));
    return identity;
}

Reading DiskFile::read() {
    _known.reset();
    return *readIfChanged(nullptr);
}

bool DiskFile::isKnown() {
    // Detects most changes without opening the file.
    if (_known && _known->stamp.number != 0 && !(_disk.stampAt(text(_name)) == _known->stamp))
        return false;
    Opened const file(_disk, _name);
    if (file.handle() == nullptr)
        return isMissing(file.error()) && _known && _known->stamp.number == 0;
    Identity const now = identify(file.handle());
    return _known && _known->stamp == now.stamp && _known->head == now.head;
}

std::optional<Reading> DiskFile::readIfChanged(Image const& similar) {
    Opened const file(_disk, _name);
    if (file.handle() == nullptr) {
        if (isMissing(file.error()) && _known && _known->stamp.number == 0)
            return std::nullopt;
        _known.reset();
        if (!isMissing(file.error()))
            return Reading{Found::unreadable, nullptr, because(file.error())};
        _known = Identity{};
        return Reading{Found::missing, nullptr, {}};
    }
    Identity now = identify(file.handle());
    if (_known && _known->stamp == now.stamp && _known->head == now.head)
        return std::nullopt;
    Reading reading = readFrom(file.handle(), similar);
    _known.reset();
    if (reading.found == Found::sound)
        know(std::move(now));
    return reading;
}

/** Without a stamp from the system, the file stays unknown, and is read again next time. */
void DiskFile::know(Identity identity) {
    if (identity.stamp.number != 0)
        _known = std::move(identity);
}

Reading DiskFile::readFrom(FileHandle* handle, Image const& similar) {
    try {
        long const size = _disk.size(handle);
        if (size < 0 || !_disk.seek(handle, 0, FileSystem::ORIGIN_BEGIN))
            return {Found::unreadable, nullptr, because(errno)};
        std::string bytes(static_cast<std::size_t>(size), '\0');
        errno = 0;
        auto const moved =
            static_cast<std::size_t>(_disk.read(handle, bytes.data(), static_cast<long>(bytes.size())));
        if (moved < bytes.size() && errno != 0)
            return {Found::unreadable, nullptr, because(errno)};
        bytes.resize(moved);
        return {Found::sound,
                similar != nullptr ? std::make_shared<TreeImage const>(std::move(bytes), *similar)
                                   : std::make_shared<TreeImage const>(std::move(bytes)),
                {}};
    } catch (filesystem::NewerFormat const& newer) {
        return {Found::unreadable, nullptr, newer.what()};
    } catch (utils::Exception const& damage) {
        return {Found::damaged, nullptr, damage.what()};
    } catch (std::exception const& failure) { // out of memory
        return {Found::unreadable, nullptr, failure.what()};
    }
}

DiskFile::Replaced DiskFile::replace(TreeImage const& image, std::string const& keptAs) {
    auto const failed = [this](int error) { return Replaced{false, _path + ": " + because(error)}; };
    // A separate file system: unless the handle has been closed, its destructor discards everything that was written.
    filesystem::RealFileSystem disk(_directory);
    FileHandle* handle = nullptr;
    errno = 0;
    if (!disk.open(text(_name), &handle, FileSystem::MODE_WRITE))
        return failed(errno);
    auto const size = static_cast<long>(image.bytes().size());
    errno = EIO;
    if (disk.write(handle, image.bytes().data(), size) != size || !disk.flush(handle))
        return failed(errno);
    // The new content has reached the disk by now. A save that fails before this must not replace the previous file.
    if (!keptAs.empty() && !disk.keepAs(text(_name), text(keptAs)) && errno != ENOENT)
        return failed(errno);
    Identity written{disk.stamp(handle), std::string(image.bytes().substr(0, headSize))};
    _known.reset();
    if (disk.close(handle)) {
        know(std::move(written));
        return {true, {}};
    }
    Replaced replaced = failed(errno);
    knowIfItHolds(image);
    replaced.isInPlace = _known.has_value();
    return replaced;
}

/**
 * Called if it is not known whether a replacement took place: compares the size and the first bytes of the file, which
 * include the checksum, with those of the new content.
 */
void DiskFile::knowIfItHolds(TreeImage const& image) {
    Opened const written(_disk, _name);
    if (written.handle() == nullptr)
        return;
    Identity now = identify(written.handle());
    if (image.bytes().substr(0, now.head.size()) == now.head &&
        now.stamp.size == static_cast<long>(image.bytes().size()))
        know(std::move(now));
}

std::string DiskFile::nameForDamaged() {
    return filesystem::nameForDamaged(_disk, _name);
}

std::string DiskFile::moveAsideAsDamaged() {
    std::string name = nameForDamaged();
    return _disk.moveAside(text(_name), text(name)) ? name : std::string();
}

void DiskFile::removeOldestDamaged() {
    filesystem::removeOldestDamaged(_disk, _name);
}

} // namespace velmorand::live
