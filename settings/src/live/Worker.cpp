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

/** Creates an eventfd whose number is not that of a standard stream. */
int makeEvent() {
    int const low = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (low < 0 || low > STDERR_FILENO)
        return low;
    int const high = ::fcntl(low, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::close(low);
    return high;
}

/** The timeout for poll until a point in time, rounded up; without one, forever. */
int milliseconds(std::optional<Clock::time_point> until) {
    if (!until)
        return -1;
    auto const left = std::chrono::ceil<std::chrono::milliseconds>(*until - Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, 3'600'000));
}

/** Blocks all signals in a thread that is started meanwhile: the program's handlers must run on its own threads. */
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
    // Not a `std::thread`, because that frees memory in the new thread, and the allocator would set up an arena for the
    // thread just to do this.
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
    if (::getpid() != _process) // the event belongs to the parent
        return;
    _changedAt = Clock::now();
    std::uint64_t const one = 1;
    static_cast<void>(::write(_wake, &one, sizeof one) == 0); // fails only if full: the worker has been woken
}

void Worker::stop() {
    _isStopping = true;
    if (std::exchange(_isStopped, true) || ::getpid() != _process) // a child does not have the thread
        return;
    if (::pthread_equal(_thread, ::pthread_self()) != 0) {
        ::pthread_detach(_thread); // a thread cannot join itself
        return;
    }
    wake();
    ::pthread_join(_thread, nullptr);
}

bool Worker::synchronise() const {
    try {
        return _synchronise([this] { return _isStopping.load(); });
    } catch (std::exception const&) { // out of memory; tried again later
        return false;
    }
}

/** Whether another process may have changed a file since it was read. */
bool Worker::mayBeNews() const {
    try {
        return _isNews();
    } catch (std::exception const&) { // out of memory
        return true;
    }
}

/** Starts watching the files. Result: whether a file may have changed since it was read. */
bool Worker::beginWatch(std::unique_ptr<filesystem::FileWatch>& watch) const {
    try {
        watch = std::make_unique<filesystem::FileWatch>(_files);
    } catch (std::exception const&) { // out of memory
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
