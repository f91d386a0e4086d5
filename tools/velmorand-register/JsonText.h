// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

namespace tool {

/** The parser's position in a text. */
struct JsonPlace {
    std::size_t line = 1;
    std::size_t byte = 0;
};

/** Thrown for text that is not JSON. The message is "LINE:COLUMN: REASON". */
class BadJson : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/**
 * Parses JSON and passes each part to `take` as soon as it has been read; `place` is then the position after it. Parts
 * for which `take` returns false are discarded.
 * Errors: `BadJson` for text that is not JSON; `BadEntry` for a number out of range; those of `take`.
 */
void parseJson(std::string const& text, JsonPlace& place, nlohmann::json::parser_callback_t const& take);

/** The value that begins with a parser's event, for messages: "an object", "a list", "a number". */
std::string nounOf(nlohmann::json::parse_event_t event, nlohmann::json const& parsed);

} // namespace tool
