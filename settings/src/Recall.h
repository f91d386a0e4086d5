// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>

#include "velmorand/Declared.h"

/**
 * How a declaration keeps a value without a lock: in two words, the value and the state of the register in which it was
 * read. `Word` is an atomic variable, or a model of one.
 *
 * The register changes only under its lock, and its state is noted under that lock together with the value. So a value
 * belongs to its state for good: if the register is in the same state, the value is up to date. States only grow, and a
 * thread that has seen one sees no earlier one after that. So if it has seen the effect of a change, all values from
 * before it are out of date.
 *
 * The two words are read one after the other, the state first: so the value is that of the state or a later one. If it
 * is a later one, this thread knows a later state by then, and the register is not in the earlier one any more.
 *
 * They are replaced by one thread at a time, while the state says "busy", and only by later ones.
 */
namespace velmorand::detail {

/** The state of a declaration while a thread replaces its value. */
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
