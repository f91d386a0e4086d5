// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tool {

/** A property's value, of one of the eight kinds. */
using Value = std::variant<std::string, double, int, bool, std::vector<std::string>, std::vector<double>,
                           std::vector<int>, std::vector<bool>>;

/** The kinds' names, in the order of `Value`. */
constexpr std::array<char const*, std::variant_size_v<Value>> kindNames{
    "string", "number", "integer", "boolean", "strings", "numbers", "integers", "booleans"};

/** What stands under a name. */
struct Entry {
    bool isGroup = false;
    std::string record;         ///< a property's bytes, as the register file holds them
    std::optional<Value> value; ///< what applications read; none for a group, and for bytes of no kind

    /** The kind's name, "group", or "bytes" for what no reader takes. */
    [[nodiscard]] std::string_view kind() const {
        return isGroup ? "group" : value ? kindNames[value->index()] : "bytes";
    }

    friend bool operator==(Entry const& left, Entry const& right) {
        return left.isGroup == right.isGroup && left.record == right.record;
    }
    friend bool operator!=(Entry const& left, Entry const& right) { return !(left == right); }
};

/** Entries by their full names, in the order of their bytes. */
using Entries = std::map<std::string, Entry>;

} // namespace tool
