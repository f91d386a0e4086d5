// SPDX-License-Identifier: Apache-2.0
#include "Replacement.h"

#include <algorithm>
#include <array>
#include <climits>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>

#include "Attributes.h"
#include "Directory.h"

namespace filesystem {

namespace {

constexpr int hopLimit = 40; // as many symbolic links as Linux itself follows
constexpr int nameAttempts = 100;
constexpr long bufferBytes = 65'536;

/** For opening what should be a regular file. */
constexpr int otherFlags = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

bool isLocked(int file) {
    return retried([=] { return ::flock(file, LOCK_EX | LOCK_NB); }) == 0;
}

/** Looks at what stands under a name, a symbolic link included. */
bool isExaminedAt(int directory, std::string const& name, struct stat& status) {
    return retried([&] { return ::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW); }) == 0;
}

void remove(int directory, std::string const& name) {
    retried([&] { return ::unlinkat(directory, name.c_str(), 0); });
}

bool isSynchronised(int file) {
    return retried([=] { return ::fsync(file); }) == 0;
}

/**
 * Whether the owner was set, or is not for this process to set: by its rights, or since it has no number
 * here.
 */
bool isOwned(int file, ::uid_t user, ::gid_t group) {
    return retried([=] { return ::fchown(file, user, group); }) == 0 || errno == EPERM || errno == EINVAL;
}

} // namespace

std::unique_ptr<Replacement> Replacement::begin(std::string const& path) {
    // Asked by path, since the system may forbid to follow a link that the steps of `resolve` would follow.
    if (retried([&] { return ::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS); }) != 0 &&
        errno != ENOENT)
        return nullptr;
    auto target = resolve(path);
    if (!target)
        return nullptr;
    std::unique_ptr<Replacement> replacement(new Replacement(std::move(*target)));
    if (!replacement->examine())
        return nullptr;
    replacement->clearStale();
    return replacement->makeTemporary() ? std::move(replacement) : nullptr;
}

Replacement::Replacement(Target target) : _target(std::move(target)), _names(_target.name) {
    _buffer.reserve(bufferBytes);
}

Replacement::~Replacement() {
    discard();
}

void Replacement::discard() noexcept {
    if (!_temporary.empty())
        remove(_target.directory.number(), _temporary);
    _temporary.clear();
}

std::optional<Replacement::Target> Replacement::resolve(std::string const& path) {
    Target target = {Descriptor(), {}};
    std::string next = path;
    std::array<char, PATH_MAX> link = {};
    for (int hop = 0; hop <= hopLimit; ++hop) {
        if (!step(target, next))
            return std::nullopt;
        auto const length = retried([&] {
            return ::readlinkat(target.directory.number(), target.name.c_str(), link.data(), link.size());
        });
        if (length < 0 && (errno == EINVAL || errno == ENOENT))
            return target;
        if (length < 0)
            return std::nullopt;
        if (length == static_cast<::ssize_t>(link.size())) {
            errno = ENAMETOOLONG;
            return std::nullopt;
        }
        next.assign(link.data(), static_cast<std::size_t>(length));
    }
    errno = ELOOP;
    return std::nullopt;
}

/** Moves `target` to the directory and the name that `path`, seen from its directory, leads to. */
bool Replacement::step(Target& target, std::string const& path) {
    auto const slash = path.rfind('/');
    std::string const name = slash == std::string::npos ? path : path.substr(slash + 1);
    if (name.empty() || name == "." || name == "..") {
        errno = EISDIR;
        return false;
    }
    std::string const directory =
        slash == std::string::npos ? "." : path.substr(0, std::max(slash, std::size_t{1}));
    target.directory = openBase(target.directory.isOpen() ? target.directory.number() : AT_FDCWD, directory);
    target.name = name;
    return target.directory.isOpen();
}

/** Opens the file that is to be replaced. False when it cannot be replaced. */
bool Replacement::examine() {
    struct stat status = {};
    if (!isExaminedAt(_target.directory.number(), _target.name, status))
        return errno == ENOENT;
    if (!isRegular(status))
        return false;
    // A file that may be written need not be readable.
    for (int const access : {O_RDONLY, O_WRONLY}) {
        int const flags = access | otherFlags;
        _old = opened([&] { return ::openat(_target.directory.number(), _target.name.c_str(), flags); });
        if (_old.isOpen() || errno != EACCES)
            break;
    }
    return _old.isOpen() && isExamined(_old.number(), status) && isRegular(status);
}

/** Removes the temporary files of killed processes. One that cannot be removed does no harm. */
void Replacement::clearStale() const {
    auto const names = entryNames(_target.directory.number());
    if (!names)
        return;
    for (std::string const& name : *names)
        if (_names.include(name))
            removeIfStale(name);
}

void Replacement::removeIfStale(std::string const& name) const {
    int const flags = O_WRONLY | otherFlags;
    Descriptor const file = opened([&] { return ::openat(_target.directory.number(), name.c_str(), flags); });
    // Its process may have moved it into place before it let go of the lock.
    if (file.isOpen() && isLocked(file.number()) && isAt(file.number(), name))
        remove(_target.directory.number(), name);
}

bool Replacement::makeTemporary() {
    // Nobody may read the new content who could not read the old one, not even for a moment.
    ::mode_t const mode = _old.isOpen() ? 0600 : 0666;
    int const flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
    for (int attempt = 0; attempt < nameAttempts; ++attempt) {
        std::string name = _names.make();
        if (name.empty())
            return false;
        _file = opened([&] { return ::openat(_target.directory.number(), name.c_str(), flags, mode); });
        if (_file.isOpen()) {
            _temporary = std::move(name);
            if (lockTemporary())
                return true;
            discard();
        } else if (errno != EEXIST) {
            return false;
        }
    }
    errno = EEXIST;
    return false;
}

/**
 * Takes the lock on the new temporary file. False when someone was quicker, took it for a stale one and
 * removes it. Where the file system has no locks nobody can, and the work goes on without.
 */
bool Replacement::lockTemporary() const {
    return (isLocked(_file.number()) || errno != EWOULDBLOCK) && isAt(_file.number(), _temporary);
}

/** Whether a regular file that is open is still what stands under a name. */
bool Replacement::isAt(int file, std::string const& name) const {
    struct stat open = {};
    struct stat there = {};
    return isExamined(file, open) && isRegular(open) &&
           isExaminedAt(_target.directory.number(), name, there) && open.st_dev == there.st_dev &&
           open.st_ino == there.st_ino;
}

long Replacement::write(void const* bytes, long count) {
    auto const* const source = static_cast<char const*>(bytes);
    auto const buffered = [this] { return static_cast<long>(_buffer.size()); };
    if (count <= 0 || _error != 0)
        return 0;
    if (source == nullptr || !_file.isOpen()) {
        _error = source == nullptr ? EFAULT : EBADF;
        return 0;
    }
    bool const adjoins = _position == _bufferStart + buffered();
    if ((!adjoins || count > bufferBytes - buffered()) && !flush())
        return 0;
    long moved = count;
    if (count > bufferBytes) {
        moved = writeThrough({source, static_cast<std::size_t>(count)}, _position);
    } else {
        if (_buffer.empty())
            _bufferStart = _position;
        _buffer.append(source, static_cast<std::size_t>(count));
    }
    _position += moved;
    _size = std::max(_size, _position);
    return moved;
}

/** Result: the bytes moved; when they are fewer than asked for, the replacement has failed. */
long Replacement::writeThrough(std::string_view bytes, ::off_t position) {
    std::size_t const moved = writeAt(_file.number(), bytes, position);
    if (moved != bytes.size())
        _error = errno;
    return static_cast<long>(moved);
}

bool Replacement::flush() {
    if (_error == 0)
        writeThrough(_buffer, _bufferStart);
    _buffer.clear();
    errno = _error;
    return _error == 0;
}

/**
 * Gives the new file the rights that the old one has now: the owner where possible, or else the group, the access
 * control list and the other extended attributes, and the mode. Nobody is granted more than before: a new group does
 * not get the rights of the old one, whose members get no more as others than they had; nobody new gets a program to
 * run in their name; and without the access control list only the owner keeps any rights.
 */
bool Replacement::keepRights() const {
    if (!_old.isOpen())
        return true;
    int const file = _file.number();
    struct stat old = {};
    struct stat now = {};
    if (!isExamined(_old.number(), old) || !isExamined(file, now))
        return false;
    bool const sameOwner = now.st_uid == old.st_uid && now.st_gid == old.st_gid;
    auto const unchanged = static_cast<::uid_t>(-1);
    if (!sameOwner && !(isOwned(file, unchanged, old.st_gid) && isOwned(file, old.st_uid, old.st_gid) &&
                        isExamined(file, now)))
        return false;
    ::mode_t mode = old.st_mode & 07777U;
    bool const sameGroup = now.st_gid == old.st_gid;
    if (!sameGroup) {
        // The members of the old group are among the others now.
        ::mode_t const mayStay = (mode & S_IRWXG) >> 3U;
        mode &= ~::mode_t{S_IRWXG | S_ISGID | S_IRWXO} | mayStay;
    }
    if (now.st_uid != old.st_uid)
        mode &= ~::mode_t{S_ISUID};
    // After the owner, whose change takes rights away; and before the mode, whose group bits limit what a list
    // grants, so that an inherited one grants nothing until it is gone.
    bool const listKept = sameGroup ? copyAccessList(_old.number(), file)
                                    : removeAccessList(file) && !hasAccessList(_old.number());
    bool const allKept = copyOtherAttributes(_old.number(), file);
    if (!listKept || !allKept)
        mode &= ~::mode_t{S_IRWXG | S_IRWXO};
    return retried([=] { return ::fchmod(file, mode); }) == 0;
}

/**
 * Brings the temporary file to its final form, on the disk. The lock stays until the file is in its place.
 */
bool Replacement::settle() {
    if (_lock.isOpen()) { // it has been already
        errno = _error;
        return _error == 0;
    }
    if (!flush() || !keepRights() || !isSynchronised(_file.number()))
        return false;
    _lock = duplicated(_file.number());
    return _lock.isOpen() && _file.close();
}

bool Replacement::commit() {
    int const directory = _target.directory.number();
    auto const move = [&] {
        return ::renameat(directory, _temporary.c_str(), directory, _target.name.c_str());
    };
    if (!settle() || retried(move) != 0)
        return false;
    _temporary.clear();
    return isMoveDurable();
}

bool Replacement::isMoveDurable() const {
    // A file system that has no fsync for directories (EINVAL) does not need it.
    if (isSynchronised(_target.directory.number()) || errno == EINVAL)
        return true;
    // A directory opened without read permission has no fsync: the whole file system is written instead.
    return errno == EBADF && retried([this] { return ::syncfs(_lock.number()); }) == 0;
}

} // namespace filesystem
