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

/** Waits for changes of a file: of its name in its directory, and of each that it links to. */
class FileWatch {
public:
    explicit FileWatch(RegisterFile const& file) : _file(file), _events(::inotify_init1(IN_CLOEXEC)) {
        follow();
    }
    FileWatch(FileWatch const&) = delete;
    FileWatch& operator=(FileWatch const&) = delete;
    ~FileWatch() { ::close(_events); }

    /** Returns when the file may be another one, or hold something else, than at the last call. */
    void wait() {
        while (!waitForEvents()) {
        }
        follow();
    }

private:
    /** Watches where the file is, also when it is not there yet; watching a directory again changes nothing. */
    void follow() {
        _names.clear();
        std::filesystem::path place = _file.directory() + "/" + _file.name();
        std::error_code none;
        for (int hop = 0; hop < hopLimit; ++hop) {
            _names.insert(place.filename().string());
            watchDirectory(place.parent_path().string());
            std::filesystem::path const target = std::filesystem::read_symlink(place, none);
            if (none)
                break;
            place = place.parent_path() / target;
        }
    }

    void watchDirectory(std::string const& directory) {
        auto const mask = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_DELETE_SELF |
                          IN_MOVE_SELF | IN_ONLYDIR;
        if (::inotify_add_watch(_events, directory.c_str(), mask) < 0)
            throw Failure(Status::fileTrouble, directory + ": " + std::generic_category().message(errno));
    }

    /** Result: whether one of the events that have come concerns the file. */
    bool waitForEvents() {
        alignas(inotify_event) std::array<char, 16'384> buffer{};
        auto const got = ::read(_events, buffer.data(), buffer.size());
        bool concerns = false;
        for (long at = 0; at < got;) {
            inotify_event event{};
            std::memcpy(&event, buffer.data() + at, sizeof event);
            std::string const name = event.len > 0 ? buffer.data() + at + sizeof event : "";
            concerns = concerns || name.empty() || _names.count(name) > 0;
            at += static_cast<long>(sizeof event + event.len);
        }
        return concerns;
    }

    RegisterFile const& _file;
    int _events;
    std::set<std::string> _names;
};

} // namespace

void watch(RegisterFile const& file, std::ostream& out, std::ostream& complaints) {
    FileWatch changes(file);
    Entries before = file.entries();
    for (;;) {
        changes.wait();
        try {
            Entries after = file.entries();
            printChanges(before, after, out);
            before = std::move(after);
        } catch (Failure const& damage) {
            complaints << "velmorand-register: " << shown(damage.what()) << std::endl;
        }
        if (!out.flush())
            throw Failure(Status::fileTrouble, "standard output cannot be written");
    }
}

} // namespace tool
