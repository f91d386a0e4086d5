// SPDX-License-Identifier: Apache-2.0
//
// Changes of a file while its watch is being set up. The program intercepts the system calls that do so, and makes a
// change before or after one of them.
#include <filesystem>
#include <functional>

#include <dlfcn.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <filesystem/FileWatch.h>

#include "DiskSupport.h"

namespace {

/** An action to be run before or after the `left`th call from now on. */
struct Interruption {
    int left;
    bool isAfter;
    std::function<void()> action;
};

Interruption* interruption = nullptr;

template <class Call>
auto interrupted(Call&& call) {
    Interruption* const now = interruption;
    bool const isNow = now != nullptr && --now->left == 0;
    if (isNow)
        interruption = nullptr; // the action makes such calls itself
    if (isNow && !now->isAfter)
        now->action();
    auto const result = call();
    int const error = errno;
    if (isNow && now->isAfter)
        now->action();
    errno = error;
    return result;
}

template <class Function>
Function* original(char const* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

int inotify_add_watch(int events, char const* path, uint32_t mask) noexcept {
    static auto* const system = original<decltype(inotify_add_watch)>("inotify_add_watch");
    return interrupted([&] { return system(events, path, mask); });
}

ssize_t readlink(char const* path, char* target, size_t size) noexcept {
    static auto* const system = original<decltype(readlink)>("readlink");
    return interrupted([&] { return system(path, target, size); });
}

} // extern "C"

namespace {

using namespace support;
using filesystem::FileWatch;
namespace disk = std::filesystem;

/** A file in one directory, and one of the same name in another. */
class WatchingFromTheStart : public OnDisk {
protected:
    void prepare() const {
        disk::remove_all(at("work"));
        for (char const* const path : {"work", "work/one", "work/two"})
            disk::create_directory(at(path));
        for (char const* const path : {"work/one/file", "work/two/file"})
            putFile(at(path), "first");
    }

    /** Creates a link and moves it to `place`, replacing any existing file. */
    void link(std::string const& target, std::string const& place) const {
        disk::create_symlink(target, at("work/link"));
        disk::rename(at("work/link"), at(place));
    }

    /** Whether the watch of `path` eventually notices that the file at `path` is replaced. */
    bool isWatched(FileWatch& watch, std::string const& path) const {
        while (isReadable(watch))
            watch.takeEvents();
        putFile(at("new"), "other");
        disk::rename(at("new"), disk::canonical(at(path)));
        return isReadable(watch) && watch.takeEvents();
    }

    static bool isReadable(FileWatch const& watch) {
        ::pollfd waiting{watch.descriptor(), POLLIN, 0};
        return ::poll(&waiting, 1, 0) > 0;
    }

    /** Interrupts the set-up of a watch of `path` at each of its calls. */
    void expectWatched(std::string const& path, std::function<void()> const& before,
                       std::function<void()> const& action) {
        for (bool const isAfter : {false, true}) {
            bool isInterrupted = true;
            for (int call = 1; isInterrupted; ++call) {
                prepare();
                before();
                Interruption now{call, isAfter, action};
                interruption = &now;
                FileWatch watch({at(path)});
                isInterrupted = std::exchange(interruption, nullptr) == nullptr;
                if (!isInterrupted)
                    action();
                EXPECT_TRUE(isWatched(watch, path)) << (isAfter ? "after call " : "before call ") << call;
            }
        }
    }
};

} // namespace

TEST_F(WatchingFromTheStart, FollowsAFileThatBecomesALink) {
    expectWatched(
        "work/one/file", [] {}, [this] { link(at("work/two/file"), "work/one/file"); });
}

TEST_F(WatchingFromTheStart, FollowsALinkToTheFileThatIsRepointed) {
    expectWatched(
        "work/file", [this] { link("one/file", "work/file"); }, [this] { link("two/file", "work/file"); });
}

TEST_F(WatchingFromTheStart, FollowsALinkThatBecomesAFile) {
    expectWatched(
        "work/file", [this] { link("one/file", "work/file"); },
        [this] { disk::rename(at("work/two/file"), at("work/file")); });
}

TEST_F(WatchingFromTheStart, FollowsADirectoryThatBecomesALink) {
    expectWatched(
        "work/one/file", [] {},
        [this] {
            disk::rename(at("work/one"), at("work/old"));
            link("two", "work/one");
        });
}

TEST_F(WatchingFromTheStart, FollowsALinkToTheDirectoryThatIsRepointed) {
    expectWatched(
        "work/three/file", [this] { link("one", "work/three"); }, [this] { link("two", "work/three"); });
}

TEST_F(WatchingFromTheStart, FollowsADirectoryThatIsCreated) {
    expectWatched(
        "work/three/file", [] {}, [this] { disk::rename(at("work/two"), at("work/three")); });
}
