// SPDX-License-Identifier: Apache-2.0
#include "Places.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include <sys/stat.h>

namespace tool {

namespace {

Directory named(std::string const& path, char const* option) {
    struct stat status = {};
    int const error = ::stat(path.c_str(), &status) != 0 ? errno : S_ISDIR(status.st_mode) ? 0 : ENOTDIR;
    if (error != 0) {
        bool const canBeCreated = error == ENOENT && !path.empty();
        throw Failure(error == EACCES ? Status::fileTrouble : Status::misuse,
                      (path.empty() ? "\"\"" : path) + ": " + std::generic_category().message(error) +
                          (canBeCreated ? " (create it first: mkdir -p \"" + path + "\")" : std::string()));
    }
    return {path, true, std::string(option) + " \"" + path + '"'};
}

Directory userDirectory(Places const& places) {
    if (places.userDirectory)
        return named(*places.userDirectory, " --user");
    char const* const configuration = std::getenv("XDG_CONFIG_HOME");
    if (configuration != nullptr && *configuration == '/') // XDG: relative paths are ignored
        return {std::string(configuration) + "/velmorand", false, {}};
    char const* const home = std::getenv("HOME");
    if (home != nullptr && *home != '\0')
        return {std::string(home) + "/.config/velmorand", false, {}};
    throw Failure(Status::misuse,
                  "no user directory: neither XDG_CONFIG_HOME nor HOME is set (use --user DIR)");
}

} // namespace

bool isDirectory(std::string const& path) {
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

RegisterFile fileIn(Directory const& directory) {
    return RegisterFile(directory.path + "/" + registerFileName,
                        " (list its copies with: velmorand-register" + directory.options + " restore)");
}

RegisterFile fileAt(std::string const& path) {
    return RegisterFile(isDirectory(path) ? path + '/' + registerFileName : path);
}

Directory directoryOf(Places const& places, Scope scope) {
    if (scope == Scope::user)
        return userDirectory(places);
    if (!places.globalDirectory)
        throw WrongCall("--scope global needs --global DIR");
    Directory directory = named(*places.globalDirectory, " --global");
    directory.options += " --scope global";
    return directory;
}

Directory theDirectory(Places const& places) {
    if (places.scope == Scope::temporary)
        throw WrongCall("--scope temporary: the temporary scope is never stored in a file");
    return directoryOf(places, places.scope.value_or(Scope::user));
}

std::vector<ScopedFile> filesToRead(Places const& places) {
    std::vector<ScopedFile> files;
    if (places.scope.value_or(Scope::user) == Scope::user)
        files.push_back({"user", fileIn(directoryOf(places, Scope::user))});
    if (places.scope == Scope::global || (!places.scope && places.globalDirectory))
        files.push_back({"global", fileIn(directoryOf(places, Scope::global))});
    return files;
}

std::array<ScopedSettings, 2> settingsToRead(Places const& places) {
    std::array<ScopedSettings, 2> all;
    std::size_t count = 0;
    for (ScopedFile const& scoped : filesToRead(places)) {
        scoped.file.load(all.at(count).settings);
        all.at(count++).scope = scoped.scope;
    }
    return all;
}

Failure noGroup(std::string const& name, bool isProperty) {
    return {Status::notThere,
            isProperty ? '"' + name + "\" is a property, not a group" : "no such group: " + name};
}

} // namespace tool
