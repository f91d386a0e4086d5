// SPDX-License-Identifier: Apache-2.0
#include "CatalogueReader.h"

#include <utility>

#include "Expectation.h"
#include "Failure.h"
#include "JsonText.h"
#include "JsonValue.h"

namespace tool {

namespace {

using nlohmann::json;

/** Reads a member if it exists. Errors: `BadEntry` with the name of the member. */
template <class Read>
auto optionalMember(json const& declaration, char const* name, Read read)
    -> std::optional<decltype(read(declaration))> {
    auto const found = declaration.find(name);
    if (found == declaration.end())
        return std::nullopt;
    try {
        return read(*found);
    } catch (BadEntry const& error) {
        throw BadEntry('"' + std::string(name) + "\": " + error.what());
    }
}

std::size_t kindOf(json const& declaration) {
    auto const type = declaration.find("type");
    if (type == declaration.end() || !type->is_string())
        throw BadEntry("\"type\" is missing");
    return kindNamed(type->get_ref<std::string const&>());
}

/** The declared format; `plain` if it is unknown or cannot be used for elements of this kind. */
Format formatOf(json const& declaration, std::size_t elementKind) {
    auto const format = declaration.find("format");
    bool const isText = kindNames.at(elementKind) == std::string("string");
    bool const isNumber = kindNames.at(elementKind) == std::string("number");
    if (format == declaration.end())
        return Format::plain;
    if (*format == "whole" && (isText || isNumber))
        return Format::whole;
    return *format == "duration" && isText ? Format::duration : Format::plain;
}

Value limitFrom(json const& value, std::size_t elementKind, Format format) {
    Value limit = valueFrom(value, elementKind);
    if (std::string const wrong = objectionToLimit(limit, format); !wrong.empty())
        throw BadEntry(wrong);
    return limit;
}

Value resolutionFrom(json const& value) {
    Value resolution = valueFrom(value, 0);
    if (std::string const wrong = objectionToResolution(resolution); !wrong.empty())
        throw BadEntry(wrong);
    return resolution;
}

Declaration declarationFrom(json const& members) {
    Declaration declaration;
    declaration.kind = kindOf(members);
    std::size_t const elementKind = declaration.kind % singles;
    declaration.format = formatOf(members, elementKind);
    auto const limit = [&](json const& value) { return limitFrom(value, elementKind, declaration.format); };
    if (declaration.format == Format::duration)
        declaration.resolution = optionalMember(members, "resolution", resolutionFrom);
    declaration.fallback = optionalMember(
        members, "fallback", [&](json const& value) { return valueFrom(value, declaration.kind); });
    declaration.minimum = optionalMember(members, "minimum", limit);
    declaration.maximum = optionalMember(members, "maximum", limit);
    declaration.choices = optionalMember(members, "choices", [&](json const& value) {
        return elementsOf(valueFrom(value, singles + elementKind));
    });
    auto const text = [](json const& value) { return std::get<std::string>(valueFrom(value, 0)); };
    declaration.description = optionalMember(members, "description", text).value_or("");
    return declaration;
}

/** Decodes each declaration as soon as it has been parsed. */
class CatalogueReader {
public:
    explicit CatalogueReader(std::string const& source) : _source(source) {}

    Declarations read(std::string const& text) {
        try {
            parseJson(text, _place, [this](int depth, json::parse_event_t event, json& parsed) {
                return take(depth, event, parsed);
            });
            if (!_hasSettings)
                throw BadEntry("\"settings\" is missing");
        } catch (BadJson const& error) {
            throw Failure(Status::misuse, _source + ':' + error.what());
        } catch (BadEntry const& error) {
            throw refusal(error.what());
        } catch (Failure const& error) {
            throw refusal(error.what());
        }
        return std::move(_declarations);
    }

private:
    enum Depth { top = 0, section = 1, setting = 2 };

    /** The parser's callback. Result: whether the parser keeps the part that it has just read. */
    bool take(int depth, json::parse_event_t event, json& parsed) {
        using Event = json::parse_event_t;
        bool const isKey = event == Event::key;
        if (depth == section && isKey)
            _isInSettings = parsed == "settings";
        else if (depth == setting && isKey && _isInSettings)
            begin(parsed.get_ref<std::string const&>());
        else if (depth == top || (depth <= setting && _isInSettings))
            expectObject(depth, event, parsed);
        if (depth == section && event == Event::object_end)
            _hasSettings = _hasSettings || _isInSettings;
        if (depth != setting || event != Event::object_end || !_isInSettings)
            return true;
        _declarations[_name] = declarationFrom(parsed);
        return false;
    }

    void begin(std::string const& name) {
        _name = name;
        _line = _place.line;
        requireCleanName(name);
        if (_declarations.count(name) > 0)
            throw BadEntry("duplicate name");
    }

    void expectObject(int depth, json::parse_event_t event, json const& parsed) {
        using Event = json::parse_event_t;
        if (event == Event::object_start || event == Event::object_end)
            return;
        if (_name.empty())
            _line = _place.line;
        throw BadEntry("found " + nounOf(event, parsed) + ", expected " +
                       (depth == top       ? R"({"settings": {"NAME": {"type": KIND}}})"
                        : depth == section ? R"({"NAME": {"type": KIND}})"
                                           : R"({"type": KIND})"));
    }

    [[nodiscard]] Failure refusal(std::string const& reason) const {
        std::string const name = _name.empty() ? "" : '"' + _name + "\": ";
        return {Status::misuse, _source + ':' + std::to_string(_line) + ": " + name + reason};
    }

    std::string const& _source;
    JsonPlace _place;
    Declarations _declarations;
    std::string _name; // of the current setting
    std::size_t _line = 1;
    bool _isInSettings = false;
    bool _hasSettings = false;
};

} // namespace

Declarations readCatalogue(std::string const& source, std::string const& text) {
    return CatalogueReader(source).read(text);
}

} // namespace tool
