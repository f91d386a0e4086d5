// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Value.h"

namespace tool {

/** The meaning of a setting's elements, beyond their kind. */
enum class Format {
    plain,
    whole,   ///< a whole number; in a string, of at most 64 bits
    duration ///< a string: a number and a unit of time
};

/** A program's declaration of a setting. Limits and choices apply to each element of a list. */
struct Declaration {
    std::size_t kind = 0; ///< an index of `kindNames`
    Format format = Format::plain;
    std::optional<Value> resolution;           ///< durations are multiples of it; none for other formats
    std::optional<Value> fallback;             ///< none if the program computes it
    std::optional<Value> minimum;              ///< inclusive
    std::optional<Value> maximum;              ///< inclusive
    std::optional<std::vector<Value>> choices; ///< the only values allowed; none if they are not restricted
    std::string description;                   ///< may be empty
};

/** Declarations by the settings' names, which are clean. */
using Declarations = std::map<std::string, Declaration, std::less<>>;

/** The declarations in a group. */
struct DeclaredGroup {
    Declarations::const_iterator begin;
    Declarations::const_iterator end;
};

/** The declarations of the settings in a group and in its groups; all declarations if `group` is empty. */
DeclaredGroup declaredIn(Declarations const& declarations, std::string_view group);

} // namespace tool
