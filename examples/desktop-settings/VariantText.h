// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "Value.h"

namespace desktop {

/**
 * Reads a default value in the form of schema files: 'text', -1, 1.25, true, [0, 100], @as [].
 *
 * `type` is the schema's letter code: s, i, u, d, b, or one of as, ai, ad, ab.
 * Result: `std::nullopt` for a type that the register does not support, and for an unsigned number that does not fit
 * into an integer of the register. Errors: `std::runtime_error` if the text is not a value of that type.
 */
std::optional<Value> parseVariant(std::string const& type, std::string const& text);

} // namespace desktop
