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

/** Never destroyed: static objects of any age may ask. */
Holder& holder() {
    static auto* const only = new Holder;
    return *only;
}

/** The register was made before this was registered, and so is destroyed after it has run. */
void endAtExit() {
    if (auto const current = Current::get())
        current->end();
}

// Made when the library is loaded. The child of a fork exits too, and must not find the holder locked for good by a
// thread that it does not have.
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
    std::shared_ptr<Current> left; // destroyed without the lock
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
