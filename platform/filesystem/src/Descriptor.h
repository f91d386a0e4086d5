// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <cstddef>
#include <string_view>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace filesystem {

/** Makes a system call that reports failure as -1, again as long as a signal interrupts it. */
template <class Call>
auto retried(Call call) {
    for (;;) {
        auto const result = call();
        if (result != -1 || errno != EINTR)
            return result;
    }
}

/** Whether this is a file with content; `errno` says why when it is not. */
inline bool isRegular(struct stat const& status) noexcept {
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return S_ISREG(status.st_mode);
}

/** Looks at an open file. False when the system reports an error. */
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

    /** Hands the descriptor to the caller. */
    [[nodiscard]] int release() noexcept { return std::exchange(_number, -1); }

    /**
     * Closes the descriptor, if there is one. False when the system reports an error; the descriptor is closed
     * nevertheless. An interruption does not count as an error: Linux has closed the descriptor by then.
     */
    bool close() noexcept { return !isOpen() || ::close(release()) == 0 || errno == EINTR; }

private:
    int _number = -1;
};

/**
 * Takes the numbers of those standard streams that the program has closed, for as long as it lives, so that no
 * file opened meanwhile gets one of them: what the program then reads from or writes to the stream would be
 * that file's content.
 * Locks: one for the whole process, which no other is locked under, until destruction.
 */
class StandardStreams {
public:
    static constexpr int firstFree = STDERR_FILENO + 1;

    StandardStreams();
    StandardStreams(StandardStreams const&) = delete;
    StandardStreams& operator=(StandardStreams const&) = delete;
    ~StandardStreams();

    /** False when the system had no descriptors left; `errno` says why. */
    [[nodiscard]] bool areTaken() const noexcept { return _taken; }

private:
    Descriptor _placeholders[firstFree];
    bool _taken = false;
};

/** A second descriptor of an open file, with a number of at least `lowest`. */
[[nodiscard]] Descriptor duplicated(int file, int lowest = StandardStreams::firstFree);

/**
 * Makes the system call `open`, which opens a descriptor, such that its number is not that of a standard
 * stream. Everything that the library opens is opened here.
 * Result: not open on failure; `errno` says why.
 */
template <class Open>
[[nodiscard]] Descriptor opened(Open open) {
    StandardStreams const streams;
    Descriptor file(streams.areTaken() ? retried(open) : -1);
    // Another thread may have closed such a number since: the C library opens files of its own, for a moment.
    return file.isOpen() && file.number() < StandardStreams::firstFree ? duplicated(file.number())
                                                                       : std::move(file);
}

/**
 * Writes all of `bytes` to an open file, from `position` on. At the process's limit on file sizes it fails with
 * EFBIG; the system would send SIGXFSZ, which ends a process that does not expect it.
 * Result: the bytes moved; when they are fewer, `errno` says why.
 */
std::size_t writeAt(int file, std::string_view bytes, ::off_t position);

} // namespace filesystem
