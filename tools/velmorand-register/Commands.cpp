// SPDX-License-Identifier: Apache-2.0
#include "Commands.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iomanip>
#include <iostream>
#include <memory>
#include <string_view>
#include <system_error>

#include <sys/stat.h>

#include <filesystem/PrivateDirectory.h>

#include "Changes.h"
#include "Copies.h"
#include "Exchange.h"
#include "ParallelWalk.h"
#include "Record.h"
#include "RegisterFile.h"
#include "Terminal.h"
#include "Text.h"
#include "Watch.h"

namespace tool {

namespace {

/** A register directory. One that was named must be there; the user's own need not. */
struct Directory {
    std::string path;
    bool isNamed;
};

Directory named(std::string const& path) {
    struct stat status = {};
    int const error = ::stat(path.c_str(), &status) != 0 ? errno : S_ISDIR(status.st_mode) ? 0 : ENOTDIR;
    if (error != 0)
        throw Failure(error == EACCES ? Status::fileTrouble : Status::misuse,
                      (path.empty() ? "\"\"" : path) + ": " + std::generic_category().message(error));
    return {path, true};
}

Directory userDirectory(Places const& places) {
    if (places.userDirectory)
        return named(*places.userDirectory);
    char const* const configuration = std::getenv("XDG_CONFIG_HOME");
    if (configuration != nullptr && *configuration == '/') // relative ones are to be ignored
        return {std::string(configuration) + "/velmorand", false};
    char const* const home = std::getenv("HOME");
    if (home != nullptr && *home != '\0')
        return {std::string(home) + "/.config/velmorand", false};
    throw Failure(Status::misuse,
                  "no user directory: neither XDG_CONFIG_HOME nor HOME is set (give one with --user DIR)");
}

RegisterFile fileIn(Directory const& directory) {
    return RegisterFile(directory.path + "/" + registerFileName);
}

/** A file that was named; a directory stands for the register file in it. */
RegisterFile fileAt(std::string const& path) {
    std::error_code ignored;
    return std::filesystem::is_directory(path, ignored) ? fileIn({path, true}) : RegisterFile(path);
}

Directory directoryOf(Places const& places, Scope scope) {
    if (scope == Scope::user)
        return userDirectory(places);
    if (!places.globalDirectory)
        throw WrongCall("--scope global needs --global DIR");
    return named(*places.globalDirectory);
}

/** The directory of the one register file that a command is about: the user's, unless a scope is given. */
Directory theDirectory(Places const& places) {
    if (places.scope == Scope::temporary)
        throw WrongCall("--scope temporary: the temporary scope is never stored in a file");
    return directoryOf(places, places.scope.value_or(Scope::user));
}

/** The settings of a scope. */
struct ScopedSettings {
    char const* scope = "";
    Settings settings;
};

struct ScopedFile {
    char const* scope;
    RegisterFile file;
};

/** The register files that readers look into, at most two, in their order; or that of the scope that is given. */
std::vector<ScopedFile> filesToRead(Places const& places) {
    std::vector<ScopedFile> files;
    if (places.scope.value_or(Scope::user) == Scope::user)
        files.push_back({"user", fileIn(directoryOf(places, Scope::user))});
    if (places.scope == Scope::global || (!places.scope && places.globalDirectory))
        files.push_back({"global", fileIn(directoryOf(places, Scope::global))});
    return files;
}

/** What these files hold, a missing one nothing. */
std::array<ScopedSettings, 2> settingsToRead(Places const& places) {
    std::array<ScopedSettings, 2> all;
    std::size_t count = 0;
    for (ScopedFile const& scoped : filesToRead(places)) {
        scoped.file.load(all.at(count).settings);
        all.at(count++).scope = scoped.scope;
    }
    return all;
}

/** Makes the user's own directory, for the user alone. Errors: `Failure` with the directory that cannot be made. */
void makeDirectory(std::string const& path) {
    if (filesystem::makePrivateDirectories(path))
        return;
    int const error = errno;
    std::filesystem::path made;
    std::error_code ignored;
    for (std::filesystem::path const& name : std::filesystem::path(path))
        if (made /= name; !std::filesystem::is_directory(made, ignored))
            break;
    throw Failure(Status::fileTrouble, "cannot create the directory " + made.string() + ": " +
                                           std::generic_category().message(error));
}

/**
 * Waits for the lock on a register directory, under which applications and other instances of this program replace
 * the files in it. Errors: `Failure` when that takes too long, or the directory cannot be opened.
 */
void take(filesystem::DirectoryLock& lock, Directory const& directory, std::chrono::seconds patience) {
    using Outcome = filesystem::DirectoryLock::Outcome;
    Outcome const outcome = lock.take(directory.path, patience);
    if (outcome == Outcome::taken)
        return;
    throw Failure(Status::fileTrouble,
                  "nothing changed: " + directory.path + ": " +
                      (outcome == Outcome::failed
                           ? std::generic_category().message(errno)
                           : "locked by another process for more than " + std::to_string(patience.count()) +
                                 " s (end that process, or wait longer with --wait SECONDS)"));
}

using Change = std::function<void(Settings&)>;

/**
 * Loads the register file, changes the settings, and saves them, while no other process replaces the file. The
 * file stays untouched when nothing changes.
 */
void edit(Places const& places, Change const& change) {
    Directory const directory = theDirectory(places);
    RegisterFile const file = fileIn(directory);
    if (std::error_code ignored; !directory.isNamed && !std::filesystem::exists(directory.path, ignored)) {
        Settings nothing;
        change(nothing); // a change that fails creates no directory
        makeDirectory(directory.path);
    }
    filesystem::DirectoryLock lock;
    take(lock, directory, places.patience);
    Settings before;
    bool const isThere = file.load(before).isThere;
    Settings after;
    file.load(after);
    change(after);
    if (!isThere || !areEqual(before, after))
        file.save(after);
}

std::string propertyName(std::string const& name) {
    std::string clean = cleanName(name);
    if (clean.empty())
        throw WrongCall("the name is empty");
    return clean;
}

Failure noGroup(std::string const& group) {
    return {Status::notThere, "no such group: " + group};
}

Failure noFile(std::string const& path, Status status) {
    return {status, path + ": " + std::generic_category().message(ENOENT)};
}

/** What a file to read, or standard input ("-"), is called in messages. */
std::string titleOf(std::string const& source) {
    return source == "-" ? "standard input" : source;
}

/** All bytes of a file, or of standard input ("-"). */
std::string readAll(std::string const& source) {
    auto const failed = [&source] {
        return Failure(Status::misuse, titleOf(source) + ": " + std::generic_category().message(errno));
    };
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const opened(
        source == "-" ? nullptr : std::fopen(source.c_str(), "rbe"), std::fclose);
    std::FILE* const file = source == "-" ? stdin : opened.get();
    if (file == nullptr)
        throw failed();
    std::string text;
    std::array<char, 65'536> part{};
    while (std::size_t const got = std::fread(part.data(), 1, part.size(), file))
        text.append(part.data(), got);
    if (std::ferror(file) != 0)
        throw failed();
    return text;
}

/** Whether a file holds exported settings: a JSON object. A pipe, which cannot be looked into first, counts as one. */
bool isExport(std::string const& path) {
    std::error_code ignored;
    if (std::filesystem::is_fifo(path, ignored))
        return true;
    std::array<char, 4'096> buffer{};
    std::ifstream file(path, std::ios::binary);
    file.read(buffer.data(), buffer.size());
    std::string_view const text(buffer.data(), static_cast<std::size_t>(file.gcount()));
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    std::size_t const begin =
        text.substr(0, byteOrderMark.size()) == byteOrderMark ? byteOrderMark.size() : 0;
    std::size_t const first = text.find_first_not_of(" \t\r\n", begin);
    return first != std::string_view::npos && text[first] == '{';
}

/** The settings in a register file, or in a file of exported ones, which must be there. */
Settings settingsAt(std::string const& path) {
    Settings settings;
    RegisterFile const file = fileAt(path);
    if (isExport(file.path()))
        importSettings(path, readAll(path), settings);
    else if (!file.load(settings).isThere)
        throw noFile(file.path(), Status::fileTrouble);
    return settings;
}

void complainOf(RegisterFile const& file, std::string_view name, std::string const& damage) {
    complain(file.path() + ": \"" + std::string(name) + "\": " + damage);
}

/**
 * Checks a register file and the records in it, and prints that it is sound, or what is damaged.
 * Errors: `Failure` when it is not a whole register file.
 */
Status checkFile(RegisterFile const& file) {
    Settings settings;
    Loaded const loaded = file.load(settings);
    if (!loaded.isThere)
        throw noFile(file.path(), Status::notThere);
    Status status = Status::done;
    if (loaded.bytesAfter != 0) {
        complain(file.path() + ": unexpected data after the settings: " +
                 counted(static_cast<std::size_t>(loaded.bytesAfter), "byte", "bytes"));
        status = Status::fileTrouble;
    }
    for (Walk walk = settings.walk(); walk.next();) {
        if (walk.kind() == Kind::directory)
            continue;
        if (Reading const reading = decode(walk.content()); !reading.damage.empty()) {
            complainOf(file, nameOf(walk), reading.damage);
            status = Status::fileTrouble;
        }
    }
    if (status == Status::done) {
        printEscaped(std::cout, file.path(), forLine());
        std::cout << ": sound, " << counted(settings.countProperties(), "property", "properties") << '\n';
    }
    return status;
}

/** Prints a line of a list. */
void printLine(Walk const& entry, char const* scope, std::string const& group, bool isLong) {
    bool const isGroup = entry.kind() == Kind::directory;
    Reading const reading = isGroup ? Reading() : decode(entry.content());
    std::cout << std::left << std::setw(9) << (isGroup ? "group" : reading.kind()) << ' ' << std::setw(6)
              << scope << ' ';
    printEscaped(std::cout, group, forLine());
    std::cout << (group.empty() ? "" : "/");
    printEscaped(std::cout, nameOf(entry), forLine());
    if (isLong && reading.value)
        std::cout << ": " << jsonText(*reading.value, forJsonLine());
    std::cout << '\n';
}

} // namespace

Status list(Places const& places, std::string const& group, bool isRecursive, bool isLong) {
    std::string const around = cleanName(group);
    auto const [first, second] = settingsToRead(places);
    if (!first.settings.isGroup(around) && !second.settings.isGroup(around))
        throw noGroup(around);
    ParallelWalk walk(first.settings.walk(around), second.settings.walk(around));
    while (walk.next()) {
        Walk const& entry = walk.either();
        if (!isRecursive && entry.kind() == Kind::directory)
            walk.skip();
        else if (entry.kind() == Kind::directory && !entry.isEmptyDirectory())
            continue;
        if (walk.first() != nullptr)
            printLine(entry, first.scope, around, isLong);
        // Of a property and a group with one name, readers find the first scope's.
        else if (!first.settings.exists(inGroup(around, nameOf(entry))))
            printLine(entry, second.scope, around, isLong);
    }
    return Status::done;
}

Status get(Places const& places, std::string const& name) {
    std::string const clean = propertyName(name);
    for (ScopedFile const& scoped : filesToRead(places)) {
        Settings settings;
        scoped.file.load(settings);
        auto const entry = settings.find(clean);
        if (entry.kind == Kind::none)
            continue;
        if (entry.kind == Kind::directory)
            throw Failure(Status::notThere, clean + " is a group, not a property");
        Reading const reading = decode(entry.content);
        if (!reading.value)
            throw Failure(Status::notThere, clean + " has no value that can be read");
        for (std::string const& text : elementTexts(*reading.value)) {
            if (isTerminal())
                printEscaped(std::cout, text, forTerminal);
            else
                std::cout << text;
            std::cout << '\n';
        }
        return Status::done;
    }
    throw Failure(Status::notThere, "no such property: " + clean);
}

Status set(Places const& places, std::string const& kind, std::string const& name,
           std::vector<std::string> const& texts) {
    std::string const clean = propertyName(name);
    std::string const record = encode(parseValue(kind, texts));
    edit(places, [&](Settings& settings) { settings.write(clean, record); });
    return Status::done;
}

Status remove(Places const& places, std::string const& name) {
    std::string const clean = propertyName(name);
    edit(places, [&](Settings& settings) {
        if (!settings.exists(clean))
            throw Failure(Status::notThere, "no such property or group: " + clean);
        settings.remove(clean);
    });
    return Status::done;
}

Status exportGroup(Places const& places, std::string const& group) {
    std::string const around = cleanName(group);
    RegisterFile const file = fileIn(theDirectory(places));
    if (!places.scope && places.globalDirectory)
        complain("note: only the user's settings are exported: not those in " +
                 fileIn(directoryOf(places, Scope::global)).path() + " (--scope global exports them)");
    Settings settings;
    file.load(settings);
    if (!settings.isGroup(around))
        throw noGroup(around);
    exportSettings(settings, around, std::cout);
    return Status::done;
}

Status import(Places const& places, std::string const& source, bool isReplacing) {
    std::string const text = readAll(source);
    edit(places, [&](Settings& settings) {
        if (isReplacing)
            settings.remove("");
        importSettings(titleOf(source), text, settings);
    });
    return Status::done;
}

Status diff(std::string const& before, std::string const& after) {
    Settings const old = settingsAt(before);
    return printChanges(old, settingsAt(after), std::cout) ? Status::notThere : Status::done;
}

Status check(Places const& places, std::optional<std::string> const& path) {
    if (path)
        return checkFile(fileAt(*path));
    theDirectory(places); // refuses the temporary scope
    Status worst = Status::done;
    for (ScopedFile const& scoped : filesToRead(places)) {
        try {
            worst = std::max(worst, checkFile(scoped.file));
        } catch (Failure const& failure) {
            complain(failure.what());
            worst = std::max(worst, failure.status());
        }
    }
    return worst;
}

Status restore(Places const& places, std::optional<std::string> const& name) {
    Directory const directory = theDirectory(places);
    RegisterFile const file = fileIn(directory);
    if (!name) {
        listCopies(file, std::cout);
        return Status::done;
    }
    RegisterFile const copy = findCopy(file, *name);
    filesystem::DirectoryLock lock;
    take(lock, directory, places.patience);
    restoreCopy(file, copy);
    return Status::done;
}

Status watch(Places const& places) {
    watch(fileIn(theDirectory(places)), std::cout);
}

} // namespace tool
