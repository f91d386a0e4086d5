// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <vector>

#include "velmorand/Declared.h"

namespace velmorand {

/** The declarations that are alive, in byte order of their names, of each name the first. Locks: one of its own. */
[[nodiscard]] std::vector<std::shared_ptr<detail::Declaration>> declarations();

} // namespace velmorand
