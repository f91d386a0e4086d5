// SPDX-License-Identifier: Apache-2.0
#include "Watch.h"

#include <cerrno>
#include <filesystem>
#include <ostream>
#include <system_error>

#include <poll.h>

#include <filesystem/FileWatch.h>

#include "Changes.h"
#include "Failure.h"
#include "Text.h"

namespace tool {

namespace {

using filesystem::FileWatch;

constexpr int moment = 100; // milliseconds to wait for the rest of a file

Failure cannotWatch(std::string const& path, int error) {
    return {Status::fileTrouble, "cannot watch " + path + ": " + std::generic_category().message(error)};
}

/** Waits until a file may have changed. Result: false if it has not within `milliseconds`. */
bool isChanged(FileWatch& changes, RegisterFile const& file, int milliseconds) {
    ::pollfd waiting{changes.descriptor(), POLLIN, 0};
    int const count = ::poll(&waiting, 1, milliseconds);
    if (count < 0 && errno != EINTR)
        throw cannotWatch(file.path(), errno);
    bool const isChanged = count > 0 && changes.takeEvents();
    if (!changes.isWatching())
        throw cannotWatch(file.path(), errno);
    return isChanged;
}

} // namespace

void watch(RegisterFile const& file, std::ostream& out) {
    std::error_code lost;
    std::filesystem::path const path = std::filesystem::absolute(file.path(), lost);
    if (lost) // the working directory has been removed
        throw cannotWatch(file.path(), lost.value());
    FileWatch changes({path.string()});
    if (!changes.isWatching())
        throw cannotWatch(file.path(), errno);
    Settings before;
    file.load(before);
    bool isNews = false;
    for (;;) {
        while (!isNews)
            isNews = isChanged(changes, file, -1);
        isNews = false;
        try {
            Settings after;
            file.load(after);
            printChanges(before, after, out);
            before = std::move(after);
        } catch (Failure const& damage) {
            // If the file is still being written in place, another event follows.
            isNews = isChanged(changes, file, moment);
            if (!isNews)
                complain(damage.what());
        }
        if (!out.flush())
            throw Failure(Status::fileTrouble, "cannot write to standard output");
    }
}

} // namespace tool
