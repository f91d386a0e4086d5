// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

#include <nlohmann/json.hpp>

namespace tool {

/** Where the parser is in a text. */
struct JsonPlace {
    std::size_t line = 1;
    std::size_t byte = 0;
};

/**
 * Parses JSON and hands each part to `take` as soon as it has been read, with `place` after it. What `take` does not
 * want to keep is dropped.
 * Errors: those of the parser, and of `take`.
 */
void parseJson(std::string const& text, JsonPlace& place, nlohmann::json::parser_callback_t const& take);

} // namespace tool
