// SPDX-License-Identifier: Apache-2.0
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>

#include <pthread.h>
#include <unistd.h>

#include "Names.h"
#include "Notifying.h"
#include "velmorand/Listener.h"

namespace velmorand {

namespace {

/** Guards all queues. Held during a fork, so that the child finds it free, and every queue consistent. */
std::mutex queuesMutex;

[[maybe_unused]] int const queuesHeldDuringForks =
    ::pthread_atfork([] { queuesMutex.lock(); }, [] { queuesMutex.unlock(); }, [] { queuesMutex.unlock(); });

} // namespace

/** The names that have not been delivered yet. Outlives the listener until a running delivery has ended. */
class QueuedListener::Queue : public std::enable_shared_from_this<Queue> {
public:
    /** Without a handler the executor only wakes the receiver, which calls `deliver`. */
    Queue(Executor executor, Handler handler)
        : _executor(std::move(executor)), _handler(std::move(handler)) {}

    void add(std::string const& name) {
        if (!insert(name))
            return;
        try {
            _executor([weak = weak_from_this()] {
                if (auto const queue = weak.lock())
                    queue->run();
            });
        } catch (...) {
            sleep(); // the receiver was not woken; the next change tries again
            throw;
        }
    }

    [[nodiscard]] bool empty() const {
        std::lock_guard<std::mutex> const lock(queuesMutex);
        return _names.empty();
    }

    std::size_t deliver(Handler const& handle) {
        std::set<std::string> names = take();
        std::size_t count = 0;
        try {
            for (; !names.empty(); ++count)
                handle(names.extract(names.begin()).value());
        } catch (...) {
            std::lock_guard<std::mutex> const lock(queuesMutex);
            _names.merge(names);
            throw;
        }
        return count;
    }

    /** Ends delivery. On return, the handler is not running in any other thread, and is not called any more. */
    void close() {
        Handler released; // destroyed after the mutex has been unlocked
        std::unique_lock<std::mutex> lock(queuesMutex);
        _isClosed = true;
        _ended.wait(lock, [this] { return !isRunningElsewhere(); });
        if (_runs == nullptr)
            released.swap(_handler);
    }

private:
    /** A running task; lives on its thread's stack. */
    class Run {
    public:
        explicit Run(Queue& queue) : _queue(queue) {
            std::lock_guard<std::mutex> const lock(queuesMutex);
            outer = std::exchange(_queue._runs, this);
        }
        Run(Run const&) = delete;
        Run& operator=(Run const&) = delete;
        ~Run() {
            std::lock_guard<std::mutex> const lock(queuesMutex);
            Run** place = &_queue._runs;
            while (*place != this)
                place = &(*place)->outer;
            *place = outer;
            _queue._ended.notify_all();
        }

        Run* outer;
        std::thread::id const thread = std::this_thread::get_id();

    private:
        Queue& _queue;
    };

    void run() {
        Run const run(*this);
        if (!isOpen())
            return;
        for (std::string const& name : take())
            if (isOpen())
                callAndReport(name, "", [&] { _handler(name); });
    }

    [[nodiscard]] bool isOpen() const {
        std::lock_guard<std::mutex> const lock(queuesMutex);
        return !_isClosed;
    }

    /** Whether another thread is running a task. A forked child lacks the other threads of its parent. */
    [[nodiscard]] bool isRunningElsewhere() const {
        if (_process != ::getpid())
            return false;
        for (Run const* run = _runs; run != nullptr; run = run->outer)
            if (run->thread != std::this_thread::get_id())
                return true;
        return false;
    }

    /** Result: whether the receiver must be woken. */
    bool insert(std::string const& name) {
        std::lock_guard<std::mutex> const lock(queuesMutex);
        _names.insert(name);
        return !std::exchange(_isAwake, true);
    }

    void sleep() {
        std::lock_guard<std::mutex> const lock(queuesMutex);
        _isAwake = false;
    }

    std::set<std::string> take() {
        std::lock_guard<std::mutex> const lock(queuesMutex);
        _isAwake = false;
        return std::exchange(_names, {});
    }

    Executor const _executor;
    Handler _handler;
    ::pid_t const _process = ::getpid();
    std::set<std::string> _names;
    bool _isAwake = false; // whether the receiver was woken since it last took the names
    bool _isClosed = false;
    Run* _runs = nullptr; // in any order
    std::condition_variable _ended;
};

QueuedListener::QueuedListener(std::string const& key, Listener::Hears hears, Executor executor,
                               Handler handler, void* sender)
    : _queue(std::make_shared<Queue>(std::move(executor), std::move(handler))) {
    // A declared property is delivered under its clean name, no matter how its writer spelt it.
    if (hears == Listener::Hears::property)
        _listener = Listener(
            key, hears, [queue = _queue, name = cleanName(key)](std::string const&) { queue->add(name); },
            sender);
    else
        _listener = Listener(
            key, hears, [queue = _queue](std::string const& name) { queue->add(name); }, sender);
}

QueuedListener::QueuedListener(QueuedListener&& other) noexcept = default;

QueuedListener& QueuedListener::operator=(QueuedListener&& other) noexcept {
    QueuedListener old(std::move(other));
    std::swap(_queue, old._queue);
    std::swap(_listener, old._listener);
    return *this;
}

QueuedListener::~QueuedListener() {
    _listener = Listener();
    if (_queue)
        _queue->close();
}

bool QueuedListener::empty() const {
    return _queue->empty();
}

std::size_t QueuedListener::deliverTo(Handler const& handle) {
    auto const queue = _queue; // the handler may destroy this object
    return queue->deliver(handle);
}

} // namespace velmorand
