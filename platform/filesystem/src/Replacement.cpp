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

constexpr int hopLimit = 40; // the same limit on symbolic links as in Linux
constexpr int nameAttempts = 100;
constexpr long bufferBytes = 65'536;

/** Flags for opening a path that should be a regular file. */
constexpr int otherFlags = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

bool isLocked(int file) {
    return retried([=] { return ::flock(file, LOCK_EX | LOCK_NB); }) == 0;
}

/** Gets the status of a name; does not follow symbolic links. */
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
 * Sets the owner. Also returns true if this process is not allowed to set it, or if its number is invalid in this user
 * namespace.
 */
bool isOwned(int file, ::uid_t user, ::gid_t group) {
    return retried([=] { return ::fchown(file, user, group); }) == 0 || errno == EPERM || errno == EINVAL;
}

} // namespace

std::unique_ptr<Replacement> Replacement::begin(std::string const& path) {
    // Checked by path, because the system may forbid following a link that `resolve` would follow step by step.
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

/** Sets `target` to the directory and the name of `path`, which is relative to the directory of `target`. */
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

/** Opens the old file, if it exists. False if it cannot be replaced. */
bool Replacement::examine() {
    struct stat status = {};
    if (!isExaminedAt(_target.directory.number(), _target.name, status))
        return errno == ENOENT;
    if (!isRegular(status))
        return false;
    // A writable file need not be readable.
    for (int const access : {O_RDONLY, O_WRONLY}) {
        int const flags = access | otherFlags;
        _old = opened([&] { return ::openat(_target.directory.number(), _target.name.c_str(), flags); });
        if (_old.isOpen() || errno != EACCES)
            break;
    }
    return _old.isOpen() && isExamined(_old.number(), status) && isRegular(status);
}

/** Removes temporary files of killed processes. Failure is harmless. */
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
    // The process may have renamed the file before it released the lock.
    if (file.isOpen() && isLocked(file.number()) && isAt(file.number(), name))
        remove(_target.directory.number(), name);
}

bool Replacement::makeTemporary() {
    // The new content must never be readable for users who could not read the old content.
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
 * Locks the new temporary file. False if another process locked it first: that process took it for a stale file, and
 * removes it. On a file system without locks, stale files are never removed, so the lock is not needed.
 */
bool Replacement::lockTemporary() const {
    return (isLocked(_file.number()) || errno != EWOULDBLOCK) && isAt(_file.number(), _temporary);
}

/** Whether an open regular file still has this name. */
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

/** Result: the number of bytes written; if it is smaller than asked for, the replacement has failed. */
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
 * Gives the new file the current rights of the old one: the owner, or at least the group, if possible; the access
 * control list and the other extended attributes; and the mode. No user gets more rights than before. If the group
 * cannot be kept, the new group gets no rights, and others get only rights that the old group had as well, since its
 * members are now among the others. The set-user-ID bit is dropped if the owner differs, the set-group-ID bit if the
 * group differs. If an access control list could not be copied, only the owner keeps rights.
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
        // The members of the old group are now among the others.
        ::mode_t const mayStay = (mode & S_IRWXG) >> 3U;
        mode &= ~::mode_t{S_IRWXG | S_ISGID | S_IRWXO} | mayStay;
    }
    if (now.st_uid != old.st_uid)
        mode &= ~::mode_t{S_ISUID};
    // Set after the owner, because changing the owner removes rights, and before the mode, whose group bits limit the
    // rights that a list grants: until then an inherited list grants nothing.
    bool const listKept = sameGroup ? copyAccessList(_old.number(), file)
                                    : removeAccessList(file) && !hasAccessList(_old.number());
    bool const allKept = copyOtherAttributes(_old.number(), file);
    if (!listKept || !allKept)
        mode &= ~::mode_t{S_IRWXG | S_IRWXO};
    return retried([=] { return ::fchmod(file, mode); }) == 0;
}

/** Completes the temporary file, durably. It stays locked until it has been renamed. */
bool Replacement::settle() {
    if (_lock.isOpen()) { // settled already
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
    // A file system without fsync for directories (EINVAL) does not need it.
    if (isSynchronised(_target.directory.number()) || errno == EINVAL)
        return true;
    // A directory opened without read permission does not support fsync, so the whole file system is flushed.
    return errno == EBADF && retried([this] { return ::syncfs(_lock.number()); }) == 0;
}

} // namespace filesystem
