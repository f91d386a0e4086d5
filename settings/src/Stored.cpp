// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Stored.h"

#include <charconv>
#include <system_error>

#include <utils/Exception.h>

#include "velmorand/Enum.h"

namespace velmorand::detail {

namespace {

/** Parses decimal digits, for a signed type with an optional "-". */
template <class T>
std::optional<T> whole(std::string const& text) {
    T value = 0;
    char const* const end = text.data() + text.size();
    auto const result = std::from_chars(text.data(), end, value);
    bool const isWhole = result.ec == std::errc() && result.ptr == end;
    return isWhole ? std::optional(value) : std::nullopt;
}

} // namespace

std::optional<std::int64_t> signedWhole(std::string const& text) {
    return whole<std::int64_t>(text);
}

std::optional<std::uint64_t> unsignedWhole(std::string const& text) {
    return whole<std::uint64_t>(text);
}

void refuseUnnamed(std::int64_t value) {
    throw utils::Exception("enum value " + std::to_string(value) + " has no name");
}

} // namespace velmorand::detail
