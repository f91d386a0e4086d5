// SPDX-License-Identifier: Apache-2.0
#include "Changes.h"

#include <ostream>

#include "Terminal.h"
#include "Text.h"

namespace tool {

namespace {

std::string described(Entry const& entry) {
    std::string text(entry.kind());
    if (entry.value)
        text += ' ' + jsonShown(*entry.value);
    else if (!entry.isGroup)
        text += ' ' + base64(entry.record);
    return text;
}

void printLine(char sign, std::string const& name, std::string const& description, std::ostream& out) {
    out << coloured(sign + (' ' + shown(name)) + ": " + description,
                    sign == '-' ? Colour::red : Colour::green)
        << '\n';
}

void printChange(std::string const& name, Entry const& before, Entry const& after, std::ostream& out) {
    std::string old = described(before);
    std::string now = described(after);
    if (old == now) { // the difference is in bytes that the value does not say
        old += ", record " + base64(before.record);
        now += ", record " + base64(after.record);
    }
    printLine('-', name, old, out);
    printLine('+', name, now, out);
}

} // namespace

bool printChanges(Entries const& before, Entries const& after, std::ostream& out) {
    bool any = false;
    auto old = before.begin();
    auto now = after.begin();
    while (old != before.end() || now != after.end()) {
        bool const isGone = now == after.end() || (old != before.end() && old->first < now->first);
        bool const isNew = old == before.end() || (now != after.end() && now->first < old->first);
        if (isGone)
            printLine('-', old->first, described(old->second), out);
        else if (isNew)
            printLine('+', now->first, described(now->second), out);
        else if (old->second != now->second)
            printChange(old->first, old->second, now->second, out);
        any = any || isGone || isNew || old->second != now->second;
        if (!isNew)
            ++old;
        if (!isGone)
            ++now;
    }
    return any;
}

} // namespace tool
