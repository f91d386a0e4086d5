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

constexpr int hopLimit = 40; // as many symbolic links as Linux itself follows

// What is on the way to a file is asked only about itself, so that nobody is woken by its neighbours.
constexpr std::uint32_t ownEvents = IN_DELETE_SELF | IN_MOVE_SELF;
constexpr std::uint32_t linkEvents = ownEvents | IN_ATTRIB | IN_DONT_FOLLOW;
constexpr std::uint32_t entryEvents = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE;

} // namespace

/** What one look at the ways to the files has found to watch. */
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

    /** Why some file is not watched; 0 if all are. */
    [[nodiscard]] int error() const noexcept { return _error; }

    struct Taken {
        bool concernsFile = false;
        bool changesWay = false; ///< other directories or links must be watched now
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
        std::filesystem::path directory; ///< that has them
        std::set<std::string, std::less<>> files;
        std::set<std::string, std::less<>> missing; ///< the next level of a way that ends here
    };

    void examine(inotify_event const& event, std::string_view name, Taken& taken) {
        auto const found = _names.find(event.wd);
        bool const isEntry = event.len > 0 && found != _names.end();
        // An overflow has no watch; something on the way has no name.
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
     * Watches everything on the way to a file. Each place is watched before it is looked at, so that whatever becomes
     * of it in between is noticed.
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
                if (watch(place, ownEvents | IN_ONLYDIR)) // made meanwhile
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

    /** Watches for the coming and going of the entries of a directory. Result: those to notice; null on failure. */
    Names* watchEntries(std::filesystem::path const& directory) {
        int const watched = add(directory, ownEvents | entryEvents | IN_ONLYDIR);
        if (watched < 0) {
            // One that was removed meanwhile has been noticed on the way.
            if (errno != ENOENT && errno != ENOTDIR)
                _error = errno;
            return nullptr;
        }
        Names& names = _names[watched];
        names.directory = directory;
        return &names;
    }

    /** Whether a directory, and not a link to one, is watched. */
    bool isDirectory(std::filesystem::path const& path) {
        return watch(path, ownEvents | IN_ONLYDIR | IN_DONT_FOLLOW);
    }

    bool watch(std::filesystem::path const& path, std::uint32_t events) { return add(path, events) >= 0; }

    int add(std::filesystem::path const& path, std::uint32_t events) {
        // One directory may be on several ways.
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
