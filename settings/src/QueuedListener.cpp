// SPDX-License-Identifier: Apache-2.0
#include <mutex>
#include <set>

#include "velmorand/Listener.h"

namespace velmorand {

/** The names collected so far. It outlives the listener while its names are being delivered. */
class QueuedListener::Queue {
public:
    explicit Queue(std::function<void()> wake) : _wake(std::move(wake)) {}

    void add(std::string const& name) {
        if (!insert(name))
            return;
        try {
            _wake();
        } catch (...) {
            sleep(); // nobody has been woken: the next change tries again
            throw;
        }
    }

    [[nodiscard]] bool empty() const {
        std::lock_guard<std::mutex> const lock(_mutex);
        return _names.empty();
    }

    std::size_t deliver(std::function<void(std::string const&)> const& handle) {
        std::set<std::string> names = take();
        std::size_t count = 0;
        try {
            for (; !names.empty(); ++count)
                handle(names.extract(names.begin()).value());
        } catch (...) {
            std::lock_guard<std::mutex> const lock(_mutex);
            _names.merge(names);
            throw;
        }
        return count;
    }

private:
    /** Result: whether somebody has to be woken. */
    bool insert(std::string const& name) {
        std::lock_guard<std::mutex> const lock(_mutex);
        _names.insert(name);
        return !std::exchange(_isAwake, true);
    }

    void sleep() {
        std::lock_guard<std::mutex> const lock(_mutex);
        _isAwake = false;
    }

    std::set<std::string> take() {
        std::lock_guard<std::mutex> const lock(_mutex);
        _isAwake = false;
        return std::exchange(_names, {});
    }

    std::function<void()> const _wake;
    mutable std::mutex _mutex;
    std::set<std::string> _names;
    bool _isAwake = false; // woken since the names were last taken
};

QueuedListener::QueuedListener(std::string const& key, std::function<void()> wake, void* sender,
                               Checked /*checked*/)
    : _queue(std::make_shared<Queue>(std::move(wake))),
      _listener(
          key, [queue = _queue](std::string const& name) { queue->add(name); }, sender) {}

QueuedListener::QueuedListener(QueuedListener&& other) noexcept = default;
QueuedListener& QueuedListener::operator=(QueuedListener&& other) noexcept = default;
QueuedListener::~QueuedListener() = default;

bool QueuedListener::empty() const {
    return _queue->empty();
}

std::size_t QueuedListener::deliverTo(std::function<void(std::string const&)> const& handle) {
    auto const queue = _queue; // the handler may destroy this object
    return queue->deliver(handle);
}

} // namespace velmorand
