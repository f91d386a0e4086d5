// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
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

/** Owns a file descriptor, or none. */
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
     * Closes the descriptor, if there is one. False when the system reports an error; the descriptor is gone
     * all the same. An interruption is no error: Linux has closed the descriptor by then.
     */
    bool close() noexcept { return !isOpen() || ::close(release()) == 0 || errno == EINTR; }

private:
    int _number = -1;
};

} // namespace filesystem
