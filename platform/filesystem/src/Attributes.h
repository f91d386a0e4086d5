// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace filesystem {

/** Whether an open file has an access control list; true if the system does not say. */
[[nodiscard]] bool hasAccessList(int file);

/**
 * Removes the access control list of an open file; a new file may have inherited one from its directory.
 * Result: false when the list stays.
 */
[[nodiscard]] bool removeAccessList(int file);

/**
 * Gives the open file `to`, which is new, the access control list of the open file `from`, or removes its own if
 * `from` has no list.
 * Result: false on failure; `to` then has no list, or the one that it has inherited.
 */
[[nodiscard]] bool copyAccessList(int from, int to);

/**
 * Copies the other extended attributes of the open file `from` to the open file `to`, except those that this
 * process may not set and those that the system computes from the content.
 * Result: false when an access control list of another kind was not copied.
 */
[[nodiscard]] bool copyOtherAttributes(int from, int to);

} // namespace filesystem
