// SPDX-License-Identifier: Apache-2.0
#include "Changes.h"

#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "VariantText.h"

namespace desktop {

namespace {

Change changeOf(std::string const& line) {
    std::istringstream words(line);
    Change change;
    std::string type;
    std::string text;
    words >> change.by >> change.scope >> type >> change.name;
    if (!std::getline(words, text))
        throw std::runtime_error("not a change: " + line);
    change.value = valueOf(type, text);
    return change;
}

} // namespace

Value valueOf(std::string const& type, std::string const& text) {
    std::optional<Value> const value = parseVariant(type, text);
    if (!value)
        throw std::runtime_error("no setting can have the type " + type);
    return *value;
}

std::vector<Change> readChanges(std::string const& file) {
    std::ifstream in(file);
    if (!in)
        throw std::runtime_error("cannot read " + file);
    std::vector<Change> changes;
    for (std::string line; std::getline(in, line);)
        changes.push_back(changeOf(line));
    return changes;
}

} // namespace desktop
