// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "velmorand/Declared.h"

namespace velmorand {

/**
 * Calls `use` for each declaration that is alive, in byte order of their names; of those with one name, for the first.
 *
 * Locks: takes the settings' lock for each in turn, and holds it while `use` runs; a declaration that another thread is
 * about to destroy lives until then. A thread that holds the settings' lock never waits for that: no declaration is in
 * use by another thread then.
 */
void eachDeclaration(std::function<void(detail::Declaration const&)> const& use);

} // namespace velmorand
