// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <vector>

#include "velmorand/LiveSettings.h"

namespace velmorand::live {

/** Events about the files: recorded when they happen, and reported later, when no lock is held. */
class Events {
public:
    explicit Events(std::function<void(LiveEvent const&)> onEvent);

    /** Records an event. Locks: only its own mutex, briefly. */
    void note(LiveEvent event);

    /** Reports the recorded events, one at a time. Locks: none while the callback runs. */
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
