// SPDX-License-Identifier: Apache-2.0
//
// An application with live settings that the crash tests kill. Like `Application.cpp`, it marks the start and the end
// of each save in the log.
//
// usage: crash-live-application live LOG MODE DIRECTORY SIZE STATE [OBSERVED]
//
// The register file in DIRECTORY is in STATE, as described in `Sides.h`. Once the settings are open, the file "theirs"
// in DIRECTORY's parent replaces it, if it exists: the next state of another program.
//
//   save [OBSERVED]  changes its side, calls `sync` and ends at once; with OBSERVED it copies both files there after
//                    that, and changes and saves again before it ends
//   retry            changes its side, calls `sync` until it succeeds, and ends at once
//   end              changes its side and destroys the settings
//   exit             changes its side and exits
//   worker           changes its side and waits until that is saved
//   theirs           changes the other side and saves it
//   make             saves STATE
//   check OBSERVED   a new process after the crash: reports the state it found, copies the file to OBSERVED after the
//                    start, changes and saves its side, and opens the settings again
//
// Exit status: 0; 3 if the settings cannot be opened; 4 if they are not a complete state; 5 if a file was reported as
// damaged; 1 for other failures.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <filesystem/RealFileSystem.h>
#include <utils/Exception.h>
#include <velmorand/LiveSettings.h>

#include "Sides.h"

namespace {

using velmorand::LiveEventKind;
using velmorand::LiveSettings;

constexpr int refused = 3;
constexpr int mixed = 4;
constexpr int damaged = 5;

std::string bytesOf(std::filesystem::path const& file) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
}

class Application {
public:
    Application(std::string const& log, std::filesystem::path directory, std::size_t size, int state)
        : _log(::open(log.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600)),
          _directory(std::move(directory)), _sides(size), _state(state) {}

    void mark(std::string const& what, int state, std::string const& more = {}) const {
        std::string const line = "mark " + what + ' ' + std::to_string(state) + more + '\n';
        if (::write(_log, line.data(), line.size()) != static_cast<::ssize_t>(line.size()))
            std::_Exit(1);
    }

    LiveSettings& open(std::chrono::milliseconds delay = std::chrono::hours(1)) {
        velmorand::LiveOptions options;
        options.userDirectory = _directory.string();
        options.globalDirectory = (_directory.parent_path() / "global").string();
        options.delay = delay;
        options.onEvent = [](velmorand::LiveEvent const& event) {
            if (event.kind != LiveEventKind::saveFailed && event.kind != LiveEventKind::savedAgain)
                std::_Exit(damaged);
        };
        try {
            return *(_live = new LiveSettings(std::move(options)));
        } catch (utils::Exception const&) {
            std::_Exit(refused);
        }
    }

    void start(std::chrono::milliseconds delay = std::chrono::hours(1)) {
        open(delay);
        // Another program may have saved already.
        if (crash::Sides::state() % 10 != _state % 10)
            throw std::logic_error("unexpected state");
        if (std::string const theirs = bytesOf(_directory.parent_path() / "theirs"); !theirs.empty())
            replaceBy(theirs);
    }

    void change() {
        ++_state;
        mark("keep", _state); // before the background thread can save the change
        _sides.change("mine", _state);
    }

    /** Result: whether it was saved. */
    [[nodiscard]] bool sync() const {
        velmorand::SaveResult const result = _live->sync();
        if (result.saved)
            mark("end", _state);
        else
            mark("failed", _state, ' ' + result.reason);
        return result.saved;
    }

    void retry() {
        change();
        for (int attempt = 0; !sync(); ++attempt) {
            if (attempt == 3)
                throw std::runtime_error("never saved");
            mark("keep", _state);
        }
    }

    void observe(std::string const& to) const {
        copy("Velmorand.dat", to);
        copy("Velmorand.dat.previous", to + ".previous");
    }

    void end() {
        delete std::exchange(_live, nullptr);
        mark("end", _state);
    }

    void waitUntilSaved() const {
        while (!_live->isSaved())
            ::usleep(100);
        mark("end", _state);
    }

    void saveTheirs() {
        open();
        _sides.change("theirs", crash::Sides::state() + 10);
        if (!_live->sync().saved)
            throw std::runtime_error("not saved");
    }

    void make() {
        open();
        _sides.write(_state);
        if (!_live->sync().saved)
            throw std::runtime_error("not saved");
    }

    void check(std::string const& observed) {
        open();
        try {
            _state = crash::Sides::state();
        } catch (...) {
            std::_Exit(mixed);
        }
        mark("found", _state);
        observe(observed);
        change();
        if (!sync())
            throw std::runtime_error("not saved");
        delete std::exchange(_live, nullptr);
        open();
        if (crash::Sides::state() != _state)
            std::_Exit(mixed);
    }

    [[nodiscard]] int state() const { return _state; }

private:
    /** Saves as a program without live settings does. */
    void replaceBy(std::string const& theirs) {
        _state += 10;
        mark("begin", _state);
        filesystem::RealFileSystem disk(QString::fromStdString(_directory.string()));
        filesystem::FileHandle* handle = nullptr;
        auto const size = static_cast<long>(theirs.size());
        if (!disk.open("Velmorand.dat", &handle, filesystem::FileSystem::MODE_WRITE) ||
            disk.write(handle, theirs.data(), size) != size || !disk.close(handle))
            throw std::runtime_error("cannot save theirs");
        mark("end", _state);
    }

    void copy(std::string const& name, std::string const& to) const {
        if (std::filesystem::exists(_directory / name))
            std::ofstream(to, std::ios::binary) << bytesOf(_directory / name);
        else
            std::filesystem::remove(to);
    }

    int _log;
    std::filesystem::path _directory;
    crash::Sides _sides;
    int _state;
    LiveSettings* _live = nullptr; ///< not destroyed unless `end` or `check` does it
};

Application* atExit;

[[noreturn]] void perform(std::vector<std::string> const& all) {
    std::string const& mode = all.at(2);
    auto& application = *new Application(all.at(1), all.at(3), std::stoul(all.at(4)), std::stoi(all.at(5)));
    if (mode == "save") {
        application.start();
        application.change();
        static_cast<void>(application.sync()); // marks the result
        if (all.size() > 6) {
            application.observe(all[6]);
            application.change();
            static_cast<void>(application.sync());
        }
    } else if (mode == "retry") {
        application.start();
        application.retry();
    } else if (mode == "end") {
        application.start();
        application.change();
        application.end();
    } else if (mode == "exit") {
        atExit = &application;
        // Runs after the handler of the settings, which is registered later.
        static_cast<void>(std::atexit([] { atExit->mark("end", atExit->state()); }));
        application.start();
        application.change();
        std::exit(0);
    } else if (mode == "worker") {
        application.start(std::chrono::milliseconds(0));
        application.change();
        application.waitUntilSaved();
    } else if (mode == "theirs") {
        application.saveTheirs();
    } else if (mode == "make") {
        application.make();
    } else if (mode == "check") {
        application.check(all.at(6));
    } else {
        throw std::invalid_argument(mode);
    }
    std::_Exit(0);
}

} // namespace

int main(int count, char** arguments) {
    try {
        perform(std::vector<std::string>(arguments + 1, arguments + count));
    } catch (...) {
        std::_Exit(1); // without saving
    }
}
