// SPDX-License-Identifier: Apache-2.0
#include "Watch.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <ostream>
#include <set>
#include <system_error>

#include <sys/inotify.h>
#include <unistd.h>

#include "Changes.h"
#include "Failure.h"
#include "Text.h"

namespace tool {

namespace {

constexpr int hopLimit = 40; // as many symbolic links as Linux itself follows

/** Waits for changes of a file: of each name on the way to it, links followed. */
class FileWatch {
public:
    explicit FileWatch(RegisterFile const& file) : _file(file), _events(::inotify_init1(IN_CLOEXEC)) {
        if (_events < 0)
            throw failed("cannot watch " + _file.path(), errno);
        follow();
    }
    FileWatch(FileWatch const&) = delete;
    FileWatch& operator=(FileWatch const&) = delete;
    ~FileWatch() { ::close(_events); }

    /** Waits until the file may have been replaced or changed since the last call. */
    void wait() {
        while (!waitForEvents()) {
        }
        follow();
    }

private:
    static Failure failed(std::string const& what, int error) {
        return {Status::fileTrouble, what + ": " + std::generic_category().message(error)};
    }

    /** Watches where the file is now; watching a directory again changes nothing. */
    void follow() {
        _names.clear();
        _error = 0;
        followPath(_file.path(), hopLimit);
        if (_error != 0)
            throw failed("cannot watch " + _file.directory(), _error);
    }

    void followPath(std::filesystem::path const& path, int hops) {
        std::filesystem::path around;
        std::error_code lost;
        auto const absolute = std::filesystem::absolute(path, lost);
        if (lost) // the working directory has been removed
            throw failed("cannot watch " + _file.path(), lost.value());
        for (std::filesystem::path const& name : absolute) {
            std::filesystem::path const place = around / name;
            if (!around.empty() && !watchName(around, name))
                return;
            std::error_code none;
            std::filesystem::path const target = std::filesystem::read_symlink(place, none);
            if (!none && hops > 0)
                followPath(around / target, hops - 1);
            around = place;
        }
    }

    /**
     * Watches a name in a directory. A directory on the way that may not be read cannot be watched: only the last
     * one counts. Result: whether the directory is there.
     */
    bool watchName(std::filesystem::path const& directory, std::filesystem::path const& name) {
        auto const mask = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE |
                          IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
        _names.insert(name.string());
        bool const isWatched = ::inotify_add_watch(_events, directory.c_str(), mask) >= 0;
        if (!isWatched && (errno == ENOENT || errno == ENOTDIR))
            return false;
        _error = isWatched ? 0 : errno;
        return true;
    }

    /** Result: whether one of the new events concerns the file. */
    bool waitForEvents() {
        alignas(inotify_event) std::array<char, 16'384> buffer{};
        auto const got = ::read(_events, buffer.data(), buffer.size());
        if (got < 0 && errno != EINTR)
            throw failed("cannot watch " + _file.path(), errno);
        bool concerns = false;
        for (long at = 0; at < got;) {
            inotify_event event{};
            std::memcpy(&event, buffer.data() + at, sizeof event);
            std::string const name = event.len > 0 ? buffer.data() + at + sizeof event : "";
            concerns = concerns || name.empty() || (_names.count(name) > 0 && !isBeingWritten(event, name));
            at += static_cast<long>(sizeof event + event.len);
        }
        return concerns;
    }

    /** Whether this is a new file, with only this name, whose content comes with a later event. */
    [[nodiscard]] bool isBeingWritten(inotify_event const& event, std::string const& name) const {
        std::error_code ignored;
        return (event.mask & (IN_CREATE | IN_ISDIR)) == IN_CREATE && name == _file.name() &&
               !std::filesystem::is_symlink(_file.path(), ignored) &&
               std::filesystem::hard_link_count(_file.path(), ignored) == 1;
    }

    RegisterFile const& _file;
    int _events;
    std::set<std::string> _names; // on the way to the file
    int _error = 0;               // of watching the last directory on the way that is there
};

} // namespace

void watch(RegisterFile const& file, std::ostream& out) {
    FileWatch changes(file);
    Settings before;
    file.load(before);
    for (;;) {
        changes.wait();
        try {
            Settings after;
            file.load(after);
            printChanges(before, after, out);
            before = std::move(after);
        } catch (Failure const& damage) {
            complain(damage.what());
        }
        if (!out.flush())
            throw Failure(Status::fileTrouble, "cannot write to standard output");
    }
}

} // namespace tool
