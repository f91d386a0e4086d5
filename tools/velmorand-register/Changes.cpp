// SPDX-License-Identifier: Apache-2.0
#include "Changes.h"

#include <ostream>

#include "Terminal.h"
#include "Text.h"

namespace tool {

namespace {

void printLine(char sign, std::string const& name, Entry const& entry, std::ostream& out) {
    std::string line = sign + (' ' + shown(name)) + ": " + std::string(entry.kind());
    if (entry.value)
        line += ' ' + jsonShown(*entry.value);
    else if (!entry.isGroup)
        line += " of no kind, " + std::to_string(entry.record.size());
    out << coloured(line, sign == '-' ? Colour::red : Colour::green) << '\n';
}

} // namespace

bool printChanges(Entries const& before, Entries const& after, std::ostream& out) {
    bool any = false;
    auto old = before.begin();
    auto now = after.begin();
    while (old != before.end() || now != after.end()) {
        bool const isOld = old != before.end() && (now == after.end() || old->first <= now->first);
        bool const isNow = now != after.end() && (old == before.end() || now->first <= old->first);
        bool const isSame = isOld && isNow && old->second == now->second;
        if (isOld && !isSame)
            printLine('-', old->first, old->second, out);
        if (isNow && !isSame)
            printLine('+', now->first, now->second, out);
        any = any || !isSame;
        if (isOld)
            ++old;
        if (isNow)
            ++now;
    }
    return any;
}

} // namespace tool
