// SPDX-License-Identifier: Apache-2.0
#include <iomanip>
#include <iostream>

#include "Commands.h"
#include "ParallelWalk.h"
#include "Record.h"
#include "Text.h"

namespace tool {

namespace {

/** Prints a line of a list. */
void printLine(Walk const& entry, char const* scope, std::string const& group, bool isLong) {
    bool const isGroup = entry.kind() == Kind::directory;
    Reading const reading = isGroup ? Reading() : decode(entry.content());
    std::cout << std::left << std::setw(9) << (isGroup ? "group" : reading.kind()) << ' ' << std::setw(6)
              << scope << ' ';
    printEscaped(std::cout, group, forLine());
    std::cout << (group.empty() ? "" : "/");
    printEscaped(std::cout, nameOf(entry), forLine());
    if (isLong && reading.value)
        std::cout << ": " << jsonText(*reading.value, forJsonLine());
    std::cout << '\n';
}

} // namespace

Status list(Places const& places, std::string const& group, bool isRecursive, bool isLong) {
    std::string const around = cleanName(group);
    auto const [first, second] = settingsToRead(places);
    if (!first.settings.isGroup(around) && !second.settings.isGroup(around))
        throw noGroup(around, first.settings.exists(around) || second.settings.exists(around));
    ParallelWalk walk(first.settings.walk(around), second.settings.walk(around));
    while (walk.next()) {
        Walk const& entry = walk.either();
        if (!isRecursive && entry.kind() == Kind::directory)
            walk.skip();
        else if (entry.kind() == Kind::directory && !entry.isEmptyDirectory())
            continue;
        if (walk.first() != nullptr)
            printLine(entry, first.scope, around, isLong);
        // Of a property and a group with one name, readers find the first scope's.
        else if (!first.settings.exists(inGroup(around, nameOf(entry))))
            printLine(entry, second.scope, around, isLong);
    }
    return Status::done;
}

} // namespace tool
