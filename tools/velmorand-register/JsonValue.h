// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "Value.h"

/** Values as they are written in the exchange format and in catalogues. */
namespace tool {

/** Thrown for an invalid entry. The message does not contain its position. */
class BadEntry : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** Decodes a string of base64. Errors: `BadEntry`. */
std::string fromBase64(nlohmann::json const& text);

/** Refuses a name that is empty or not clean. Errors: `BadEntry`; those of `cleanName`. */
void requireCleanName(std::string const& name);

/** The index of a kind in `kindNames`. Errors: `BadEntry`. */
std::size_t kindNamed(std::string const& name);

/** A value from JSON; `kind` is an index into `kindNames`. Errors: `BadEntry`. */
Value valueFrom(nlohmann::json const& value, std::size_t kind);

/** A value of the kind "string" or "strings" from text in base64. Errors: `BadEntry`. */
Value encodedValueFrom(nlohmann::json const& value, std::string const& kind);

} // namespace tool
