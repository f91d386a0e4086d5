// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include <filesystem/Direct.h>
#include <filesystem/RAMFileSystem.h>

namespace tool {

using filesystem::direct::Kind;
using filesystem::direct::Walk;

/**
 * The clean form of a name or a group: levels with one "/" between them; empty levels mean nothing.
 * Errors: `Failure` for a "." or ".." level, and for text that is not UTF-8.
 */
std::string cleanName(std::string const& name);

/** The same for a property's name. Errors: also `WrongCall` if it is empty. */
std::string propertyName(std::string const& name);

/** The full name of what has a name in a group. */
std::string inGroup(std::string const& group, std::string_view name);

/** The name of a walk's entry, from the walk's group; it lasts until the next step. */
std::string_view nameOf(Walk const& entry);

/**
 * The settings of one register file, in memory: groups are directories, properties are files with one value record
 * each. Names are clean; the empty one is the group of all.
 */
class Settings {
public:
    /** No settings. */
    Settings();

    /** What stands under a name. */
    [[nodiscard]] filesystem::direct::Entry find(std::string const& name) const;
    [[nodiscard]] bool isGroup(std::string const& name) const { return find(name).kind == Kind::directory; }
    [[nodiscard]] bool exists(std::string const& name) const { return find(name).kind != Kind::none; }

    /** Everything in a group, in the order of the names; that of a group counts with a "/" at its end. */
    [[nodiscard]] Walk walk(std::string const& group = "") const;

    [[nodiscard]] std::size_t countProperties() const;

    /**
     * Sets a property's record, whatever it was before, and makes its groups.
     * Errors: `Failure` when the name is a group's, or one of its groups is a property.
     */
    void write(std::string const& name, std::string const& record);

    /** Makes a group, and the groups around it. Errors: `Failure` when there is a property in the way. */
    void makeGroup(std::string const& name);

    /** Removes a property, or a group with everything in it; the empty name removes everything. */
    void remove(std::string const& name);

    /** The file system that they are in, and their directory there. */
    [[nodiscard]] filesystem::RAMFileSystem& files() noexcept { return *_files; }
    static constexpr char const* directory = "user";

    /** Replaces the settings by those that a register file holds. Errors: as `RAMFileSystem::unserialize`. */
    void read(filesystem::FileHandle& file);

    /** Writes a register file. Result: whether everything was written. */
    [[nodiscard]] bool write(filesystem::FileHandle& file) const;

private:
    std::unique_ptr<filesystem::RAMFileSystem> _files;
};

} // namespace tool
