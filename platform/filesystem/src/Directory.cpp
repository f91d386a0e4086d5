// SPDX-License-Identifier: Apache-2.0
#include "Directory.h"

#include <cstring>
#include <memory>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace filesystem {

namespace {

enum class Removal { Done, NotEmpty, Failed };

/** Removes an entry that is not a directory, or an empty directory. */
Removal removeEntry(int directory, std::string const& name) {
    if (::unlinkat(directory, name.c_str(), 0) == 0)
        return Removal::Done;
    if (errno != EISDIR && errno != EPERM)
        return Removal::Failed;
    if (::unlinkat(directory, name.c_str(), AT_REMOVEDIR) == 0)
        return Removal::Done;
    return errno == ENOTEMPTY || errno == EEXIST ? Removal::NotEmpty : Removal::Failed;
}

/** Empties a directory whose depth may exceed the limits on path lengths and on open descriptors. */
class Clearance {
public:
    bool clear(std::string const& path) {
        if (!enter(AT_FDCWD, path))
            return false;
        for (;;) {
            std::vector<std::string>& left = _levels.back().left;
            if (!left.empty()) {
                std::string const name = std::move(left.back());
                left.pop_back();
                if (!enter(_current.number(), name))
                    return false;
            } else if (_levels.size() == 1) {
                return true;
            } else if (!leave()) {
                return false;
            }
        }
    }

private:
    /** A directory on the path from the top to the current one. */
    struct Level {
        std::string name;
        dev_t device;
        ino_t inode;
        std::vector<std::string> left; // subdirectories that were not empty
    };

    /** Enters a directory, and removes its entries, except for subdirectories that are not empty. */
    bool enter(int base, std::string const& name) {
        _current = openDirectory(base, name, O_NOFOLLOW);
        struct stat status = {};
        if (!_current.isOpen() || ::fstat(_current.number(), &status) != 0)
            return false;
        auto names = entryNames(_current.number());
        if (!names)
            return false;
        Level level = {name, status.st_dev, status.st_ino, {}};
        for (std::string& entry : *names) {
            Removal const removal = removeEntry(_current.number(), entry);
            if (removal == Removal::Failed)
                return false;
            if (removal == Removal::NotEmpty)
                level.left.push_back(std::move(entry));
        }
        _levels.push_back(std::move(level));
        return true;
    }

    /** Leaves an emptied directory, and removes it. */
    bool leave() {
        std::string const name = std::move(_levels.back().name);
        _levels.pop_back();
        _current = openDirectory(_current.number(), "..");
        // If the directory has been moved meanwhile, ".." is another directory, in which nothing may be removed.
        struct stat status = {};
        return _current.isOpen() && ::fstat(_current.number(), &status) == 0 &&
               status.st_dev == _levels.back().device && status.st_ino == _levels.back().inode &&
               ::unlinkat(_current.number(), name.c_str(), AT_REMOVEDIR) == 0;
    }

    Descriptor _current;
    std::vector<Level> _levels;
};

} // namespace

Descriptor openDirectory(int base, std::string const& path, int flags) {
    int const all = O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags;
    return opened([&] { return ::openat(base, path.c_str(), all); });
}

Descriptor openBase(int base, std::string const& path) {
    Descriptor readable = openDirectory(base, path);
    return readable.isOpen() || errno != EACCES ? std::move(readable) : openDirectory(base, path, O_PATH);
}

std::optional<std::vector<std::string>> entryNames(int directory) {
    // A separate descriptor, because the stream takes ownership of it and moves its position.
    Descriptor own = openDirectory(directory, ".");
    std::unique_ptr<DIR, int (*)(DIR*)> const stream(own.isOpen() ? ::fdopendir(own.number()) : nullptr,
                                                     &::closedir);
    if (!stream)
        return std::nullopt;
    static_cast<void>(own.release());
    std::vector<std::string> names;
    for (;;) {
        errno = 0;
        dirent const* const entry = ::readdir(stream.get());
        if (entry == nullptr)
            break;
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            names.emplace_back(entry->d_name);
    }
    if (errno != 0)
        return std::nullopt;
    return names;
}

bool removeTree(std::string const& path) {
    Removal const removal = removeEntry(AT_FDCWD, path);
    if (removal != Removal::NotEmpty)
        return removal == Removal::Done;
    return Clearance().clear(path) && ::unlinkat(AT_FDCWD, path.c_str(), AT_REMOVEDIR) == 0;
}

} // namespace filesystem
