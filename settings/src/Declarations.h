// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "velmorand/Declared.h"

namespace velmorand {

/** What a declaration holds, whatever its type. */
struct detail::Declaration::State {
    std::string const name;
    Fallback const fallback;
    std::size_t const keptSize; ///< of a value that is kept; 0 if it is not

    // The value that was read last, and the register's state then: see Recall.h.
    std::atomic<std::uint64_t> state{0};
    std::atomic<std::uint64_t> bits{0};
};

/**
 * Calls `use` for each declaration that is alive, in byte order of their names; of those with one name, for the first.
 *
 * Locks: takes the settings' lock for each in turn, and holds it while `use` runs; a declaration that another thread is
 * about to destroy lives until then. A thread that holds the settings' lock never waits for that: no declaration is in
 * use by another thread then.
 */
void eachDeclaration(std::function<void(detail::Declaration const&)> const& use);

} // namespace velmorand
