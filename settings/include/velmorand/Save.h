// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "velmorand/Export.h"

/** Saving now, with a result to show to the user. */
namespace velmorand {

/** The result of a save. */
struct SaveResult {
    bool saved;         ///< whether the file holds the settings and survives a power failure
    std::string reason; ///< if not: the file and the system's reason; empty after a successful save
};

/**
 * Saves the user's settings, replacing the register file in one step. A failed save leaves the file as it was;
 * if only the last step failed, making the replacement durable, the new file is in place but may be lost in a
 * power failure.
 *
 *     if (SaveResult const result = saveSettings(); !result.saved)
 *         std::cerr << "settings not saved: " << result.reason << '\n';
 *
 * Errors: only those of opening the register, if nothing has opened it yet; every failure of the save itself is
 * in the result, as is a call after the register's end, while the process exits.
 * With live settings it does what `LiveSettings::sync` does.
 * Locks: takes the settings' lock to copy one moment's settings, and gives it back before it waits for the disk.
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT SaveResult saveSettings();

} // namespace velmorand
