// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <cstddef>
#include <string_view>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace filesystem {

/** Makes a system call that reports failure as -1, and repeats it while signals interrupt it. */
template <class Call>
auto retried(Call call) {
    for (;;) {
        auto const result = call();
        if (result != -1 || errno != EINTR)
            return result;
    }
}

/** Whether this is a regular file; otherwise `errno` has the reason. */
inline bool isRegular(struct stat const& status) noexcept {
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return S_ISREG(status.st_mode);
}

/** Gets the status of an open file. False if the system reports an error. */
inline bool isExamined(int file, struct stat& status) {
    return retried([&] { return ::fstat(file, &status); }) == 0;
}

/** Owns at most one file descriptor. */
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) noexcept : _number(number) {}
    Descriptor(Descriptor&& other) noexcept : _number(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(_number, other._number);
        return *this;
    }
    ~Descriptor() { close(); }

    [[nodiscard]] bool isOpen() const noexcept { return _number >= 0; }
    [[nodiscard]] int number() const noexcept { return _number; }

    /** Transfers the descriptor to the caller. */
    [[nodiscard]] int release() noexcept { return std::exchange(_number, -1); }

    /**
     * Closes the descriptor, if there is one. False if the system reports an error; the descriptor is closed
     * nevertheless. An interruption does not count as an error, since Linux has closed the descriptor by then.
     */
    bool close() noexcept { return !isOpen() || ::close(release()) == 0 || errno == EINTR; }

private:
    int _number = -1;
};

/**
 * Occupies the descriptor numbers of standard streams that the program has closed, until destruction. Otherwise a file
 * opened meanwhile could get such a number, and the program would access that file through the stream.
 * Locks: holds a mutex of the process until destruction. No other lock is taken under it.
 */
class StandardStreams {
public:
    static constexpr int firstFree = STDERR_FILENO + 1;

    StandardStreams();
    StandardStreams(StandardStreams const&) = delete;
    StandardStreams& operator=(StandardStreams const&) = delete;
    ~StandardStreams();

    /** False if the system had no descriptors left; `errno` has the reason. */
    [[nodiscard]] bool areTaken() const noexcept { return _taken; }

private:
    Descriptor _placeholders[firstFree];
    bool _taken = false;
};

/** Another descriptor for an open file, with a number of at least `lowest`. */
[[nodiscard]] Descriptor duplicated(int file, int lowest = StandardStreams::firstFree);

/**
 * Makes the system call `open`, which returns a new descriptor, and ensures that its number is not that of a standard
 * stream. The library opens everything through this function.
 * Result: a descriptor that is not open on failure; `errno` has the reason.
 */
template <class Open>
[[nodiscard]] Descriptor opened(Open open) {
    StandardStreams const streams;
    Descriptor file(streams.areTaken() ? retried(open) : -1);
    // A number may have become free since the check, if the C library has used it briefly in another thread.
    return file.isOpen() && file.number() < StandardStreams::firstFree ? duplicated(file.number())
                                                                       : std::move(file);
}

/**
 * Writes all of `bytes` to an open file, at `position`. At the process's limit on file sizes it fails with EFBIG,
 * before the system sends SIGXFSZ, which by default kills the process.
 * Result: the number of bytes written; if it is smaller than asked for, `errno` has the reason.
 */
std::size_t writeAt(int file, std::string_view bytes, ::off_t position);

} // namespace filesystem
