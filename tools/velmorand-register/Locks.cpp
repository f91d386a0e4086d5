// SPDX-License-Identifier: Apache-2.0
#include "Locks.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include "Expectation.h"
#include "Failure.h"
#include "Text.h"

namespace tool {

namespace {

using Names = std::vector<std::string>;

Declaration declarationOfList() {
    Declaration declaration;
    declaration.kind = Value(Names()).index();
    return declaration;
}

bool beginsWith(std::string const& text, std::string const& beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

/** The list in the global scope; empty if it is not a list of strings. */
Names listIn(Settings const& global) {
    Reading const reading = decodeRecord(global.find(lockListName).content);
    bool const isList =
        reading.damage.empty() && reading.value && std::holds_alternative<Names>(*reading.value);
    return isList ? std::get<Names>(*reading.value) : Names();
}

} // namespace

std::string entryName(std::string const& entry) {
    try {
        return cleanName(entry);
    } catch (Failure const&) {
        return {};
    }
}

std::vector<std::string> objectionsToLocks(Kind kind, Reading const& reading) {
    if (kind == Kind::directory)
        return {objection("a group", declarationOfList())};
    if (!reading.value)
        return {objection("a property without a value", declarationOfList())};
    if (std::string wrong = objectionTo(*reading.value, declarationOfList()); !wrong.empty())
        return {std::move(wrong)};
    std::vector<std::string> objections;
    std::size_t number = 0;
    for (std::string const& entry : std::get<Names>(*reading.value)) {
        ++number;
        if (entryName(entry).empty())
            objections.push_back(inElement(number, jsonText(entry, forJsonLine()) + " is not a valid name"));
    }
    return objections;
}

Names lockList(Settings const& settings) {
    auto const entry = settings.find(lockListName);
    if (entry.kind == Kind::none)
        return {};
    Reading const reading = decodeRecord(entry.content);
    if (reading.value && reading.damage.empty() && std::holds_alternative<Names>(*reading.value))
        return std::get<Names>(*reading.value);
    throw Failure(
        Status::fileTrouble,
        std::string("cannot change the list of locks, \"") + lockListName + "\": " +
            (reading.damage.empty() ? objectionsToLocks(entry.kind, reading).front() : reading.damage) +
            " (delete it first)");
}

Locks::Locks(Settings const& global) : Locks(listIn(global)) {}

Locks::Locks(Names const& list) {
    std::set<std::string> names;
    for (std::string const& entry : list)
        if (std::string const name = entryName(entry); !name.empty())
            names.insert(name + '/');
    std::copy_if(names.begin(), names.end(), std::back_inserter(_entries), [this](std::string const& name) {
        return _entries.empty() || !beginsWith(name, _entries.back());
    });
}

std::optional<std::string> Locks::entryFor(std::string const& name) const {
    std::string const whole = name + '/';
    // Only the last entry that is not greater can lock the name: any text between an entry and a name that begins with
    // that entry also begins with it, so it is not an entry.
    auto const next = std::upper_bound(_entries.begin(), _entries.end(), whole);
    if (next == _entries.begin() || !beginsWith(whole, *std::prev(next)))
        return std::nullopt;
    return std::prev(next)->substr(0, std::prev(next)->size() - 1);
}

} // namespace tool
