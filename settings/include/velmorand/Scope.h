// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/properties/Types.h>

/** The names from the register's namespaces that applications use. */
namespace velmorand {

using utils::Exception;

using utils::properties::PropertyBadType;
using utils::properties::PropertyNotFound;

using utils::properties::RegisterScope;
using utils::properties::SCOPE_GLOBAL;
using utils::properties::SCOPE_TEMPORARY;
using utils::properties::SCOPE_USER;

} // namespace velmorand
