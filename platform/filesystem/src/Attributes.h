// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace filesystem {

/** Whether an open file has an access control list; true if that cannot be determined. */
[[nodiscard]] bool hasAccessList(int file);

/**
 * Removes the access control list of an open file. A new file may have inherited one from its directory.
 * Result: false if the list could not be removed.
 */
[[nodiscard]] bool removeAccessList(int file);

/**
 * Copies the access control list of the open file `from` to the new, open file `to`; removes that of `to` if `from` has
 * none.
 * Result: false on failure; `to` then has no list, or the list that it has inherited.
 */
[[nodiscard]] bool copyAccessList(int from, int to);

/**
 * Copies the other extended attributes of the open file `from` to the open file `to`, except those that this
 * process may not set and those that the system computes from the content.
 * Result: false if an access control list of another kind was not copied.
 */
[[nodiscard]] bool copyOtherAttributes(int from, int to);

} // namespace filesystem
