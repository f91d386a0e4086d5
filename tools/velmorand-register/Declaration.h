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

/** What the elements of a setting are, beyond their kind. */
enum class Format {
    plain,
    whole,   ///< a whole number; in a string, one of at most 64 bits
    duration ///< a string of a number and a unit of time
};

/** What a program declares about one of its settings. Limits and choices apply to each element of a list. */
struct Declaration {
    std::size_t kind = 0; ///< an index of `kindNames`
    Format format = Format::plain;
    std::optional<Value> fallback;             ///< none if the program computes it
    std::optional<Value> minimum;              ///< inclusive
    std::optional<Value> maximum;              ///< inclusive
    std::optional<std::vector<Value>> choices; ///< none if there are others
    std::string description;                   ///< may be empty
};

/** Declarations by the settings' names, which are clean. */
using Declarations = std::map<std::string, Declaration, std::less<>>;

/** The declarations in a group. */
struct DeclaredGroup {
    Declarations::const_iterator begin;
    Declarations::const_iterator end;
};

/** The declarations of the settings in a group; in the empty one, all. */
DeclaredGroup declaredIn(Declarations const& declarations, std::string_view group);

} // namespace tool
