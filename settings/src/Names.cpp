// SPDX-License-Identifier: Apache-2.0
#include "Names.h"

#include <QString>
#include <algorithm>

#include "velmorand/Scope.h"

namespace velmorand {

namespace {

/** A fast check for names that are clean and valid: true for nearly all names in use, but false for some valid ones. */
bool isPlain(std::string const& name) {
    char before = '/';
    for (char const byte : name) {
        bool const isAscii = static_cast<unsigned char>(byte) < 0x80;
        if (!isAscii || (before == '/' && (byte == '/' || byte == '.')))
            return false;
        before = byte;
    }
    return before != '/';
}

/** Why a clean name is not valid for a property; empty if it is valid. */
std::string faultOf(std::string const& clean) {
    if (clean.empty())
        return R"(it consists only of "/")";
    if (!isUtf8(clean))
        return "not UTF-8 text";
    for (std::size_t begin = 0; begin < clean.size();) {
        std::size_t const end = std::min(clean.find('/', begin), clean.size());
        std::string_view const level = std::string_view(clean).substr(begin, end - begin);
        if (level == "." || level == "..")
            return "a level cannot be " + inQuotes(level);
        begin = end + 1;
    }
    return {};
}

} // namespace

bool isUtf8(std::string_view text) {
    std::string marked = "/"; // the conversion drops a byte order mark at the start
    marked += text;
    return QString::fromUtf8(marked.data(), static_cast<int>(marked.size())).toStdString() == marked;
}

std::string inQuotes(std::string_view name) {
    std::string text = "\"";
    text += name;
    return text += '"';
}

std::string cleanName(std::string name) {
    auto const areSlashes = [](char left, char right) { return left == '/' && right == '/'; };
    name.erase(std::unique(name.begin(), name.end(), areSlashes), name.end());
    if (!name.empty() && name.back() == '/')
        name.pop_back();
    if (!name.empty() && name.front() == '/')
        name.erase(0, 1);
    return name;
}

bool canBeName(std::string const& clean) {
    return faultOf(clean).empty();
}

std::string objectionToName(std::string const& name) {
    if (name.empty())
        return "the name is empty";
    std::string const fault = faultOf(cleanName(name));
    return fault.empty() ? fault : "invalid name: " + inQuotes(name) + ": " + fault;
}

std::string const& propertyName(std::string const& name, std::string& storage) {
    if (isPlain(name))
        return name;
    storage = cleanName(name);
    if (!canBeName(storage))
        throw Exception(objectionToName(name));
    return storage;
}

std::string groupOf(std::string const& name) {
    std::size_t const slash = name.rfind('/');
    return name.substr(0, slash == std::string::npos ? 0 : slash);
}

bool isIn(std::string const& name, std::string const& group) {
    return name.size() > group.size() && name[group.size()] == '/' &&
           name.compare(0, group.size(), group) == 0;
}

} // namespace velmorand
