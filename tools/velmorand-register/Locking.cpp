// SPDX-License-Identifier: Apache-2.0
//
// The commands lock and unlock.
#include <algorithm>
#include <iostream>
#include <iterator>
#include <sstream>

#include "Catalogues.h"
#include "Commands.h"
#include "Edit.h"
#include "Locks.h"
#include "NearestName.h"
#include "Text.h"

namespace tool {

namespace {

/**
 * The places for a command that changes only the global scope. Errors: `WrongCall` if another scope or no global
 * directory is given.
 */
Places administrators(Places places, std::string const& command) {
    if (places.scope.value_or(Scope::global) != Scope::global)
        throw WrongCall(command + " changes only the global register file");
    if (!places.globalDirectory)
        throw WrongCall(command + " needs --global DIR");
    places.scope = Scope::global;
    return places;
}

std::vector<std::string> propertyNames(std::vector<std::string> const& names) {
    if (names.empty())
        throw WrongCall("NAME is required");
    std::vector<std::string> clean;
    std::transform(names.begin(), names.end(), std::back_inserter(clean), propertyName);
    return clean;
}

/** A line of the report: the outcome for a name and, if it is locked through a group, that group. */
std::string lineAbout(char const* what, std::string const& name, std::string const& with = {}) {
    std::ostringstream line;
    line << what << ": ";
    printEscaped(line, name, forLine());
    if (!with.empty() && with != name) {
        line << " (through ";
        printEscaped(line, with, forLine());
        line << ')';
    }
    line << '\n';
    return line.str();
}

/** Prints a warning for each name that is not declared but similar to the name of a declared setting or group. */
void warnOfMisspellings(std::vector<std::string> const& names, Declarations const& declared) {
    Declarations known = declared;
    for (auto const& [name, declaration] : declared)
        for (std::size_t end = name.find('/'); end != std::string::npos; end = name.find('/', end + 1))
            known.emplace(name.substr(0, end), Declaration()); // a group
    for (std::string const& name : names) {
        if (known.count(name) > 0)
            continue;
        if (auto const nearest = nearestName(declaredIn(known, ""), name))
            complain("warning: \"" + name + "\" is " + notDeclared(nearest));
    }
}

/** Stores a list of locks. An empty list is removed, with its group if that becomes empty. */
void writeLockList(Settings& settings, std::vector<std::string> const& list) {
    if (!list.empty()) {
        settings.write(lockListName, encodeRecord(list));
        return;
    }
    settings.remove(lockListName);
    if (!settings.walk(lockListGroup).next())
        settings.remove(lockListGroup);
}

/** Removes all entries for a clean name from a list. Result: whether there were any. */
bool removeEntries(std::vector<std::string>& list, std::string const& name) {
    auto const gone = std::remove_if(list.begin(), list.end(),
                                     [&name](std::string const& entry) { return entryName(entry) == name; });
    bool const wasThere = gone != list.end();
    list.erase(gone, list.end());
    return wasThere;
}

} // namespace

Status lock(Places const& places, std::vector<std::string> const& names) {
    std::vector<std::string> const clean = propertyNames(names);
    Declarations const declared = readCatalogues(places.catalogues);
    std::string report;
    edit(administrators(places, "lock"), [&](Settings& settings) {
        std::vector<std::string> list = lockList(settings);
        for (std::string const& name : clean) {
            if (auto const entry = Locks(list).entryFor(name)) {
                report += lineAbout("already locked", name, *entry);
                continue;
            }
            list.push_back(name);
            report += lineAbout("locked", name);
        }
        writeLockList(settings, list);
    });
    warnOfMisspellings(clean, declared);
    std::cout << report;
    return Status::done;
}

Status unlock(Places const& places, std::vector<std::string> const& names) {
    std::vector<std::string> const clean = propertyNames(names);
    std::string report;
    edit(administrators(places, "unlock"), [&](Settings& settings) {
        std::vector<std::string> list = lockList(settings);
        bool isChanged = false;
        for (std::string const& name : clean) {
            bool const wasListed = removeEntries(list, name);
            auto const entry = Locks(list).entryFor(name);
            if (entry && !wasListed)
                throw Failure(Status::notThere, "cannot unlock \"" + name + "\": the group \"" + *entry +
                                                    "\" is locked (unlock that group)");
            if (entry)
                report += lineAbout("still locked", name, *entry);
            else
                report += lineAbout(wasListed ? "unlocked" : "not locked", name);
            isChanged = isChanged || wasListed;
        }
        if (isChanged)
            writeLockList(settings, list);
    });
    std::cout << report;
    return Status::done;
}

} // namespace tool
