// SPDX-License-Identifier: Apache-2.0
#include "Lifetimes.h"

#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include <pthread.h>

#include "filesystem/Lifetime.h"

namespace filesystem {

namespace {

using Callbacks = std::vector<void (*)()>;

struct Life {
    std::uint64_t number; ///< how many file systems had been created before this one
    Callbacks callbacks;
};

struct Living {
    std::mutex mutex;
    std::map<RAMFileSystem const*, Life> fileSystems;
    std::uint64_t made = 0;
};

Living& living() {
    static Living& list = *new Living; // never destroyed
    return list;
}

/**
 * Creates the list, and registers handlers that hold its mutex during a fork, so that the child finds it free. Runs
 * when the library is loaded, because at the first use another thread could be forking, and a failure for lack of
 * memory would make it run a second time.
 */
int prepareForForks() {
    static_cast<void>(living());
    return ::pthread_atfork([] { living().mutex.lock(); }, [] { living().mutex.unlock(); },
                            [] { living().mutex.unlock(); });
}

[[maybe_unused]] int const heldDuringForks = prepareForForks();

} // namespace

void lifetimes::begin(RAMFileSystem const* fileSystem) {
    Living& list = living();
    std::lock_guard<std::mutex> const lock(list.mutex);
    list.fileSystems.try_emplace(fileSystem, Life{list.made, {}});
    ++list.made;
}

void lifetimes::end(RAMFileSystem const* fileSystem) noexcept {
    Living& list = living();
    Callbacks callbacks;
    {
        std::lock_guard<std::mutex> const lock(list.mutex);
        auto const found = list.fileSystems.find(fileSystem);
        callbacks = std::move(found->second.callbacks);
        list.fileSystems.erase(found);
    }
    for (auto const callback : callbacks)
        callback();
}

bool callAtEnd(RAMFileSystem const* fileSystem, void (*ended)()) {
    Living& list = living();
    std::lock_guard<std::mutex> const lock(list.mutex);
    auto const found = list.fileSystems.find(fileSystem);
    if (found == list.fileSystems.end())
        return false;
    found->second.callbacks.push_back(ended);
    return true;
}

std::uint64_t madeSoFar() {
    Living& list = living();
    std::lock_guard<std::mutex> const lock(list.mutex);
    return list.made;
}

std::uint64_t numberOf(RAMFileSystem const* fileSystem) {
    Living& list = living();
    std::lock_guard<std::mutex> const lock(list.mutex);
    return list.fileSystems.at(fileSystem).number;
}

} // namespace filesystem
