// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Entry.h"

/**
 * The settings of one register file at a time, in the user scope of this process's register. The register was
 * given no directories, so it loads and saves nothing by itself: reading a register file never writes it.
 *
 * Names are clean: levels without "." and "..", one "/" between them.
 */
namespace tool::settings {

/**
 * The clean form of a name or a group: empty levels mean nothing.
 * Errors: `Failure` for what names nothing: a "." or ".." level, text that is not UTF-8.
 */
std::string cleanName(std::string const& name);

/** The full name of what has a bare name in a group. */
std::string inGroup(std::string const& group, std::string const& name);

/** Whether a group stands under the name; the empty name is one. */
bool isGroup(std::string const& name);

/** Whether anything stands under the name. */
bool exists(std::string const& name);

/** What stands under a name, which must exist. */
Entry entry(std::string const& name);

/** The names directly in a group, which must exist: bare, in order. */
std::vector<std::string> namesIn(std::string const& group);

/** The properties in a group and in the groups in it, and the groups that are empty. */
Entries entriesBelow(std::string const& group);

/**
 * Puts a property in place of what was there, and makes its groups.
 * Errors: `Failure` when the name is a group's, or one of its groups is a property.
 */
void write(std::string const& name, Value const& value);

/** As `write`, with the bytes of a record, whatever they mean. */
void writeRecord(std::string const& name, std::string const& record);

/** Makes a group, and the groups around it. Errors: `Failure` when there is a property in the way. */
void makeGroup(std::string const& name);

/** Removes a property, or a group with all that is in it; the empty name removes everything. */
void remove(std::string const& name);

/** The bytes that the register stores for a value. */
std::string recordOf(Value const& value);

} // namespace tool::settings
