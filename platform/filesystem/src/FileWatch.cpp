// SPDX-License-Identifier: Apache-2.0
#include "filesystem/FileWatch.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <string_view>
#include <system_error>

#include <sys/inotify.h>

#include "Descriptor.h"

namespace filesystem {

namespace {

constexpr int hopLimit = 40; // the same limit on symbolic links as in Linux

// For directories and links on the path, only events about the directory or link itself are watched, so that changes to
// its neighbours cause no events.
constexpr std::uint32_t ownEvents = IN_DELETE_SELF | IN_MOVE_SELF;
constexpr std::uint32_t linkEvents = ownEvents | IN_ATTRIB | IN_DONT_FOLLOW;
constexpr std::uint32_t entryEvents =
    IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE | IN_ATTRIB;

} // namespace

/** The watches for everything on the paths to the files, as they were when the object was created. */
class FileWatch::Watches {
public:
    explicit Watches(std::vector<std::string> const& paths)
        : _events(opened([] { return ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK); })),
          _error(_events.isOpen() ? 0 : errno) {
        if (_events.isOpen())
            for (std::string const& path : paths)
                follow(path, hopLimit);
    }

    [[nodiscard]] int descriptor() const noexcept { return _events.number(); }

    /** The `errno` of a file that could not be watched; 0 if all are watched. */
    [[nodiscard]] int error() const noexcept { return _error; }

    struct Taken {
        bool concernsFile = false;
        bool changesWay = false; ///< the watches must be set up again
    };

    Taken take() {
        Taken taken;
        alignas(inotify_event) std::array<char, 16'384> buffer{};
        for (;;) {
            auto const got = retried([&] { return ::read(_events.number(), buffer.data(), buffer.size()); });
            if (got <= 0)
                return taken;
            for (long at = 0; at < got;) {
                inotify_event event{};
                std::memcpy(&event, buffer.data() + at, sizeof event);
                std::string_view const name = event.len > 0 ? buffer.data() + at + sizeof event : "";
                examine(event, name, taken);
                at += static_cast<long>(sizeof event + event.len);
            }
        }
    }

private:
    struct Names {
        std::filesystem::path directory; ///< the directory that has these entries
        std::set<std::string, std::less<>> files;
        std::set<std::string, std::less<>> missing; ///< missing directories on the path to a file
    };

    void examine(inotify_event const& event, std::string_view name, Taken& taken) {
        auto const found = _names.find(event.wd);
        bool const isEntry = event.len > 0 && found != _names.end();
        // An overflow event has no watch; an event about a directory or link on the path has no name.
        if (!isEntry && (event.mask & IN_IGNORED) == 0)
            taken.changesWay = true;
        if (isEntry && found->second.missing.count(name) > 0)
            taken.changesWay = true;
        if (isEntry && found->second.files.count(name) > 0) {
            taken.concernsFile = true;
            taken.changesWay = taken.changesWay || isLink(found->second.directory / name);
        }
    }

    static bool isLink(std::filesystem::path const& path) {
        std::error_code ignored;
        return std::filesystem::is_symlink(path, ignored);
    }

    /**
     * Watches everything on the path to a file. Each entry is watched before it is examined, so that no change in
     * between is missed.
     */
    void follow(std::filesystem::path const& path, int hops) {
        std::filesystem::path around;
        for (auto level = path.begin(); level != path.end(); ++level) {
            std::filesystem::path const place = around / *level;
            bool const isLast = std::next(level) == path.end();
            Names* const names = isLast ? watchEntries(around) : nullptr;
            if (!isLast)
                watch(place, ownEvents | IN_DONT_FOLLOW);
            std::error_code isNoLink;
            auto const target = std::filesystem::read_symlink(place, isNoLink);
            if (names != nullptr)
                (isNoLink ? names->files : names->missing).insert(level->string());
            if (!isLast && isNoLink && !isDirectory(place) && (errno == ENOENT || errno == ENOTDIR)) {
                if (Names* const there = watchEntries(around))
                    there->missing.insert(level->string());
                if (watch(place, ownEvents | IN_ONLYDIR)) // created meanwhile
                    follow(path, hops);
                return;
            }
            if (!isNoLink) {
                watch(place, linkEvents);
                if (hops == 0)
                    return;
                std::filesystem::path rest = target.is_absolute() ? target : around / target;
                for (auto next = std::next(level); next != path.end(); ++next)
                    rest /= *next;
                follow(rest, hops - 1);
                return;
            }
            around = place;
        }
    }

    /**
     * Watches for entries being added to or removed from a directory. Result: the names to watch for; null on failure.
     */
    Names* watchEntries(std::filesystem::path const& directory) {
        int const watched = add(directory, ownEvents | entryEvents | IN_ONLYDIR);
        if (watched < 0) {
            // If the directory was removed meanwhile, the watches on the path report it.
            if (errno != ENOENT && errno != ENOTDIR)
                _error = errno;
            return nullptr;
        }
        Names& names = _names[watched];
        names.directory = directory;
        return &names;
    }

    /** Watches a directory. False if it is a link or not a directory. */
    bool isDirectory(std::filesystem::path const& path) {
        return watch(path, ownEvents | IN_ONLYDIR | IN_DONT_FOLLOW);
    }

    bool watch(std::filesystem::path const& path, std::uint32_t events) { return add(path, events) >= 0; }

    int add(std::filesystem::path const& path, std::uint32_t events) {
        // A directory may be on the paths to several files.
        return ::inotify_add_watch(_events.number(), path.c_str(), events | IN_MASK_ADD);
    }

    Descriptor _events;
    int _error;
    std::map<int, Names> _names;
};

FileWatch::FileWatch(std::vector<std::string> paths)
    : _paths(std::move(paths)), _watches(std::make_unique<Watches>(_paths)) {}

FileWatch::~FileWatch() = default;

bool FileWatch::isWatching() const noexcept {
    errno = _watches->error();
    return errno == 0;
}

int FileWatch::descriptor() const noexcept {
    return _watches->descriptor();
}

bool FileWatch::takeEvents() {
    auto const taken = _watches->take();
    if (taken.changesWay)
        _watches = std::make_unique<Watches>(_paths);
    return taken.concernsFile || taken.changesWay;
}

} // namespace filesystem
