// SPDX-License-Identifier: Apache-2.0
#include "Descriptor.h"

#include <mutex>

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>

namespace filesystem {

namespace {

/** Held while a descriptor is opened. No other lock is taken under it. */
std::mutex opening;

// Held during a fork: the child must find the mutex free, and the standard streams without placeholders.
[[maybe_unused]] int const handlers =
    ::pthread_atfork([] { opening.lock(); }, [] { opening.unlock(); }, [] { opening.unlock(); });

bool areOpen() {
    for (int stream = 0; stream < StandardStreams::firstFree; ++stream)
        if (::fcntl(stream, F_GETFD) < 0)
            return false;
    return true;
}

} // namespace

StandardStreams::StandardStreams() {
    opening.lock();
    _taken = areOpen();
    if (_taken)
        return;
    // The system assigns the lowest free number. Like a closed descriptor, one opened with O_PATH can be neither read
    // nor written.
    for (Descriptor& placeholder : _placeholders) {
        placeholder = Descriptor(retried([] { return ::open("/", O_PATH | O_CLOEXEC); }));
        if (placeholder.isOpen() && placeholder.number() < firstFree)
            continue;
        _taken = placeholder.isOpen();
        placeholder.close();
        return;
    }
    _taken = true;
}

StandardStreams::~StandardStreams() {
    for (Descriptor& placeholder : _placeholders)
        placeholder.close();
    opening.unlock();
}

Descriptor duplicated(int file, int lowest) {
    return Descriptor(retried([=] { return ::fcntl(file, F_DUPFD_CLOEXEC, lowest); }));
}

std::size_t writeAt(int file, std::string_view bytes, ::off_t position) {
    std::size_t moved = 0;
    while (moved < bytes.size()) {
        ::off_t const next = position + static_cast<::ssize_t>(moved);
        rlimit limit = {};
        if (::getrlimit(RLIMIT_FSIZE, &limit) == 0 && static_cast<rlim_t>(next) >= limit.rlim_cur) {
            errno = EFBIG;
            break;
        }
        errno = EIO; // if the system moves nothing without giving a reason
        auto const step =
            retried([&] { return ::pwrite(file, bytes.data() + moved, bytes.size() - moved, next); });
        if (step <= 0)
            break;
        moved += static_cast<std::size_t>(step);
    }
    return moved;
}

} // namespace filesystem
