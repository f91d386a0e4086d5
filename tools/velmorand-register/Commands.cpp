// SPDX-License-Identifier: Apache-2.0
#include "Commands.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iomanip>
#include <iostream>
#include <memory>
#include <system_error>

#include <sys/stat.h>

#include "Changes.h"
#include "Exchange.h"
#include "Settings.h"
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
    if (configuration != nullptr && *configuration == '/') // others are to be ignored
        return {std::string(configuration) + "/velmorand", false};
    char const* const home = std::getenv("HOME");
    if (home != nullptr && *home != '\0')
        return {std::string(home) + "/.config/velmorand", false};
    throw Failure(Status::misuse, "neither XDG_CONFIG_HOME nor HOME is set: --user DIR is needed");
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
        throw Failure(Status::misuse, "--scope global needs --global DIR");
    return named(*places.globalDirectory);
}

/** The directory of the one register file that a command is about: the user's, unless a scope is given. */
Directory theDirectory(Places const& places) {
    if (places.scope == Scope::temporary)
        throw Failure(Status::misuse, "--scope temporary has no register file: it ends with its process");
    return directoryOf(places, places.scope.value_or(Scope::user));
}

struct ScopedFile {
    char const* scope;
    RegisterFile file;
};

/** The register files that readers look into, in their order; or that of the scope that is given. */
std::vector<ScopedFile> filesToRead(Places const& places) {
    std::vector<ScopedFile> files;
    if (!places.scope || places.scope == Scope::user)
        files.push_back({"user", fileIn(directoryOf(places, Scope::user))});
    if (places.scope == Scope::global || (!places.scope && places.globalDirectory))
        files.push_back({"global", fileIn(directoryOf(places, Scope::global))});
    return files;
}

void make(Directory const& directory) {
    std::error_code error;
    std::filesystem::create_directories(directory.path, error);
    if (error)
        throw Failure(Status::fileTrouble, directory.path + ": " + error.message());
}

/** Loads the register file, changes the settings, and saves them, while no other instance does. */
void edit(Places const& places, std::function<void()> const& change) {
    Directory const directory = theDirectory(places);
    RegisterFile const file = fileIn(directory);
    if (std::error_code ignored; !directory.isNamed && !std::filesystem::exists(directory.path, ignored)) {
        file.load();
        change(); // what fails leaves no directory behind
        make(directory);
    }
    EditLock const lock(directory.path);
    file.load();
    change();
    file.save();
}

std::string propertyName(std::string const& name) {
    std::string clean = settings::cleanName(name);
    if (clean.empty())
        throw Failure(Status::misuse, "the name is empty");
    return clean;
}

/** What lies directly in a group, as entries. */
Entries entriesIn(std::string const& group) {
    Entries entries;
    for (std::string const& bare : settings::namesIn(group)) {
        std::string const name = settings::inGroup(group, bare);
        entries.emplace(name, settings::entry(name));
    }
    return entries;
}

struct ScopedEntry {
    char const* scope;
    Entry entry;
};

/** All bytes of a file, or of standard input ("-"). */
std::string readAll(std::string const& source) {
    auto const failed = [&source] {
        return Failure(Status::misuse, source + ": " + std::generic_category().message(errno));
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

/** Prints that a register file is sound, and what in it is not. Errors: `Failure`. */
void checkFile(RegisterFile const& file) {
    Loaded const loaded = file.load();
    if (!loaded.isThere)
        throw Failure(Status::notThere, file.path() + " is not there");
    if (loaded.bytesBehind != 0)
        throw Failure(Status::fileTrouble, file.path() + ": " + std::to_string(loaded.bytesBehind) +
                                               " bytes behind the end of the settings");
    Entries const entries = settings::entriesBelow("");
    auto const properties = std::count_if(entries.begin(), entries.end(),
                                          [](auto const& entry) { return !entry.second.isGroup; });
    std::cout << shown(file.path()) << ": sound, " << properties
              << (properties == 1 ? " property\n" : " properties\n");
    for (auto const& [name, entry] : entries)
        if (!entry.isGroup && !entry.value)
            std::cout << shown(name) << ": no value of any kind\n";
}

} // namespace

Status list(Places const& places, std::string const& group, bool isRecursive, bool isLong) {
    std::string const around = settings::cleanName(group);
    std::map<std::string, ScopedEntry> found; // of the first scope that has the name
    bool isThere = around.empty();
    for (ScopedFile const& scoped : filesToRead(places)) {
        scoped.file.load();
        if (!settings::isGroup(around))
            continue;
        isThere = true;
        for (auto& [name, entry] : isRecursive ? settings::entriesBelow(around) : entriesIn(around))
            found.insert({name, {scoped.scope, entry}});
    }
    if (!isThere)
        throw Failure(Status::notThere, "no such group: " + around);
    for (auto const& [name, scoped] : found) {
        std::cout << std::left << std::setw(9) << scoped.entry.kind() << ' ' << std::setw(6) << scoped.scope
                  << ' ' << shown(name);
        if (isLong && scoped.entry.value)
            std::cout << ": " << jsonShown(*scoped.entry.value);
        std::cout << '\n';
    }
    return Status::done;
}

Status get(Places const& places, std::string const& name) {
    std::string const clean = propertyName(name);
    for (ScopedFile const& scoped : filesToRead(places)) {
        scoped.file.load();
        if (!settings::exists(clean))
            continue;
        Entry const entry = settings::entry(clean);
        if (!entry.value)
            throw Failure(Status::notThere, clean + (entry.isGroup ? " is a group" : " holds no value"));
        for (std::string const& text : elementTexts(*entry.value))
            std::cout << text << '\n';
        return Status::done;
    }
    throw Failure(Status::notThere, clean + " is not there");
}

Status set(Places const& places, std::string const& kind, std::string const& name,
           std::vector<std::string> const& texts) {
    std::string const clean = propertyName(name);
    Value const value = parseValue(kind, texts);
    edit(places, [&] { settings::write(clean, value); });
    return Status::done;
}

Status remove(Places const& places, std::string const& name) {
    std::string const clean = propertyName(name);
    edit(places, [&] {
        if (!settings::exists(clean))
            throw Failure(Status::notThere, clean + " is not there");
        settings::remove(clean);
    });
    return Status::done;
}

Status exportGroup(Places const& places, std::string const& group) {
    std::string const around = settings::cleanName(group);
    fileIn(theDirectory(places)).load();
    if (!settings::isGroup(around))
        throw Failure(Status::notThere, "no such group: " + around);
    exportEntries(settings::entriesBelow(around), std::cout);
    return Status::done;
}

Status import(Places const& places, std::string const& source, bool isReplacing) {
    std::string const text = readAll(source);
    edit(places, [&] {
        if (isReplacing)
            settings::remove("");
        importEntries(source == "-" ? "standard input" : source, text);
    });
    return Status::done;
}

Status diff(std::string const& before, std::string const& after) {
    auto const entriesOf = [](std::string const& path) {
        RegisterFile const file = fileAt(path);
        if (!file.load().isThere)
            throw Failure(Status::fileTrouble, file.path() + " is not there");
        return settings::entriesBelow("");
    };
    Entries const old = entriesOf(before);
    return printChanges(old, entriesOf(after), std::cout) ? Status::notThere : Status::done;
}

Status check(Places const& places, std::optional<std::string> const& path) {
    if (path) {
        checkFile(fileAt(*path));
        return Status::done;
    }
    theDirectory(places); // refuses the temporary scope
    Status worst = Status::done;
    for (ScopedFile const& scoped : filesToRead(places)) {
        try {
            checkFile(scoped.file);
        } catch (Failure const& failure) {
            complain(failure.what());
            worst = std::max(worst, failure.status());
        }
    }
    return worst;
}

Status watch(Places const& places) {
    watch(fileIn(theDirectory(places)), std::cout);
}

} // namespace tool
