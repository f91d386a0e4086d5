// SPDX-License-Identifier: Apache-2.0
#include "Value.h"

#include <array>
#include <sstream>

namespace desktop {

namespace {

std::string text(std::string const& value) {
    return "'" + value + "'";
}

std::string text(int value) {
    return std::to_string(value);
}

std::string text(double value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

std::string text(bool value) {
    return value ? "true" : "false";
}

template <class Element>
std::string text(std::vector<Element> const& values) {
    std::string out;
    for (Element const& value : values)
        out += (out.empty() ? "" : ", ") + text(value);
    return "[" + out + "]";
}

} // namespace

std::string kindOf(Value const& value) {
    static constexpr std::array<char const*, std::variant_size_v<Value>> kinds = {
        "string",          "integer",          "number",          "boolean",
        "list of strings", "list of integers", "list of numbers", "list of booleans",
    };
    return kinds.at(value.index());
}

std::string textOf(Value const& value) {
    return std::visit([](auto const& held) { return text(held); }, value);
}

} // namespace desktop
