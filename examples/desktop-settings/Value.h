// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <variant>
#include <vector>

namespace desktop {

/** A value of any kind that the register holds. */
using Value = std::variant<std::string, int, double, bool, std::vector<std::string>, std::vector<int>,
                           std::vector<double>, std::vector<bool>>;

/** What a person calls the value's kind: "integer", "list of strings". */
std::string kindOf(Value const& value);

/** The value as a person reads it: 24, true, 'Cantarell 11', [0, 0, 100, 100]. */
std::string textOf(Value const& value);

} // namespace desktop
