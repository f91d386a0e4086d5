// SPDX-License-Identifier: Apache-2.0
#include "Copies.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <ostream>
#include <string_view>
#include <system_error>
#include <tuple>
#include <vector>

#include <sys/stat.h>

#include <filesystem/DamagedFiles.h>
#include <filesystem/RealFileSystem.h>

#include "Failure.h"
#include "Text.h"

namespace tool {

namespace {

// A restore that is killed may leave the old previous file under this name.
constexpr char const* olderEnding = ".previous.old";

/** Whether a copy of the file can have this name. */
bool isCopyName(RegisterFile const& file, std::string_view name) {
    if (name.substr(0, file.name().size()) != file.name())
        return false;
    std::string_view const ending = name.substr(file.name().size());
    return ending == previousEnding || ending == olderEnding ||
           filesystem::isNameForDamaged(name, file.name());
}

RegisterFile beside(RegisterFile const& file, std::string const& name) {
    return RegisterFile(file.directory() + '/' + name);
}

struct Copy {
    std::string name;
    ::timespec written;
};

bool isNewer(Copy const& left, Copy const& right) {
    return std::tie(left.written.tv_sec, left.written.tv_nsec, left.name) >
           std::tie(right.written.tv_sec, right.written.tv_nsec, right.name);
}

std::vector<Copy> copiesOf(RegisterFile const& file) {
    std::vector<Copy> copies;
    std::error_code error;
    std::filesystem::directory_iterator entry(file.directory(), error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        std::string const name = entry->path().filename().string();
        struct stat status = {};
        if (isCopyName(file, name) && ::stat(entry->path().c_str(), &status) == 0)
            copies.push_back({name, status.st_mtim});
    }
    if (error && error.value() != ENOENT)
        throw Failure(Status::fileTrouble, file.directory() + ": " + error.message());
    std::sort(copies.begin(), copies.end(), isNewer);
    return copies;
}

Failure noSuchCopy(RegisterFile const& file, std::string const& name) {
    std::string names;
    for (Copy const& copy : copiesOf(file))
        names += (names.empty() ? "" : ", ") + copy.name;
    return {Status::notThere, "no such copy: " + name +
                                  (names.empty() ? " (no copies of " + file.path() + ')'
                                                 : " (copies in " + file.directory() + ": " + names + ')')};
}

std::string localTime(std::time_t time) {
    std::tm parts = {};
    std::array<char, 64> text{};
    if (::localtime_r(&time, &parts) == nullptr)
        return '@' + std::to_string(time); // a year that the system cannot represent
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S%z", &parts)};
}

std::string stateOf(RegisterFile const& copy) {
    Settings settings;
    try {
        copy.load(settings);
    } catch (Failure const& damage) {
        return std::string(damage.what()).substr(copy.path().size() + 2); // without the path
    }
    return counted(settings.countProperties(), "property", "properties");
}

enum class State { intact, missing, damaged };

/** Loads a file into empty settings. They remain empty unless it is intact. Errors: `Failure` if it cannot be read. */
State loadIfIntact(RegisterFile const& file, Settings& settings) {
    try {
        return file.load(settings).isThere ? State::intact : State::missing;
    } catch (Damage const&) {
        return State::damaged;
    }
}

/**
 * Keeps the previous file under a third name while a restore stores the replaced file as the new previous file. So no
 * content is lost if the program is killed or the disk is full.
 */
class PreviousKept {
public:
    explicit PreviousKept(RegisterFile const& file)
        : _current(file.path()), _name(file.name()), _previous(file.name() + previousEnding),
          _older(file.name() + olderEnding), _directory(file.directory()), _disk(toQString(_directory)) {
        _isKept = _disk.keepAs(toQString(_previous), toQString(_older));
        if (!_isKept && errno != ENOENT)
            throw Failure(Status::fileTrouble,
                          "not restored: " + at(_older) + ": " + std::generic_category().message(errno));
    }

    /** Called after an intact or missing file has been replaced: removes the third name. */
    void drop() {
        if (_isKept)
            _disk.remove(toQString(_older));
    }

    /**
     * Called after a damaged file has been replaced: restores the old previous file or, if there was none, removes the
     * new one.
     */
    void keep() {
        if (!_isKept)
            _disk.remove(toQString(_previous));
        else if (_disk.keepAs(toQString(_older), toQString(_previous)))
            drop();
        filesystem::removeOldestDamaged(_disk, _name);
    }

    /** Called before a damaged file is replaced. Errors: `Failure` if it cannot be kept under a name with the time. */
    void keepDamaged() {
        std::string const name = filesystem::nameForDamaged(_disk, _name);
        if (!_disk.keepAs(toQString(_name), toQString(name)))
            throw Failure(Status::fileTrouble,
                          "not restored: " + at(name) + ": " + std::generic_category().message(errno));
        _replaced = name;
    }

    /**
     * Called if the replacement failed: gives the files their old names. If the new content is in place nevertheless,
     * both old files are kept.
     */
    void putBack() {
        if (!_replaced.empty() && isSame(_current, at(_replaced)))
            _disk.remove(toQString(_replaced));
        if (!_isKept)
            return;
        if (isSame(_current, at(_previous)))
            _disk.keepAs(toQString(_older), toQString(_previous));
        if (isSame(at(_older), at(_previous)))
            drop();
    }

private:
    [[nodiscard]] std::string at(std::string const& name) const { return _directory + '/' + name; }

    static bool isSame(std::string const& left, std::string const& right) {
        struct stat one = {};
        struct stat other = {};
        return ::stat(left.c_str(), &one) == 0 && ::stat(right.c_str(), &other) == 0 &&
               one.st_dev == other.st_dev && one.st_ino == other.st_ino;
    }

    std::string _current;
    std::string _name;
    std::string _previous;
    std::string _older;
    std::string _replaced; ///< the second name of the replaced file, if it has one
    std::string _directory;
    filesystem::RealFileSystem _disk;
    bool _isKept = false;
};

} // namespace

bool listCopies(RegisterFile const& file, std::ostream& out) {
    std::vector<Copy> const copies = copiesOf(file);
    for (Copy const& copy : copies) {
        out << localTime(copy.written.tv_sec) << "  " << copy.name << ": ";
        printEscaped(out, stateOf(beside(file, copy.name)), forLine());
        out << '\n';
    }
    return !copies.empty();
}

RegisterFile findCopy(RegisterFile const& file, std::string const& name) {
    std::string const full = name == "previous" ? file.name() + previousEnding : name;
    std::error_code ignored;
    if (!isCopyName(file, full) || !std::filesystem::exists(beside(file, full).path(), ignored))
        throw noSuchCopy(file, name);
    return beside(file, full);
}

std::optional<Difference> restoreCopy(RegisterFile const& file, RegisterFile const& copy) {
    Settings settings;
    if (!copy.load(settings).isThere) // removed since it was found
        throw noSuchCopy(file, copy.name());
    Settings before;
    State const state = loadIfIntact(file, before);
    Difference const difference = compare(before, settings);
    if (state == State::intact && difference.isNone())
        return std::nullopt;
    PreviousKept previous(file);
    try {
        if (state == State::damaged)
            previous.keepDamaged();
        file.save(settings);
    } catch (Failure const&) {
        previous.putBack();
        throw;
    }
    if (state == State::damaged)
        previous.keep();
    else
        previous.drop();
    return difference;
}

} // namespace tool
