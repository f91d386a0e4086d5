// SPDX-License-Identifier: Apache-2.0
#include "Changes.h"

#include <ostream>
#include <string>

#include "ParallelWalk.h"
#include "Terminal.h"
#include "Text.h"
#include "Value.h"

namespace tool {

namespace {

/** Whether an entry gets its own line: every property and every empty group does. */
bool isShown(Walk const* entry) {
    return entry != nullptr && (entry->kind() == Kind::file || entry->isEmptyDirectory());
}

std::string describedEntry(Walk const& entry) {
    return entry.kind() == Kind::directory ? "group" : described(entry.content());
}

void printLine(char sign, Walk const& entry, std::string const& description, std::ostream& out) {
    Colour const colour = sign == '-' ? Colour::red : Colour::green;
    out << beginOf(colour) << sign << ' ';
    printEscaped(out, nameOf(entry), forLine());
    out << ": " << description << endOf(colour) << '\n';
}

void printChange(Walk const& before, Walk const& after, std::ostream& out) {
    std::string old = describedEntry(before);
    std::string now = describedEntry(after);
    if (old == now) { // only bytes outside the value differ
        old += ", record " + base64(before.content());
        now += ", record " + base64(after.content());
    }
    printLine('-', before, old, out);
    printLine('+', after, now, out);
}

/** Prints the difference under one name. Result: whether there is any. */
bool printChange(Walk const* before, Walk const* after, std::ostream& out) {
    bool const isOld = isShown(before);
    bool const isNew = isShown(after);
    if (isOld && isNew && before->content() == after->content())
        return false;
    if (isOld && isNew)
        printChange(*before, *after, out);
    else if (isOld)
        printLine('-', *before, describedEntry(*before), out);
    else if (isNew)
        printLine('+', *after, describedEntry(*after), out);
    return isOld || isNew;
}

} // namespace

Difference compare(Settings const& before, Settings const& after) {
    Difference difference;
    ParallelWalk walk(before.walk(), after.walk());
    while (walk.next()) {
        Walk const* const old = walk.first();
        Walk const* const now = walk.second();
        if (isShown(now) && (old == nullptr || old->content() != now->content()))
            ++difference.set;
        else if (isShown(old) && now == nullptr)
            ++difference.removed;
    }
    return difference;
}

std::string described(std::string_view content) {
    Reading const reading = decodeRecord(content);
    return std::string(kindName(reading)) + ' ' +
           (reading.value ? jsonText(*reading.value, forJsonLine()) : base64(content));
}

std::string summaryOf(std::optional<Difference> const& saved) {
    if (!saved)
        return "nothing changed";
    std::string text;
    if (saved->set > 0 || saved->removed == 0)
        text = std::to_string(saved->set) + " set";
    if (saved->removed > 0)
        text += (text.empty() ? "" : ", ") + std::to_string(saved->removed) + " removed";
    return text;
}

bool printChanges(Settings const& before, Settings const& after, std::ostream& out) {
    bool any = false;
    ParallelWalk walk(before.walk(), after.walk());
    while (walk.next())
        any = printChange(walk.first(), walk.second(), out) || any;
    return any;
}

} // namespace tool
