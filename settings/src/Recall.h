// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>

#include "velmorand/Declared.h"

/**
 * How a declaration caches a value without a lock: in two words, the value and the state of the register in which it
 * was read. `Word` is an atomic variable, or a model of one.
 *
 * The register changes only under its lock, and the state and the value are read together under that lock. So each
 * value belongs to one state: as long as the register is in that state, the value is up to date. States only increase,
 * and a thread that has seen a state never sees an earlier one. So once a thread has seen the effect of a change, it
 * treats every value from before the change as out of date.
 *
 * A reader loads the state first and then the value, so the value belongs to that state or to a later one. If it
 * belongs to a later one, the reader's load of the register's state also returns a later one, and the value is
 * rejected.
 *
 * While a writer replaces the two words, the state is "busy". So there is only one writer at a time, and it stores only
 * later states.
 */
namespace velmorand::detail {

/** The state word while a thread replaces the value. */
constexpr std::uint64_t busy = std::numeric_limits<std::uint64_t>::max();

template <class Word>
Recalled recallFrom(Word const& keptState, Word const& keptBits, Word const& registerState) {
    std::uint64_t const state = keptState.load(std::memory_order_acquire);
    std::uint64_t const bits = keptBits.load(std::memory_order_acquire);
    return {bits, state == registerState.load(std::memory_order_relaxed)};
}

template <class Word>
void rememberIn(Word& keptState, Word& keptBits, std::uint64_t state, std::uint64_t bits) {
    std::uint64_t current = keptState.load(std::memory_order_relaxed);
    // Another thread is storing, or has stored, a value at least as new.
    if (current >= state || !keptState.compare_exchange_strong(current, busy, std::memory_order_acquire))
        return;
    keptBits.store(bits, std::memory_order_release);
    keptState.store(state, std::memory_order_release);
}

} // namespace velmorand::detail
