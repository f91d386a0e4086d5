// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "velmorand/Declared.h"

namespace velmorand {

/** The parts of a declaration that do not depend on its type. */
struct detail::Declaration::State {
    std::string const name;
    Fallback const fallback;
    std::size_t const keptSize; ///< the size of a cached value in bytes; 0 if values are not cached

    // The value that was read last, and the register's state then: see Recall.h.
    std::atomic<std::uint64_t> state{0};
    std::atomic<std::uint64_t> bits{0};
};

/**
 * Calls `use` for each live declaration, in byte order of their names; if a name is declared more than once, only for
 * the declaration made first.
 *
 * Locks: takes the settings' lock for one declaration at a time, while `use` runs. A thread that destroys the
 * declaration meanwhile waits until `use` returns. If that thread holds the settings' lock, it never waits: no `use` is
 * then running in another thread.
 */
void eachDeclaration(std::function<void(detail::Declaration const&)> const& use);

} // namespace velmorand
