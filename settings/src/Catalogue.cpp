// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Catalogue.h"

#include <QString>

#include "Access.h"
#include "Announcement.h"
#include "Declarations.h"
#include "Names.h"
#include "UserChanges.h"
#include "velmorand/Property.h"

namespace velmorand {

namespace {

/** Builds a JSON object from its members. */
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

/** Text as a JSON string; bytes that are not UTF-8 become U+FFFD. */
std::string jsonText(std::string const& text) {
    return detail::json(QString::fromUtf8(text.data(), static_cast<int>(text.size())).toStdString());
}

std::string entry(DeclaredProperty const& property) {
    Members members;
    members.addText("type", property.kind);
    members.addText("format", property.format);
    members.add("resolution", property.resolution);
    members.add("fallback", property.fallback);
    members.add("minimum", property.minimum);
    members.add("maximum", property.maximum);
    members.add("choices", list(property.choices));
    if (!property.description.empty())
        members.add("description", jsonText(property.description));
    return detail::json(property.name) + ": " + members.object();
}

} // namespace

std::vector<DeclaredProperty> declaredProperties() {
    std::vector<DeclaredProperty> result;
    eachDeclaration([&result](detail::Declaration const& declaration) {
        DeclaredProperty& property = result.emplace_back();
        property.name = declaration.name();
        property.isSet = detail::isSet(property.name);
        property.isLocked = isLocked(property.name);
        property.isOverridden = detail::isOverridden(property.name);
        declaration.describe(property);
    });
    return result;
}

void resetDeclaredProperties(void* sender) {
    Access const settings;
    if (!settings)
        return;
    UserChanges removals;
    std::set<std::string> names;
    eachDeclaration([&](detail::Declaration const& declaration) {
        if (!canBeName(declaration.name()) || !detail::isSet(declaration.name()))
            return;
        removals.emplace(declaration.name(), std::nullopt);
        names.insert(declaration.name());
    });
    makeChanges(*settings, removals);
    announce(*settings, sender, std::move(names));
}

std::string catalogue(std::string const& program) {
    std::string text = "{\n  \"program\": " + jsonText(program) + ",\n  \"settings\": {";
    char const* separator = "\n    ";
    for (DeclaredProperty const& property : declaredProperties())
        if (canBeName(property.name)) {
            text += separator + entry(property);
            separator = ",\n    ";
        }
    return text + "\n  }\n}\n";
}

} // namespace velmorand
