// SPDX-License-Identifier: Apache-2.0
#include "filesystem/RealFileSystem.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

#include "Descriptor.h"
#include "Directory.h"
#include "Module.h"
#include "Number.h"
#include "Replacement.h"
#include "TemporaryNames.h"
#include "TreePath.h"

namespace filesystem {

namespace {

constexpr long readAhead = 16'384;

/** The UTF-8 bytes of a path; `nullopt` if it is not well-formed, or has a NUL, which would truncate it. */
std::optional<std::string> systemName(QString const& path) {
    if (!path.isValidUtf16() || path.contains(QChar::Null))
        return std::nullopt;
    return path.toUtf8().toStdString();
}

/** The text of a name on disk; `nullopt` if it is not UTF-8, since no path can name it. */
std::optional<QString> textOf(std::string const& name) {
    QString const text = textOfName(name);
    if (text.toUtf8().toStdString() != name)
        return std::nullopt;
    return text;
}

/**
 * The full path of `path` below `root`; `nullopt` if it cannot name a file. The full path of the root itself ends in
 * "/".
 */
std::optional<std::string> locate(std::string const& root, QString const& path) {
    auto const name = systemName(path);
    if (root.empty() || !name)
        return std::nullopt;
    std::string located = root + '/';
    for (std::size_t begin = 0; begin < name->size();) {
        std::size_t const end = std::min(name->find('/', begin), name->size());
        std::string const level = name->substr(begin, end - begin);
        if (level == "." || level == "..")
            return std::nullopt;
        if (!level.empty() && located.size() > root.size() + 1)
            located += '/';
        located += level;
        begin = end + 1;
    }
    return located;
}

bool isRoot(std::string const& located) {
    return located.back() == '/';
}

/** A path for a temporary file of `located`, in the directory of `beside`; empty if random bytes are not available. */
std::string temporaryName(std::string const& located, std::string const& beside) {
    std::string const name = TemporaryNames(located.substr(located.rfind('/') + 1)).make();
    return name.empty() ? name : beside.substr(0, beside.rfind('/') + 1) + name;
}

/** Gets the status of a path; follows symbolic links. */
bool isExaminedAt(std::string const& path, struct stat& status) {
    return retried([&] { return ::stat(path.c_str(), &status); }) == 0;
}

/** The type bits of a path, after following symbolic links; 0 if it is missing or cannot be examined. */
::mode_t typeAt(std::optional<std::string> const& located) {
    struct stat status = {};
    return located && isExaminedAt(*located, status) ? status.st_mode & S_IFMT : 0;
}

RealFileSystem::Stamp stampOf(struct stat const& status) {
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

} // namespace

/** A file that is open for reading or for writing. */
class RealHandle : public FileHandle {
public:
    RealHandle(FileSystem& fileSystem, std::string&& path) noexcept
        : FileHandle(fileSystem, &_path), _path(std::move(path)) {}
    RealHandle(RealHandle const&) = delete;
    RealHandle& operator=(RealHandle const&) = delete;
    virtual ~RealHandle() = default;

    virtual long read(char* /*buffer*/, long /*count*/) { return refused(); }
    virtual long write(void const* /*buffer*/, long /*count*/) { return refused(); }
    virtual void seek(::off_t position) = 0;
    [[nodiscard]] virtual ::off_t tell() const = 0;
    [[nodiscard]] virtual ::off_t size() const = 0; // -1 on failure
    virtual bool flush() {
        refused();
        return false;
    }
    virtual bool close() = 0;
    [[nodiscard]] virtual int descriptor() const = 0;

private:
    static long refused() {
        errno = EBADF;
        return 0;
    }

    std::string _path;
};

namespace {

class ReadHandle final : public RealHandle {
public:
    ReadHandle(FileSystem& fileSystem, std::string const& path, Descriptor file)
        : RealHandle(fileSystem, std::string(path)), _file(std::move(file)) {}

    long read(char* buffer, long count) override {
        long moved = 0;
        while (moved < count) {
            std::string_view const ready = ahead(count - moved);
            long const step = ready.empty() ? readDirectly(buffer + moved, count - moved)
                                            : static_cast<long>(ready.copy(buffer + moved, ready.size()));
            if (step <= 0)
                break;
            moved += step;
            _position += step;
        }
        return moved;
    }

    void seek(::off_t position) override { _position = position; }
    [[nodiscard]] ::off_t tell() const override { return _position; }

    [[nodiscard]] ::off_t size() const override {
        struct stat status = {};
        return isExamined(_file.number(), status) ? status.st_size : -1;
    }

    bool close() override { return _file.close(); }
    [[nodiscard]] int descriptor() const override { return _file.number(); }

private:
    /** Up to `count` bytes at the position from the read-ahead buffer; fills it first unless `count` is large. */
    std::string_view ahead(long count) {
        if (_position < _aheadStart || _position >= _aheadStart + _aheadSize) {
            if (count >= readAhead)
                return {};
            if (_ahead == nullptr)
                _ahead.reset(new char[readAhead]); // not zeroed
            _aheadStart = _position;
            _aheadSize = std::max(readDirectly(_ahead.get(), readAhead), 0L);
        }
        auto const from = static_cast<std::size_t>(_position - _aheadStart);
        return std::string_view(_ahead.get(), static_cast<std::size_t>(_aheadSize))
            .substr(from, static_cast<std::size_t>(count));
    }

    /** Result: 0 at the end of the file; `errno` is 0 then. */
    long readDirectly(char* buffer, long count) const {
        errno = 0;
        return retried(
            [&] { return ::pread(_file.number(), buffer, static_cast<std::size_t>(count), _position); });
    }

    Descriptor _file;
    std::unique_ptr<char[]> _ahead; // bytes of the file, from `_aheadStart` on
    ::off_t _aheadStart = 0;
    long _aheadSize = 0;
    ::off_t _position = 0;
};

class WriteHandle final : public RealHandle {
public:
    WriteHandle(FileSystem& fileSystem, std::string const& path, std::unique_ptr<Replacement> replacement)
        : RealHandle(fileSystem, std::string(path)), _replacement(std::move(replacement)) {}

    long write(void const* buffer, long count) override { return _replacement->write(buffer, count); }
    void seek(::off_t position) override { _replacement->seek(position); }
    [[nodiscard]] ::off_t tell() const override { return _replacement->tell(); }
    [[nodiscard]] ::off_t size() const override { return _replacement->size(); }
    bool flush() override { return _replacement->settle(); }
    bool close() override { return _replacement->commit(); }
    [[nodiscard]] int descriptor() const override { return _replacement->descriptor(); }

private:
    std::unique_ptr<Replacement> _replacement;
};

std::unique_ptr<RealHandle> openForReading(FileSystem& fileSystem, std::string const& path) {
    // Examined before opening, because opening some devices has side effects, and again afterwards, because the file
    // may have been replaced meanwhile.
    struct stat status = {};
    if (!isExaminedAt(path, status) || !isRegular(status))
        return nullptr;
    int const flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    Descriptor file = opened([&] { return ::open(path.c_str(), flags); });
    if (!file.isOpen() || !isExamined(file.number(), status) || !isRegular(status))
        return nullptr;
    return std::make_unique<ReadHandle>(fileSystem, path, std::move(file));
}

std::unique_ptr<RealHandle> openForWriting(FileSystem& fileSystem, std::string const& path) {
    auto replacement = Replacement::begin(path);
    return replacement ? std::make_unique<WriteHandle>(fileSystem, path, std::move(replacement)) : nullptr;
}

} // namespace

/** The open handles of a file system. `find` recognises invalid handles without dereferencing them. */
class RealHandles {
public:
    FileHandle* add(std::unique_ptr<RealHandle> handle) {
        FileHandle* const added = handle.get();
        _open.emplace(added, std::move(handle));
        return added;
    }

    [[nodiscard]] RealHandle* find(FileHandle* handle) const {
        auto const found = _open.find(handle);
        return found == _open.end() ? nullptr : found->second.get();
    }

    void release(FileHandle* handle) { _open.erase(handle); }

private:
    std::map<FileHandle*, std::unique_ptr<RealHandle>> _open;
};

RealFileSystem::RealFileSystem(QString const& root)
    : _root(systemName(root).value_or("")), _handles(std::make_unique<RealHandles>()) {}

RealFileSystem::~RealFileSystem() noexcept(false) = default;

std::set<DirEntry> RealFileSystem::getFileList(QString const& path) const {
    auto const located = locate(_root, path);
    if (!located)
        return {};
    Descriptor const directory = openDirectory(AT_FDCWD, *located);
    auto const names = directory.isOpen() ? entryNames(directory.number()) : std::nullopt;
    if (!names)
        return {};
    std::set<DirEntry> entries;
    for (std::string const& name : *names)
        if (auto const text = textOf(name))
            entries.insert({*text});
    return entries;
}

bool RealFileSystem::exists(QString const& path) const {
    auto const located = locate(_root, path);
    struct stat status = {};
    return located &&
           (isExaminedAt(*located, status) || (errno != ENOENT && errno != ENOTDIR && errno != ENAMETOOLONG));
}

bool RealFileSystem::remove(QString const& path) {
    auto const located = locate(_root, path);
    return located && !isRoot(*located) && removeTree(*located);
}

bool RealFileSystem::mkdir(QString const& path) {
    auto const located = locate(_root, path);
    return located && !isRoot(*located) && ::mkdir(located->c_str(), 0777) == 0;
}

bool RealFileSystem::open(QString const& path, FileHandle** handle, FileSystemMode mode) {
    errno = EINVAL;
    if (handle == nullptr)
        return false;
    *handle = nullptr;
    auto const located = locate(_root, path);
    if (!located || isRoot(*located) || (mode != MODE_READ && mode != MODE_WRITE))
        return false;
    auto opened = mode == MODE_READ ? openForReading(*this, *located) : openForWriting(*this, *located);
    if (!opened)
        return false;
    *handle = _handles->add(std::move(opened));
    return true;
}

bool RealFileSystem::close(FileHandle* handle) {
    RealHandle* const own = _handles->find(handle);
    if (own == nullptr) {
        errno = EBADF;
        return false;
    }
    bool const closed = own->close();
    int const reason = errno;
    _handles->release(handle);
    errno = reason;
    return closed;
}

long RealFileSystem::read(FileHandle* handle, void* buffer, long count) {
    RealHandle* const own = _handles->find(handle);
    if (own != nullptr)
        return own->read(static_cast<char*>(buffer), count);
    errno = EBADF;
    return 0;
}

long RealFileSystem::write(FileHandle* handle, void const* buffer, long count) {
    RealHandle* const own = _handles->find(handle);
    return own != nullptr ? own->write(buffer, count) : 0;
}

bool RealFileSystem::seek(FileHandle* handle, long offset, FileSystemOrigin origin) {
    RealHandle* const own = _handles->find(handle);
    ::off_t const end = own != nullptr ? own->size() : -1;
    if (end < 0 || (origin != ORIGIN_BEGIN && origin != ORIGIN_CURRENT && origin != ORIGIN_END))
        return false;
    ::off_t const from = origin == ORIGIN_BEGIN ? 0 : origin == ORIGIN_CURRENT ? own->tell() : end;
    if (offset < -from || offset > end - from)
        return false;
    own->seek(from + offset);
    return true;
}

long RealFileSystem::tell(FileHandle* handle) {
    RealHandle* const own = _handles->find(handle);
    return own != nullptr ? positionAsLong(own->tell()) : -1;
}

void* RealFileSystem::loadModule(QString const& path) {
    auto const located = locate(_root, path);
    return typeAt(located) == S_IFREG ? loadModuleFile(*located) : nullptr;
}

bool RealFileSystem::unloadModule(void* module) {
    return filesystem::unloadModule(module);
}

void* RealFileSystem::getSymbolAddress(void* module, QString const& symbol) {
    return symbolAddress(module, symbol);
}

bool RealFileSystem::isDirectory(QString const& path) const {
    return typeAt(locate(_root, path)) == S_IFDIR;
}

bool RealFileSystem::isFile(QString const& path) const {
    return typeAt(locate(_root, path)) == S_IFREG;
}

RealFileSystem::Stamp RealFileSystem::stamp(FileHandle* handle) const {
    RealHandle const* const own = _handles->find(handle);
    struct stat status = {};
    if (own == nullptr || !isExamined(own->descriptor(), status))
        return {};
    return stampOf(status);
}

RealFileSystem::Stamp RealFileSystem::stampAt(QString const& path) const {
    auto const located = locate(_root, path);
    struct stat status = {};
    return located && isExaminedAt(*located, status) ? stampOf(status) : Stamp();
}

bool RealFileSystem::flush(FileHandle* handle) {
    RealHandle* const own = _handles->find(handle);
    if (own != nullptr)
        return own->flush();
    errno = EBADF;
    return false;
}

bool RealFileSystem::keepAs(QString const& path, QString const& second) {
    errno = EINVAL;
    auto const from = locate(_root, path);
    auto const to = locate(_root, second);
    if (!from || !to || isRoot(*from) || isRoot(*to))
        return false;
    // A new link cannot replace an existing file, so it is created under another name and renamed.
    std::string const aside = temporaryName(*from, *to);
    if (aside.empty())
        return false;
    auto const link = [&] {
        return ::linkat(AT_FDCWD, from->c_str(), AT_FDCWD, aside.c_str(), AT_SYMLINK_FOLLOW);
    };
    if (retried(link) != 0)
        return (errno == EPERM || errno == EXDEV || errno == EMLINK || errno == EOPNOTSUPP) &&
               copy(path, second);
    if (retried([&] { return ::rename(aside.c_str(), to->c_str()); }) != 0) {
        int const reason = errno;
        retried([&] { return ::unlink(aside.c_str()); });
        errno = reason;
        return false;
    }
    // If both names are links to the same file, renaming keeps both.
    retried([&] { return ::unlink(aside.c_str()); });
    return true;
}

/** Copies a file that cannot get another link, for example because the file system does not support links. */
bool RealFileSystem::copy(QString const& path, QString const& second) {
    // A separate file system, because its destructor discards an incomplete copy.
    auto disk = std::make_unique<RealFileSystem>(QString::fromUtf8(_root.c_str()));
    FileHandle* from = nullptr;
    FileHandle* to = nullptr;
    if (!disk->open(path, &from, MODE_READ))
        return false;
    bool isCopied = disk->open(second, &to, MODE_WRITE);
    // Only the owner may access the copy: with default permissions, more users could read it than the original.
    if (RealHandle const* const made = isCopied ? disk->_handles->find(to) : nullptr; made != nullptr)
        isCopied = ::fchmod(made->descriptor(), S_IRUSR | S_IWUSR) == 0;
    std::array<char, 65'536> part{};
    while (isCopied) {
        errno = 0;
        long const got = disk->read(from, part.data(), static_cast<long>(part.size()));
        if (got == 0) {
            isCopied = errno == 0; // otherwise reading failed before the end
            break;
        }
        isCopied = disk->write(to, part.data(), got) == got;
    }
    isCopied = isCopied && disk->close(to);
    int const reason = errno;
    disk.reset();
    errno = reason;
    return isCopied;
}

bool RealFileSystem::moveAside(QString const& path, QString const& name) {
    errno = EINVAL;
    auto const from = locate(_root, path);
    auto const to = locate(_root, name);
    if (!from || !to || isRoot(*from) || isRoot(*to))
        return false;
    // Not all file systems can rename without overwriting. On the others, a link is created and the old name removed.
    bool const isMoved =
        retried([&] {
            return ::renameat2(AT_FDCWD, from->c_str(), AT_FDCWD, to->c_str(), RENAME_NOREPLACE);
        }) == 0 ||
        (errno == EINVAL && retried([&] { return ::link(from->c_str(), to->c_str()); }) == 0 &&
         retried([&] { return ::unlink(from->c_str()); }) == 0);
    Descriptor const directory =
        isMoved ? openDirectory(AT_FDCWD, to->substr(0, to->rfind('/') + 1)) : Descriptor();
    if (directory.isOpen())
        retried([&] { return ::fsync(directory.number()); });
    return isMoved;
}

} // namespace filesystem
