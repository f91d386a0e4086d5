// SPDX-License-Identifier: Apache-2.0
#include <iomanip>
#include <iostream>

#include "Catalogues.h"
#include "Commands.h"
#include "Expectation.h"
#include "InForce.h"
#include "ParallelWalk.h"
#include "Text.h"
#include "Value.h"

namespace tool {

namespace {

/** Prints the first two columns of a line. */
void printColumns(std::string_view kind, char const* scope) {
    std::cout << std::left << std::setw(9) << kind << ' ' << std::setw(6) << scope << ' ';
}

/** Prints the line of a property or group. `isSet`: whether its value is in force. */
void printLine(Walk const& entry, char const* scope, bool isSet, std::string const& group, bool isLong) {
    bool const isGroup = entry.kind() == Kind::directory;
    Reading const reading = isGroup ? Reading() : decodeRecord(entry.content());
    printColumns(isGroup ? "group" : kindName(reading), scope);
    printEscaped(std::cout, group, forLine());
    std::cout << (group.empty() ? "" : "/");
    printEscaped(std::cout, nameOf(entry), forLine());
    if (isLong && !isGroup && !isSet)
        std::cout << ": (not set by the administrator)";
    else if (isLong && reading.value)
        std::cout << ": " << jsonText(*reading.value, forJsonLine());
    std::cout << '\n';
}

void printDeclaredGroup(std::string const& name, char const* scope) {
    printColumns("group", scope);
    printEscaped(std::cout, name, forLine());
    std::cout << '\n';
}

/**
 * Prints the line of a declared setting: its value, or its fallback if it is not set, and its description. If the value
 * is invalid, also prints the expected values; otherwise, if `isLong`, the allowed values, if they are restricted.
 */
void printDeclared(std::string const& name, Declaration const& declaration, Found const& found, bool isLong) {
    bool const isSet = found.entry.kind != Kind::none;
    bool const isGroup = found.entry.kind == Kind::directory;
    Reading const reading = found.entry.kind == Kind::file ? decodeRecord(found.entry.content) : Reading();
    printColumns(!isSet    ? kindNames.at(declaration.kind)
                 : isGroup ? "group"
                           : kindName(reading),
                 found.scope);
    printEscaped(std::cout, name, forLine());
    std::cout << ':';
    if (auto const& value = isSet ? reading.value : declaration.fallback)
        std::cout << ' ' << jsonText(*value, forJsonLine());
    else if (!isSet)
        std::cout << " (computed by the program)";
    if (isSet && (!reading.value || !objectionTo(*reading.value, declaration).empty()))
        std::cout << " (invalid: expected " << expectationOf(declaration) << ')';
    else if (isLong && isRestricted(declaration))
        std::cout << " (allowed: " << expectationOf(declaration) << ')';
    if (!declaration.description.empty()) {
        std::cout << "  # ";
        printEscaped(std::cout, declaration.description, forLine());
    }
    std::cout << '\n';
}

} // namespace

Status list(Places const& places, std::string const& group, bool isRecursive, bool isLong) {
    std::string const around = cleanName(group);
    InForce const inForce(places);
    auto const& [first, second] = inForce.scopes();
    if (!first.settings.isGroup(around) && !second.settings.isGroup(around))
        throw noGroup(around, first.settings.exists(around) || second.settings.exists(around));
    ParallelWalk walk(first.settings.walk(around), second.settings.walk(around));
    while (walk.next()) {
        auto const name = [&] { return inGroup(around, nameOf(walk.either())); };
        bool const isLocked = inForce.hasLocks() && inForce.isLocked(name());
        bool const isUsersHidden = isLocked && isUsers(first);
        bool const isSet = !isUsersHidden || walk.second() != nullptr;
        Walk const& entry = isUsersHidden && isSet ? *walk.second() : walk.either();
        if (!isRecursive && entry.kind() == Kind::directory)
            walk.skip();
        else if (entry.kind() == Kind::directory && !entry.isEmptyDirectory())
            continue;
        char const* const scope = isLocked ? "locked" : &entry == walk.first() ? first.scope : second.scope;
        // A property and a group may have the same name in different scopes. Readers find the one in the first scope;
        // if the name is locked, the administrator's.
        bool const isFound = isUsersHidden ? isSet || !second.settings.exists(name())
                                           : &entry == walk.first() || !first.settings.exists(name());
        if (isFound)
            printLine(entry, scope, isSet, around, isLong);
    }
    return Status::done;
}

Status listDeclared(Places const& places, std::string const& group, bool isRecursive, bool isLong) {
    std::string const around = cleanName(group);
    InForce const inForce(places);
    Declarations const declarations = readCatalogues(places.catalogues);
    if (declarations.empty()) {
        complain(nothingDeclared);
        return Status::done;
    }
    auto [next, end] = declaredIn(declarations, around);
    if (next == end)
        throw Failure(Status::notThere, declarations.count(around) > 0
                                            ? '"' + around + "\" is a property, not a group"
                                            : "no declared settings in the group \"" + around + '"');
    std::size_t const begin = around.empty() ? 0 : around.size() + 1; // of names relative to it
    while (next != end) {
        auto const& [name, declaration] = *next;
        std::size_t const level = name.find('/', begin);
        if (isRecursive || level == std::string::npos) {
            printDeclared(name, declaration, inForce.find(name), isLong);
            ++next;
        } else {
            std::string const inner = name.substr(0, level);
            printDeclaredGroup(inner, inForce.find(inner).scope);
            next = declaredIn(declarations, inner).end;
        }
    }
    return Status::done;
}

} // namespace tool
