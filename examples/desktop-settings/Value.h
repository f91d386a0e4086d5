// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <variant>
#include <vector>

namespace desktop {

/** A value of any kind that the register supports. */
using Value = std::variant<std::string, int, double, bool, std::vector<std::string>, std::vector<int>,
                           std::vector<double>, std::vector<bool>>;

/** The value's kind for display: "integer", "list of strings". */
std::string kindOf(Value const& value);

/** The value for display: 24, true, 'Cantarell 11', [0, 0, 100, 100]. */
std::string textOf(Value const& value);

} // namespace desktop
