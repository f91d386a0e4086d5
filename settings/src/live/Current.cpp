// SPDX-License-Identifier: Apache-2.0
#include "Current.h"

#include <cstdlib>
#include <mutex>
#include <utility>

#include <pthread.h>

#include <utils/Exception.h>

namespace velmorand::live {

namespace {

struct Holder {
    std::mutex mutex;
    bool isTaken = false;
    std::shared_ptr<Current> current;
};

/** Never destroyed, because static objects may use it at any time during exit. */
Holder& holder() {
    static auto* const only = new Holder;
    return *only;
}

/** Runs before the register is destroyed, because it is registered after the register has been created. */
void endAtExit() {
    if (auto const current = Current::get())
        current->end();
}

// Created when the library is loaded. Locked during a fork: a child uses the holder when it exits, and must not find it
// locked by a thread that does not exist there.
[[maybe_unused]] int const holderHeldDuringForks = [] {
    static_cast<void>(holder());
    return ::pthread_atfork([] { holder().mutex.lock(); }, [] { holder().mutex.unlock(); },
                            [] { holder().mutex.unlock(); });
}();

} // namespace

std::shared_ptr<Current> Current::get() {
    std::lock_guard<std::mutex> const lock(holder().mutex);
    return holder().current;
}

void Current::leave() {
    std::shared_ptr<Current> left; // destroyed after the mutex has been unlocked
    std::lock_guard<std::mutex> const lock(holder().mutex);
    left = std::exchange(holder().current, nullptr);
    holder().isTaken = false;
}

Current::Place::Place() {
    std::lock_guard<std::mutex> const lock(holder().mutex);
    if (std::exchange(holder().isTaken, true))
        throw utils::Exception("this process already has a LiveSettings, and can have only one at a time");
}

Current::Place::~Place() {
    if (!_isFilled)
        leave();
}

void Current::Place::fill(std::shared_ptr<Current> current) {
    static int const isRegistered = std::atexit(endAtExit);
    static_cast<void>(isRegistered);
    std::lock_guard<std::mutex> const lock(holder().mutex);
    holder().current = std::move(current);
    _isFilled = true;
}

} // namespace velmorand::live
