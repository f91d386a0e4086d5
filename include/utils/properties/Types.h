// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include <utils/Exception.h>

#include "utils/properties/Export.h"

namespace utils::properties {

/** The scope of a property. Readers search the user scope first, then the global, then the temporary one. */
enum RegisterScope : int {
    SCOPE_GLOBAL = 0,    ///< "/global/": read from the global register file, never written back
    SCOPE_USER = 1,      ///< "/user/": read from the user register file and saved to it
    SCOPE_TEMPORARY = 2, ///< "/temp/": in memory only
};

/** The kind of a value: the first byte of its record, or the element tag of a list. */
enum Type : std::int32_t {
    TYPE_STRING = 'S',
    TYPE_NUMBER = 'N',
    TYPE_INTEGER = 'I',
    TYPE_BOOLEAN = 'B',
    TYPE_LIST = 'L', ///< the element tag follows
};

/**
 * Thrown by a typed reader if the property has no value, or a value of another kind.
 *
 * Intentional: the base is private, so that a handler for `utils::Exception` or `std::exception` does not
 * catch it. It carries no message.
 */
class VELMORAND_REGISTER_EXPORT PropertyBadType : utils::Exception {};

/**
 * Thrown if no scope has the property. Like `PropertyBadType`, it is caught only by its own name and carries no
 * message.
 */
class VELMORAND_REGISTER_EXPORT PropertyNotFound : utils::Exception {};

} // namespace utils::properties
