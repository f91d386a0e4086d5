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
 * The clean form of a name: without leading, trailing and doubled "/".
 * Errors: `Failure` for a "." or ".." level, and for text that is not UTF-8.
 */
std::string cleanName(std::string const& name);

/** The clean form of a property's name. Errors: those of `cleanName`; `WrongCall` if it is empty. */
std::string propertyName(std::string const& name);

/** The full name of an entry of a group. */
std::string inGroup(std::string const& group, std::string_view name);

/** The name of a walk's entry, relative to the walk's group. Valid until the next step. */
std::string_view nameOf(Walk const& entry);

/**
 * The settings of one register file, in memory. Names are clean; the empty name is the group of all settings.
 */
class Settings {
public:
    /** Creates an object without settings. */
    Settings();

    /** The entry under a name. */
    [[nodiscard]] filesystem::direct::Entry find(std::string const& name) const;
    [[nodiscard]] bool isGroup(std::string const& name) const { return find(name).kind == Kind::directory; }
    [[nodiscard]] bool exists(std::string const& name) const { return find(name).kind != Kind::none; }

    /** Everything in a group, sorted by name; a group sorts as if its name ended in "/". */
    [[nodiscard]] Walk walk(std::string const& group = "") const;

    [[nodiscard]] std::size_t countProperties() const;

    /**
     * Sets the record of a property, and creates its groups.
     * Errors: `Failure` if the name is a group, or one of its groups is a property.
     */
    void write(std::string const& name, std::string const& record);

    /** Creates a group and its enclosing groups. Errors: `Failure` if one of them is a property. */
    void makeGroup(std::string const& name);

    /** Removes a property, or a group with everything in it; the empty name removes everything. */
    void remove(std::string const& name);

    /** The file system that holds the settings, and their directory in it. */
    [[nodiscard]] filesystem::RAMFileSystem& files() noexcept { return *_files; }
    static constexpr char const* directory = "user";

    /** Replaces the settings with those in a register file. Errors: those of `RAMFileSystem::unserialize`. */
    void read(filesystem::FileHandle& file);

    /** Writes a register file. Result: whether everything was written. */
    [[nodiscard]] bool write(filesystem::FileHandle& file) const;

private:
    std::unique_ptr<filesystem::RAMFileSystem> _files;
};

} // namespace tool
