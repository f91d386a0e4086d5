// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <variant>
#include <vector>

#include "velmorand/Export.h"

/** Values whose kind is known only when the program runs, for tools that handle every application's settings. */
namespace velmorand {

/** A setting's value, of one of the eight kinds. */
using AnyValue = std::variant<std::string, double, int, bool, std::vector<std::string>, std::vector<double>,
                              std::vector<int>, std::vector<bool>>;

/** The kinds' names, in the order of `AnyValue`. */
constexpr std::array<char const*, std::variant_size_v<AnyValue>> kindNames{
    "string", "number", "integer", "boolean", "strings", "numbers", "integers", "booleans"};

/** An index of `kindNames`, or their count for a name that is not a kind's. */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT std::size_t kindIndex(std::string const& name);

/**
 * The value of a kind, an index of `kindNames`, that texts give, one for each element: numbers in digits with a "."
 * where there is a fraction, booleans as "true" or "false".
 * Errors: `utils::Exception` with the text that is not an element of that kind, or if a single value does not get
 * exactly one text.
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT AnyValue valueOf(std::size_t kind,
                                                         std::vector<std::string> const& texts);

/** The elements of a value, each as `valueOf` takes it; a single value has one. */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT std::vector<std::string> textsOf(AnyValue const& value);

/** The bytes under which the register keeps the value: docs/file-format.md describes them. */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT std::string recordOf(AnyValue const& value);

} // namespace velmorand
