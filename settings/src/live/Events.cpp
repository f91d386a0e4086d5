// SPDX-License-Identifier: Apache-2.0
#include "Events.h"

#include <cstdio>
#include <utility>

namespace velmorand::live {

namespace {

void print(LiveEvent const& event) {
    std::string line = "settings: " + event.file + ": ";
    if (event.kind == LiveEventKind::savedAgain)
        line += "all changes are saved now";
    else
        line += event.reason;
    if (event.kind == LiveEventKind::saveFailed)
        line += "; changes are not saved (retrying)";
    if (!event.keptAs.empty())
        line += "; the damaged file is kept as " + event.keptAs;
    line += '\n';
    // In one write, so that lines do not mix, and not through a stream, because initialising the streams takes
    // noticeable time in short programs.
    static_cast<void>(std::fwrite(line.data(), 1, line.size(), stderr)); // there is nowhere else to report to
}

} // namespace

Events::Events(std::function<void(LiveEvent const&)> onEvent)
    : _onEvent(onEvent ? std::move(onEvent) : print) {}

void Events::note(LiveEvent event) {
    constexpr std::size_t most = 100;
    std::lock_guard<std::mutex> const lock(_mutex);
    _all.push_back(event);
    if (_all.size() > most)
        _all.pop_front();
    _untold.push_back(std::move(event));
}

void Events::tell() {
    std::unique_lock<std::mutex> lock(_mutex);
    // If another thread is reporting, it reports the new events as well, so that calls never overlap.
    if (std::exchange(_isTelling, true))
        return;
    while (!_untold.empty()) {
        LiveEvent const event = std::move(_untold.front());
        _untold.pop_front();
        lock.unlock();
        try {
            _onEvent(event);
        } catch (...) { // NOLINT(bugprone-empty-catch): there is no caller to report it to
        }
        lock.lock();
    }
    _isTelling = false;
}

std::vector<LiveEvent> Events::all() const {
    std::lock_guard<std::mutex> const lock(_mutex);
    return {_all.begin(), _all.end()};
}

} // namespace velmorand::live
