// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Catalogue.h"

#include <algorithm>

#include "Access.h"
#include "Declarations.h"
#include "velmorand/Property.h"

namespace velmorand {

namespace {

/** The members of a JSON object, one after the other. */
class Members {
public:
    void add(char const* name, std::string const& json) {
        if (!json.empty())
            _text += (_text.empty() ? "\"" : ", \"") + std::string(name) + "\": " + json;
    }
    void addText(char const* name, std::string const& text) {
        if (!text.empty())
            add(name, detail::json(text));
    }
    [[nodiscard]] std::string object() const { return "{" + _text + "}"; }

private:
    std::string _text;
};

std::string list(std::vector<std::string> const& elements) {
    std::string text;
    for (std::string const& element : elements)
        text += (text.empty() ? "[" : ", ") + element;
    return text.empty() ? text : text + "]";
}

std::string entry(DeclaredProperty const& property) {
    Members members;
    members.addText("type", property.kind);
    members.addText("format", property.format);
    members.add("fallback", property.fallback);
    members.add("minimum", property.minimum);
    members.add("maximum", property.maximum);
    members.add("choices", list(property.choices));
    members.addText("description", property.description);
    return detail::json(property.name) + ": " + members.object();
}

} // namespace

std::vector<DeclaredProperty> declaredProperties() {
    std::vector<DeclaredProperty> result;
    for (auto const& declaration : declarations()) {
        DeclaredProperty& property = result.emplace_back();
        property.name = declaration->name();
        property.isSet = detail::isSet(property.name);
        declaration->describe(property);
    }
    return result;
}

void resetDeclaredProperties(void* sender) {
    auto const all = declarations();
    Access const settings;
    if (!settings)
        return;
    std::vector<std::string> names;
    for (auto const& declaration : all)
        if (detail::isSet(declaration->name()))
            names.push_back(declaration->name());
    for (std::string const& name : names)
        settings->delProperty(name, SCOPE_USER);
    for (std::string const& name : names)
        settings->markAsChanged(sender, name);
}

std::string catalogue(std::string const& program) {
    std::string text = "{\n  \"program\": " + detail::json(program) + ",\n  \"settings\": {";
    char const* separator = "\n    ";
    for (DeclaredProperty const& property : declaredProperties()) {
        text += separator + entry(property);
        separator = ",\n    ";
    }
    return text + "\n  }\n}\n";
}

} // namespace velmorand
