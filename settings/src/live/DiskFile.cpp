// SPDX-License-Identifier: Apache-2.0
#include "DiskFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <system_error>
#include <vector>

#include <QString>

namespace velmorand::live {

namespace {

using filesystem::FileHandle;
using filesystem::FileSystem;
using filesystem::TreeImage;
using Found = Reading::Found;

constexpr long headSize = 64;
constexpr std::size_t mostSetAside = 5;

QString text(std::string const& utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<int>(utf8.size()));
}

/** Gives a handle back at the end of a scope. */
class Opened {
public:
    Opened(filesystem::RealFileSystem& disk, std::string const& name, FileSystem::FileSystemMode mode)
        : _disk(disk) {
        errno = 0;
        if (!disk.open(text(name), &_handle, mode))
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

    bool close() { return _disk.close(std::exchange(_handle, nullptr)); }

private:
    filesystem::RealFileSystem& _disk;
    FileHandle* _handle = nullptr;
    int _error = 0;
};

std::string because(int error) {
    if (error == EINVAL)
        return "not a regular file";
    return std::generic_category().message(error);
}

/** The time now, as in 20261121T093000Z. */
std::string timeInUtc() {
    std::time_t const now = std::time(nullptr);
    std::tm parts = {};
    ::gmtime_r(&now, &parts);
    std::array<char, 32> digits{};
    return {digits.data(), std::strftime(digits.data(), digits.size(), "%Y%m%dT%H%M%SZ", &parts)};
}

} // namespace

DiskFile::DiskFile(std::string const& directory, std::string const& name)
    : _name(name), _path(directory + '/' + name), _disk(text(directory)) {}

DiskFile::Identity DiskFile::identify(FileHandle* handle) {
    Identity identity{_disk.stamp(handle), std::string(headSize, '\0')};
    identity.head.resize(static_cast<std::size_t>(_disk.read(handle, identity.head.data(), headSize)));
    return identity;
}

Reading DiskFile::read() {
    _known.reset();
    return *readIfChanged();
}

bool DiskFile::isKnown() {
    Opened const file(_disk, _name, FileSystem::MODE_READ);
    Identity const now = file.handle() != nullptr ? identify(file.handle()) : Identity{};
    return _known && _known->stamp == now.stamp && _known->head == now.head;
}

std::optional<Reading> DiskFile::readIfChanged() {
    Opened const file(_disk, _name, FileSystem::MODE_READ);
    if (file.handle() == nullptr) {
        bool const isMissing = file.error() == ENOENT || file.error() == ENOTDIR;
        if (isMissing && _known && _known->stamp.number == 0)
            return std::nullopt;
        _known.reset();
        if (!isMissing)
            return Reading{Found::unreadable, nullptr, because(file.error())};
        _known = Identity{};
        return Reading{Found::missing, nullptr, {}};
    }
    Identity now = identify(file.handle());
    if (_known && _known->stamp == now.stamp && _known->head == now.head)
        return std::nullopt;
    Reading reading = readFrom(file.handle());
    if (reading.found == Found::sound)
        _known = std::move(now);
    else
        _known.reset();
    return reading;
}

Reading DiskFile::readFrom(FileHandle* handle) {
    try {
        std::string bytes(static_cast<std::size_t>(std::max(_disk.size(handle), 0L)), '\0');
        _disk.seek(handle, 0, FileSystem::ORIGIN_BEGIN);
        errno = 0;
        auto const moved =
            static_cast<std::size_t>(_disk.read(handle, bytes.data(), static_cast<long>(bytes.size())));
        if (moved < bytes.size() && errno != 0)
            return {Found::unreadable, nullptr, because(errno)};
        bytes.resize(moved);
        return {Found::sound, std::make_shared<TreeImage const>(std::move(bytes)), {}};
    } catch (filesystem::NewerFormat const& newer) {
        return {Found::unreadable, nullptr, newer.what()};
    } catch (utils::Exception const& damage) {
        return {Found::damaged, nullptr, damage.what()};
    } catch (std::exception const& failure) { // no memory for it
        return {Found::unreadable, nullptr, failure.what()};
    }
}

std::string DiskFile::replace(TreeImage const& image, std::string const& keptAs) {
    _known.reset();
    auto const failed = [this](int error) { return _path + ": " + because(error); };
    Opened file(_disk, _name, FileSystem::MODE_WRITE);
    if (file.handle() == nullptr)
        return failed(file.error());
    auto const size = static_cast<long>(image.bytes().size());
    errno = EIO;
    if (_disk.write(file.handle(), image.bytes().data(), size) != size)
        return failed(errno);
    if (!keptAs.empty() && !_disk.keepAs(text(_name), text(keptAs)) && errno != ENOENT)
        return failed(errno);
    if (!file.close())
        return failed(errno);

    // From now on it is known, unless somebody else has replaced it already.
    if (Opened const written(_disk, _name, FileSystem::MODE_READ); written.handle() != nullptr) {
        Identity now = identify(written.handle());
        if (image.bytes().compare(0, now.head.size(), now.head) == 0 && now.stamp.size == size)
            _known = std::move(now);
    }
    return {};
}

std::string DiskFile::nameForDamaged() {
    std::string const stem = _name + ".damaged-" + timeInUtc();
    std::string name = stem;
    for (int number = 2; _disk.exists(text(name)); ++number)
        name = stem + '-' + std::to_string(number);
    return name;
}

std::string DiskFile::moveAsideAsDamaged() {
    std::string name = nameForDamaged();
    return _disk.moveAside(text(_name), text(name)) ? name : std::string();
}

/** The names begin alike and go on with the time, so their order is their age. */
void DiskFile::removeOldestDamaged() {
    std::string const stem = _name + ".damaged-";
    std::vector<std::string> names;
    for (filesystem::DirEntry const& entry : _disk.getFileList(QString()))
        if (std::string const name = entry.name.toStdString(); name.compare(0, stem.size(), stem) == 0)
            names.push_back(name);
    std::sort(names.begin(), names.end());
    for (std::size_t i = 0; i + mostSetAside < names.size(); ++i)
        _disk.remove(text(names[i]));
}

} // namespace velmorand::live
