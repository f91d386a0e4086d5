// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <vector>

#include "velmorand/LiveSettings.h"

namespace velmorand::live {

/** What has happened to the files: noted where it happens, told where no lock is held. */
class Events {
public:
    explicit Events(std::function<void(LiveEvent const&)> onEvent);

    /** Notes an event. Locks: one of its own, for a moment. */
    void note(LiveEvent event);

    /** Tells the events noted so far, one at a time. Locks: none that the listener could wait for. */
    void tell();

    [[nodiscard]] std::vector<LiveEvent> all() const;

private:
    std::function<void(LiveEvent const&)> const _onEvent;
    mutable std::mutex _mutex;
    std::deque<LiveEvent> _all;
    std::deque<LiveEvent> _untold;
    bool _isTelling = false;
};

} // namespace velmorand::live
