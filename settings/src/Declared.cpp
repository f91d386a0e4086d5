// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Declared.h"

#include <algorithm>
#include <limits>
#include <map>
#include <mutex>
#include <tuple>

#include <pthread.h>

#include "Access.h"
#include "Declarations.h"

namespace velmorand {

namespace {

/** The state of a declaration while a thread replaces its value. */
constexpr std::uint64_t busy = std::numeric_limits<std::uint64_t>::max();

/** Never destroyed, for declarations that are static objects. */
struct List {
    struct Entry {
        std::uint64_t number;
        std::weak_ptr<detail::Declaration> declaration;
    };

    std::mutex mutex;
    std::map<detail::Declaration const*, Entry> entries;
    std::uint64_t declaredSoFar = 0;

    static List& instance() {
        static auto* const list = new List;
        return *list;
    }
};

// A child process destroys its declarations when it exits, even if another thread of its parent was at the list.
[[maybe_unused]] int const registered =
    ::pthread_atfork([] { List::instance().mutex.lock(); }, [] { List::instance().mutex.unlock(); },
                     [] { List::instance().mutex.unlock(); });

} // namespace

namespace detail {

Declaration::Declaration(std::string name) : _name(std::move(name)) {}

Declaration::~Declaration() {
    List& list = List::instance();
    std::lock_guard<std::mutex> const lock(list.mutex);
    list.entries.erase(this);
}

// The register changes only under its lock, and `fetch` notes its state under that lock together with the value. So a
// value belongs to its state for good: if the register is in the same state, the value is up to date. States only grow,
// and a thread that has seen one sees no earlier one after that. So if it has seen the effect of a change, all values
// from before it are out of date.
//
// The value and its state are two words. They are replaced while the state says "busy": a reader that gets the new value
// also sees that state, or a later one, when it looks at the state again.

Recalled Declaration::recall() const noexcept {
    std::uint64_t const state = _state.load(std::memory_order_acquire);
    std::uint64_t const bits = _bits.load(std::memory_order_acquire);
    return {bits, state == registerState.load(std::memory_order_relaxed) &&
                      state == _state.load(std::memory_order_relaxed)};
}

void Declaration::remember(std::uint64_t state, std::uint64_t bits) noexcept {
    std::uint64_t current = _state.load(std::memory_order_relaxed);
    // Another thread that is at it, or has been, makes this one's value superfluous.
    if (current >= state || !_state.compare_exchange_strong(current, busy, std::memory_order_acquire))
        return;
    _bits.store(bits, std::memory_order_release);
    _state.store(state, std::memory_order_release);
}

void declare(std::shared_ptr<Declaration> const& declaration) {
    List& list = List::instance();
    std::lock_guard<std::mutex> const lock(list.mutex);
    list.entries.insert({declaration.get(), {list.declaredSoFar++, declaration}});
}

} // namespace detail

std::vector<std::shared_ptr<detail::Declaration>> declarations() {
    std::vector<std::tuple<std::uint64_t, std::shared_ptr<detail::Declaration>>> alive;
    {
        List& list = List::instance();
        std::lock_guard<std::mutex> const lock(list.mutex);
        for (auto const& [address, entry] : list.entries)
            if (auto declaration = entry.declaration.lock())
                alive.emplace_back(entry.number, std::move(declaration));
    }
    std::sort(alive.begin(), alive.end());
    std::map<std::string, std::shared_ptr<detail::Declaration>> byName;
    for (auto& [number, declaration] : alive)
        byName.insert({declaration->name(), std::move(declaration)});
    std::vector<std::shared_ptr<detail::Declaration>> result;
    for (auto& [name, declaration] : byName)
        result.push_back(std::move(declaration));
    return result;
}

} // namespace velmorand
