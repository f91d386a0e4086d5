// SPDX-License-Identifier: Apache-2.0
#include "Recording.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace crash {

Recording::Recording(std::string const& log) {
    for (std::size_t begin = 0, end = 0; (end = log.find('\n', begin)) != std::string::npos;
         begin = end + 1) {
        std::istringstream line(log.substr(begin, end - begin));
        std::string kind;
        Event event;
        line >> kind;
        if (kind == "mark")
            line >> event.name >> event.state;
        else
            line >> event.call >> event.name;
        if (!line || event.isMark() != (kind == "mark"))
            throw std::runtime_error("invalid line in a log: " + line.str());
        for (std::string word; line >> word;)
            event.effect.push_back(word);
        _events.push_back(std::move(event));
    }
}

long Recording::calls() const {
    long last = 0;
    for (Event const& event : _events)
        last = std::max(last, event.call);
    return last;
}

std::vector<Event> Recording::callsOf(int state) const {
    std::vector<Event> calls;
    bool inside = false;
    for (Event const& event : _events) {
        if (event.isMark())
            inside = (event.name == "begin" || event.name == "keep") && event.state == state;
        else if (inside)
            calls.push_back(event);
    }
    return calls;
}

std::optional<std::string> Recording::failureOf(int state) const {
    for (Event const& event : _events) {
        if (!event.isMark() || event.name != "failed" || event.state != state)
            continue;
        std::string reason;
        for (std::string const& word : event.effect)
            reason += reason.empty() ? word : ' ' + word;
        return reason;
    }
    return std::nullopt;
}

bool Recording::hasFailed(std::string const& name) const {
    return std::any_of(_events.begin(), _events.end(),
                       [&](Event const& event) { return event.name == name && event.is("failed"); });
}

std::optional<int> Recording::found() const {
    for (Event const& event : _events)
        if (event.isMark() && event.name == "found")
            return event.state;
    return std::nullopt;
}

} // namespace crash
