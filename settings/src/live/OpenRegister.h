// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <utils/properties/Register.h>

#include "Synchroniser.h"

namespace velmorand::live {

/**
 * Creates the register for live settings, with the content of `files`. The register itself does not load or save any
 * files. If earlier live settings have created it, its content is replaced, and listeners are notified of the
 * differences.
 * Errors: `utils::Exception` if the register is already in use without live settings.
 * Locks: takes the register's lock.
 */
[[nodiscard]] utils::properties::_Register* openRegister(Files const& files,
                                                         std::string const& globalDirectory, void* sender);

} // namespace velmorand::live
