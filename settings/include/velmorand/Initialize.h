// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "velmorand/Export.h"

namespace velmorand {

/**
 * Opens the register: loads the administrator's settings from `globalDirectory` and the user's from `userDirectory`,
 * both UTF-8. It must be the first use of the settings in the process: an earlier use, even creating a listener, opens
 * the register without its files, and this call then overwrites the user's file with the settings in memory.
 *
 * The user's settings are saved to `userDirectory` by this call, by `saveSettings`, and when the process exits. The
 * directory must exist: otherwise nothing is saved, and no error is reported at exit. A global directory without a
 * register file is allowed.
 *
 * Errors: `utils::Exception` if a register file cannot be opened or is damaged, with its path; if a `LiveSettings`
 * exists; and if the settings cannot be used any more, because the process is exiting or was forked while a thread held
 * their lock. In these cases nothing has been opened, and the call may be repeated.
 * Locks: call it before other threads use the settings.
 *
 * Guide: docs/register.md#without-live-settings.
 */
VELMORAND_SETTINGS_EXPORT void initialize(std::string const& globalDirectory,
                                          std::string const& userDirectory);

} // namespace velmorand
