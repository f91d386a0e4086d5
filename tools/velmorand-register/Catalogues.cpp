// SPDX-License-Identifier: Apache-2.0
#include "Catalogues.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>

#include "CatalogueReader.h"
#include "Failure.h"
#include "Input.h"
#include "Places.h"
#include "Text.h"

namespace tool {

namespace {

constexpr char const* inDataDirectory = "/velmorand/declared";

std::string_view variable(char const* name) {
    char const* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

bool isAbsolute(std::string_view path) {
    return !path.empty() && path.front() == '/';
}

/**
 * The data directories of the XDG standard, in order of precedence. Relative paths are ignored, as the standard
 * demands.
 */
std::vector<std::string> dataDirectories() {
    std::string all(variable("XDG_DATA_HOME"));
    if (!isAbsolute(all))
        all = std::string(variable("HOME")) + "/.local/share";
    std::string_view const shared = variable("XDG_DATA_DIRS");
    all += ':';
    all += shared.empty() ? "/usr/local/share:/usr/share" : shared;
    std::vector<std::string> directories;
    for (std::size_t begin = 0; begin < all.size();) {
        std::size_t const end = std::min(all.find(':', begin), all.size());
        if (std::string const directory = all.substr(begin, end - begin); isAbsolute(directory))
            directories.push_back(directory);
        begin = end + 1;
    }
    return directories;
}

Failure unreadable(std::string const& path, std::error_code const& error) {
    return {Status::misuse, path + ": " + error.message()};
}

/** The catalogues in a directory, sorted by name. Errors: `Failure` if it cannot be read. */
std::vector<std::string> cataloguesIn(std::string const& directory) {
    std::vector<std::string> paths;
    std::error_code error;
    std::filesystem::directory_iterator entry(directory, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        std::filesystem::path const name = entry->path().filename();
        if (name.extension() == ".json" && name.string().front() != '.')
            paths.push_back(entry->path().string());
    }
    if (error)
        throw unreadable(directory, error);
    std::sort(paths.begin(), paths.end());
    return paths;
}

/** Adds the declarations of a catalogue. Errors: `Failure`; nothing is added then. */
void add(Declarations& all, std::string const& path) {
    Declarations declared = readCatalogue(titleOf(path), readAll(path));
    all.merge(declared); // keeps existing ones
}

/** Adds the declarations of an installed catalogue; an invalid one only causes a warning. */
void addFound(Declarations& all, std::string const& path) {
    try {
        std::error_code error;
        auto const type = std::filesystem::status(path, error).type();
        if (type == std::filesystem::file_type::fifo) // opening it would wait for a writer
            throw Failure(Status::misuse, path + ": not a regular file");
        add(all, path);
    } catch (Failure const& failure) {
        complain("warning: " + std::string(failure.what()));
    }
}

void addFoundIn(Declarations& all, std::string const& directory) {
    std::error_code error;
    if (std::filesystem::status(directory, error).type() == std::filesystem::file_type::not_found)
        return;
    try {
        for (std::string const& path : cataloguesIn(directory))
            addFound(all, path);
    } catch (Failure const& failure) {
        complain("warning: " + std::string(failure.what()));
    }
}

void addGiven(Declarations& all, std::string const& path) {
    if (!isDirectory(path)) {
        add(all, path);
        return;
    }
    for (std::string const& inDirectory : cataloguesIn(path))
        add(all, inDirectory);
}

} // namespace

Declarations readCatalogues(std::vector<std::string> const& given) {
    Declarations all;
    for (std::string const& path : given)
        addGiven(all, path);
    if (given.empty())
        for (std::string const& directory : dataDirectories())
            addFoundIn(all, directory + inDataDirectory);
    return all;
}

} // namespace tool
