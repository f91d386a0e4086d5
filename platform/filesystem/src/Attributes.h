// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace filesystem {

/** Whether an open file has an access control list; true when the system does not say. */
[[nodiscard]] bool hasAccessList(int file);

/**
 * Takes its access control list, as a new file inherits one from its directory, from an open file.
 * Result: false when the list stays.
 */
[[nodiscard]] bool removeAccessList(int file);

/**
 * Gives the open file `to`, which is new, the access control list of the open file `from`, or none.
 * Result: false when that fails; `to` then has no list, or what it has inherited.
 */
[[nodiscard]] bool copyAccessList(int from, int to);

/**
 * Gives the open file `to` the other extended attributes of the open file `from`, as far as this process may
 * set them. Those in which the system keeps what it has computed from the content are left out.
 * Result: false when one that says who may do what is not among them.
 */
[[nodiscard]] bool copyOtherAttributes(int from, int to);

} // namespace filesystem
