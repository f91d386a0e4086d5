// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <utils/properties/Register.h>

#include "Synchroniser.h"

namespace velmorand::live {

/**
 * Makes the register for live settings: it loads and saves no files of its own, and holds what was read of them.
 * If earlier live settings have made it, it gets what the files hold now, and listeners hear what differs.
 * Errors: `utils::Exception` if it has been used in another way.
 * Locks: takes the register's lock.
 */
[[nodiscard]] utils::properties::_Register* openRegister(Files const& files,
                                                         std::string const& globalDirectory, void* sender);

} // namespace velmorand::live
