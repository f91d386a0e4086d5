// SPDX-License-Identifier: Apache-2.0
#include "Worker.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <optional>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <utils/Exception.h>

#include "Limits.h"

namespace velmorand::live {

namespace {

using Clock = std::chrono::steady_clock;

/** An event that threads wait for. Its number is above those of the standard streams. */
int makeEvent() {
    int const low = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (low < 0 || low > STDERR_FILENO)
        return low;
    int const high = ::fcntl(low, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::close(low);
    return high;
}

/** How long to wait in poll for a moment, at least; without one for ever. */
int milliseconds(std::optional<Clock::time_point> until) {
    if (!until)
        return -1;
    auto const left = std::chrono::ceil<std::chrono::milliseconds>(*until - Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, 3'600'000));
}

/** Keeps signals away from a thread that is started in its lifetime: the program's handlers are for its own. */
class SignalsBlocked {
public:
    SignalsBlocked() {
        ::sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &_before);
    }
    SignalsBlocked(SignalsBlocked const&) = delete;
    SignalsBlocked& operator=(SignalsBlocked const&) = delete;
    ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &_before, nullptr); }

private:
    ::sigset_t _before{};
};

} // namespace

Worker::Worker(std::vector<std::string> files, std::chrono::milliseconds delay, std::function<bool()> isNews,
               std::function<bool(GiveUp const&)> synchronise)
    : _files(std::move(files)), _delay(std::min(delay, longestDelay)), _isNews(std::move(isNews)),
      _synchronise(std::move(synchronise)), _process(::getpid()), _wake(makeEvent()) {
    if (_wake < 0)
        throw utils::Exception("cannot share the settings: " + std::generic_category().message(errno));
    SignalsBlocked const blocked;
    // Not a `std::thread`, which frees memory at its end: that would give the thread a heap of its own first.
    if (int const error = ::pthread_create(&_thread, nullptr, begin, this); error != 0) {
        ::close(_wake);
        throw utils::Exception("cannot share the settings: " + std::generic_category().message(error));
    }
}

Worker::~Worker() {
    stop();
    ::close(_wake);
}

void* Worker::begin(void* worker) noexcept {
    static_cast<Worker*>(worker)->run();
    return nullptr;
}

void Worker::wake() noexcept {
    if (::getpid() != _process) // the parent's event must not be touched
        return;
    _changedAt = Clock::now();
    std::uint64_t const one = 1;
    static_cast<void>(::write(_wake, &one, sizeof one) == 0); // if it is full it is awake
}

void Worker::stop() {
    _isStopping = true;
    if (std::exchange(_isStopped, true) || ::getpid() != _process) // a forked child has no such thread
        return;
    if (::pthread_equal(_thread, ::pthread_self()) != 0) {
        ::pthread_detach(_thread); // no thread waits for itself
        return;
    }
    wake();
    ::pthread_join(_thread, nullptr);
}

bool Worker::synchronise() const {
    try {
        return _synchronise([this] { return _isStopping.load(); });
    } catch (std::exception const&) { // no memory; there may be some later
        return false;
    }
}

/** Whether a file may have changed since it was read. This process's own writes do not count. */
bool Worker::mayBeNews() const {
    try {
        return _isNews();
    } catch (std::exception const&) { // no memory
        return true;
    }
}

/** Result: whether a file may have changed since it was read. */
bool Worker::beginWatch(std::unique_ptr<filesystem::FileWatch>& watch) const {
    try {
        watch = std::make_unique<filesystem::FileWatch>(_files);
    } catch (std::exception const&) { // no memory
        return true;
    }
    return mayBeNews();
}

void Worker::run() {
    std::unique_ptr<filesystem::FileWatch> watch;
    std::optional<Clock::time_point> watchFrom = Clock::now() + unwatched;
    std::optional<Clock::time_point> due;
    auto retry = firstRetry;
    while (!_isStopping) {
        std::array<::pollfd, 2> waiting{{{_wake, POLLIN, 0}, {watch ? watch->descriptor() : -1, POLLIN, 0}}};
        auto const until = due && watchFrom ? std::min(due, watchFrom) : due ? due : watchFrom;
        if (::poll(waiting.data(), waiting.size(), milliseconds(until)) < 0 && errno != EINTR)
            return;
        std::uint64_t count = 0;
        if (::read(_wake, &count, sizeof count) > 0 && !due)
            due = _changedAt.load() + _delay;
        bool isNews = waiting[1].revents != 0 && watch->takeEvents() && mayBeNews();
        if (watchFrom && Clock::now() >= *watchFrom && !_isStopping) {
            isNews = beginWatch(watch);
            watchFrom.reset();
        }
        if (_isStopping || (!isNews && (!due || Clock::now() < *due)))
            continue;
        due.reset();
        if (synchronise()) {
            retry = firstRetry;
        } else {
            due = Clock::now() + retry;
            retry = std::min(2 * retry, lastRetry);
        }
    }
}

} // namespace velmorand::live
