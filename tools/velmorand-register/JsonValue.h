// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "Value.h"

/** Values in the notation of the exchange format. */
namespace tool {

/** What is wrong with an entry, without its place. */
class BadEntry : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** The bytes that a string of base64 gives. Errors: `BadEntry`. */
std::string fromBase64(nlohmann::json const& text);

/** The kind of this name, as an index of `kindNames`. Errors: `BadEntry`. */
std::size_t kindNamed(std::string const& name);

/** The value of a kind, an index of `kindNames`. Errors: `BadEntry`. */
Value valueFrom(nlohmann::json const& value, std::size_t kind);

/** The value of a kind of text, all of which is given in base64. Errors: `BadEntry`. */
Value encodedValueFrom(nlohmann::json const& value, std::string const& kind);

} // namespace tool
