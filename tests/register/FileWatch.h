// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

#include <sys/inotify.h>
#include <unistd.h>

/**
 * Counts the events of one file of a directory, caused by any process, without waiting: an event is in the queue before
 * the call that caused it returns.
 */
class FileWatch {
public:
    FileWatch(std::string const& directory, std::string file)
        : _queue(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)), _file(std::move(file)) {
        if (_queue < 0 || ::inotify_add_watch(_queue, directory.c_str(),
                                              IN_MOVED_TO | IN_CREATE | IN_OPEN | IN_CLOSE_NOWRITE) < 0)
            throw std::runtime_error("cannot watch " + directory);
    }
    FileWatch(FileWatch const&) = delete;
    FileWatch& operator=(FileWatch const&) = delete;
    ~FileWatch() { ::close(_queue); }

    /** The number of times that a file was moved to the name or created under it. */
    int replacements() {
        update();
        return _replacements;
    }

    /** The number of times that the file was opened for reading and closed. */
    int readings() {
        update();
        return _readings;
    }

private:
    void update() {
        alignas(::inotify_event) std::array<char, 4096> events{};
        for (::ssize_t size = 0; (size = ::read(_queue, events.data(), events.size())) > 0;) {
            ::inotify_event event{};
            for (char const* next = events.data(); next < events.data() + size;) {
                std::memcpy(&event, next, sizeof event);
                count(event.mask, event.len == 0 ? "" : next + sizeof event);
                next += sizeof event + event.len;
            }
        }
    }

    void count(std::uint32_t mask, std::string const& file) {
        if (file != _file)
            return;
        if ((mask & (IN_MOVED_TO | IN_CREATE)) != 0)
            ++_replacements;
        if ((mask & IN_CLOSE_NOWRITE) != 0)
            ++_readings;
    }

    int _queue;
    std::string _file;
    int _replacements = 0;
    int _readings = 0;
};
