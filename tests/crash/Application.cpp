// SPDX-License-Identifier: Apache-2.0
//
// The application that the crash tests kill. It marks the start and the end of each save in the log, in which the
// preloaded shim records its file-system calls.
//
// usage: crash-application MANNER LOG MODE DIRECTORY SIZE STATE ...
//
// MANNER is "register", or another way to save. DIRECTORY contains the register file, in STATE at the start.
//
//   run COUNT            starts, saves COUNT further states, and exits, which saves one more
//   save [OBSERVED]      starts, saves a further state, and ends at once; with OBSERVED it copies the file there
//                        after that save, and saves another state before it ends
//   make                 saves STATE
//   check OBSERVED       a new process after the crash: reports the state it found, copies the file to OBSERVED
//                        after the start, saves a further state and reads it again
//   loop                 saves further states until it is killed
//
// Exit status: 0; 3 if the register refused to start; 4 if it did not contain a complete state; 1 for other failures.
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

#include "Careless.h"
#include "Settings.h"

namespace {

using crash::Settings;
using utils::properties::_Register;

constexpr int refused = 3;
constexpr int mixed = 4;

/** A second register of the process, on the same file. */
class Reader : public _Register {
public:
    Reader() = default;
    Reader(Reader const&) = delete;
    Reader& operator=(Reader const&) = delete;
    ~Reader() override { _UserRegisterPath.clear(); } // the base saves
};

class Application {
public:
    Application(std::string manner, std::string const& log, std::string directory, std::size_t size,
                int state)
        : _manner(std::move(manner)),
          _log(::open(log.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600)),
          _scratch(std::filesystem::path(log).parent_path().string()), _directory(std::move(directory)),
          _size(size), _state(state) {}

    void mark(std::string const& what, int state) const {
        std::string const line = "mark " + what + ' ' + std::to_string(state) + '\n';
        if (::write(_log, line.data(), line.size()) != static_cast<::ssize_t>(line.size()))
            std::_Exit(1);
    }

    /** Opens the register, which loads the file and saves it. */
    void start() const {
        mark("begin", _state);
        begin();
        if (Settings::stateIn(*_Register::getInstance()) != _state)
            throw std::logic_error("unexpected state");
        mark("end", _state);
    }

    void begin() const {
        try {
            _Register::initialize("", _directory);
        } catch (utils::Exception const&) {
            std::_Exit(refused);
        }
    }

    void further() {
        ++_state;
        mark("begin", _state);
        Settings(_state, _size).writeTo(*_Register::getInstance());
        save();
        mark("end", _state);
    }

    /** Exits, which saves for the last time. */
    [[noreturn]] void exit() {
        ++_state;
        mark("begin", _state);
        Settings(_state, _size).writeTo(*_Register::getInstance());
        std::exit(0);
    }

    void make() const {
        begin();
        Settings(_state, _size).writeTo(*_Register::getInstance());
        _Register::getInstance()->save();
    }

    void check(std::string const& observed) {
        begin();
        try {
            _state = Settings::stateIn(*_Register::getInstance());
        } catch (...) {
            std::_Exit(mixed);
        }
        mark("found", _state);
        observe(observed);
        further();
        Reader reader;
        if (Settings::stateIn(reader) != _state)
            std::_Exit(mixed);
    }

    void observe(std::string const& to) const {
        std::string const file = _directory + "/Velmorand.dat";
        if (std::ifstream(file))
            std::ofstream(to, std::ios::binary) << std::ifstream(file, std::ios::binary).rdbuf();
    }

    [[nodiscard]] int state() const { return _state; }

private:
    void save() const {
        if (_manner == "register")
            _Register::getInstance()->save();
        else
            crash::saveCarelessly(_manner, _directory, bytes());
    }

    /** The register file that the register saves. */
    [[nodiscard]] std::string bytes() const {
        filesystem::RealFileSystem files(QString::fromStdString(_scratch));
        filesystem::FileHandle* handle = nullptr;
        if (!files.open("bytes", &handle, filesystem::FileSystem::MODE_WRITE) ||
            !_Register::getInstance()->serialize("/user/", *handle) || !files.close(handle))
            throw std::runtime_error("cannot serialize");
        std::ostringstream content;
        content << std::ifstream(_scratch + "/bytes", std::ios::binary).rdbuf();
        return content.str();
    }

    std::string _manner;
    int _log;
    std::string _scratch;
    std::string _directory;
    std::size_t _size;
    int _state;
};

/** For the exit handler that marks the end of the last save. It runs after the register's handler. */
Application* atExit;

[[noreturn]] void perform(std::vector<std::string> const& all) {
    std::string const& mode = all.at(2);
    auto& application =
        *new Application(all[0], all[1], all.at(3), std::stoul(all.at(4)), std::stoi(all.at(5)));
    if (mode == "run") {
        atExit = &application;
        static_cast<void>(std::atexit([] { atExit->mark("end", atExit->state()); }));
        application.start();
        for (int left = std::stoi(all.at(6)); left > 0; --left)
            application.further();
        application.exit();
    } else if (mode == "save") {
        application.start();
        application.further();
        if (all.size() > 6) {
            application.observe(all[6]);
            application.further();
        }
    } else if (mode == "make") {
        application.make();
    } else if (mode == "check") {
        application.check(all.at(6));
    } else if (mode == "loop") {
        application.start();
        for (;;)
            application.further();
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
