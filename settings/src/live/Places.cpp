// SPDX-License-Identifier: Apache-2.0
#include "Places.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <filesystem/PrivateDirectory.h>
#include <utils/Exception.h>

namespace velmorand::live {

namespace {

constexpr char const* folder = "/velmorand";

std::string environment(char const* name) {
    char const* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

/** The XDG standard demands that relative paths in its variables are ignored. */
bool isAbsolute(std::string const& path) {
    return !path.empty() && path.front() == '/';
}

std::string standardUserDirectory() {
    if (std::string const configuration = environment("XDG_CONFIG_HOME"); isAbsolute(configuration))
        return configuration + folder;
    if (std::string const home = environment("HOME"); isAbsolute(home))
        return home + "/.config" + folder;
    throw utils::Exception("no directory for the user's settings: neither XDG_CONFIG_HOME nor HOME is set");
}

std::string absolute(std::string const& path) {
    return isAbsolute(path) ? path : std::filesystem::absolute(path).string();
}

} // namespace

std::string openUserDirectory(std::string const& given) {
    std::string directory = given.empty() ? standardUserDirectory() : absolute(given);
    if (!filesystem::makePrivateDirectories(directory))
        throw utils::Exception("cannot create the directory " + directory + ": " +
                               std::generic_category().message(errno));
    return directory;
}

std::string findGlobalDirectory(std::string const& given) {
    if (!given.empty())
        return absolute(given);
    std::string directories = environment("XDG_CONFIG_DIRS");
    if (directories.empty())
        directories = "/etc/xdg";
    std::string first;
    for (std::size_t begin = 0; begin < directories.size();) {
        std::size_t const end = std::min(directories.find(':', begin), directories.size());
        std::string const base = directories.substr(begin, end - begin);
        begin = end + 1;
        if (!isAbsolute(base))
            continue;
        std::string directory = base + folder;
        if (first.empty())
            first = directory;
        std::error_code ignored;
        if (std::filesystem::exists(directory + '/' + fileName, ignored))
            return directory;
    }
    return first;
}

} // namespace velmorand::live
