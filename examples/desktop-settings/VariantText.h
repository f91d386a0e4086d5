// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "Value.h"

namespace desktop {

/**
 * Reads a default value as schema files write it: 'text', -1, 1.25, true, [0, 100], @as [].
 *
 * `type` is the schema's letter code: s, i, u, d, b, or one of as, ai, ad, ab.
 * Result: nothing for a type that the register has no kind for, and for an unsigned number above its
 * integers. Errors: `std::runtime_error` for a text that is not a value of that type.
 */
std::optional<Value> parseVariant(std::string const& type, std::string const& text);

} // namespace desktop
