// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "velmorand/Export.h"

/**
 * Saves on request, with a result that can be shown to the user.
 *
 * Guide: docs/register.md#without-live-settings.
 */
namespace velmorand {

/** The result of a save. */
struct SaveResult {
    bool saved; ///< whether the settings are in the file, durably
    std::string
        reason; ///< why it is not saved: the file and the system's reason; empty after a successful save
};

/**
 * Saves the user's settings, replacing the register file atomically. A failed save leaves the old file in place, unless
 * only the last step failed: then the new file is in place, but may be lost in a power failure.
 *
 *     if (SaveResult const result = saveSettings(); !result.saved)
 *         std::cerr << "settings not saved: " << result.reason << '\n';
 *
 * With live settings it does the same as `LiveSettings::sync`. After the register's end, while the process exits, it
 * fails.
 * Errors: only those of opening the register, if it has not been opened yet. Failures of the save itself are in the
 * result.
 * Locks: takes the settings' lock while it copies the settings, and releases it before it waits for the disk.
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT SaveResult saveSettings();

} // namespace velmorand
