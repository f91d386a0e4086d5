// SPDX-License-Identifier: Apache-2.0
#include "Expectation.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "Quantity.h"
#include "Text.h"

namespace tool {

namespace {

constexpr char const* unitNames = " (units: ns, us, ms, s, min, h, d)";

/** A single value as on the command line. */
std::string plainText(Value const& element) {
    return elementTexts(element).front();
}

/** An element in a message: text in quotes, everything else as on the command line. */
std::string shown(Value const& element) {
    return std::holds_alternative<std::string>(element) ? jsonText(element, forJsonLine())
                                                        : plainText(element);
}

std::optional<Quantity> quantityIn(std::string const& text, Format format) {
    return format == Format::duration ? Quantity::ofDuration(text) : Quantity::ofWhole(text);
}

struct HasFormat {
    Format format;

    bool operator()(std::string const& text) const {
        return format == Format::plain || quantityIn(text, format);
    }
    bool operator()(double number) const {
        return format != Format::whole || (std::isfinite(number) && std::trunc(number) == number);
    }
    template <class T>
    bool operator()(T const& /*element*/) const {
        return true;
    }
};

/** Whether a duration is a multiple of the declared resolution. */
bool hasResolution(Value const& element, Declaration const& declaration) {
    if (!declaration.resolution)
        return true;
    auto const duration = Quantity::ofDuration(std::get<std::string>(element));
    return duration->isMultipleOf(*Quantity::ofDuration(std::get<std::string>(*declaration.resolution)));
}

/** Whether one element is at most another; NaN never is. */
struct IsAtMost {
    Format format;

    bool operator()(std::string const& element, std::string const& limit) const {
        return format == Format::plain || !(*quantityIn(limit, format) < *quantityIn(element, format));
    }
    template <class T>
    bool operator()(T const& element, T const& limit) const {
        return element <= limit;
    }
    template <class T, class Other>
    bool operator()(T const& /*element*/, Other const& /*limit*/) const {
        return false; // never called: a limit has the kind of the elements
    }
};

bool isAllowed(Value const& element, Declaration const& declaration) {
    if (declaration.choices && std::find(declaration.choices->begin(), declaration.choices->end(), element) ==
                                   declaration.choices->end())
        return false;
    if (!std::visit(HasFormat{declaration.format}, element) || !hasResolution(element, declaration))
        return false;
    IsAtMost const isAtMost{declaration.format};
    return (!declaration.minimum || std::visit(isAtMost, *declaration.minimum, element)) &&
           (!declaration.maximum || std::visit(isAtMost, element, *declaration.maximum));
}

std::string nounOf(Declaration const& declaration) {
    constexpr std::array<char const*, singles> one{"a string", "a number", "an integer", "a boolean"};
    constexpr std::array<char const*, singles> several{"strings", "numbers", "integers", "booleans"};
    bool const isList = declaration.kind >= singles;
    std::string const begin = isList ? "a list of " : "";
    std::size_t const element = declaration.kind % singles;
    switch (declaration.format) {
    case Format::whole:
        return begin + (isList ? "whole numbers" : "a whole number") +
               (element == 0 ? (isList ? " as strings" : " as a string") : "");
    case Format::duration:
        return begin + (isList ? "durations " : "a duration ") +
               (declaration.resolution ? "in multiples of " + plainText(*declaration.resolution)
                                       : "such as 1.5s") +
               unitNames;
    case Format::plain:
        break;
    }
    return begin + (isList ? several : one).at(element);
}

/** The limits in words; empty for a setting without limits. Limits have no effect on strings without a format. */
std::string rangeOf(Declaration const& declaration) {
    if (declaration.kind % singles == 0 && declaration.format == Format::plain)
        return {};
    if (declaration.minimum && declaration.maximum)
        return " from " + plainText(*declaration.minimum) + " to " + plainText(*declaration.maximum);
    if (declaration.minimum)
        return " of at least " + plainText(*declaration.minimum);
    if (declaration.maximum)
        return " of at most " + plainText(*declaration.maximum);
    return {};
}

} // namespace

std::string expectationOf(Declaration const& declaration) {
    std::string text = nounOf(declaration) + rangeOf(declaration);
    if (declaration.choices) {
        char const* separator = declaration.kind < singles ? ", one of " : ", each one of ";
        for (Value const& choice : *declaration.choices) {
            text += separator + shown(choice);
            separator = ", ";
        }
    }
    return text;
}

bool isRestricted(Declaration const& declaration) {
    return declaration.choices || declaration.format != Format::plain || !rangeOf(declaration).empty();
}

std::string objection(std::string const& found, Declaration const& declaration) {
    return found + " is not allowed: expected " + expectationOf(declaration);
}

std::string objectionTo(Value const& value, Declaration const& declaration) {
    if (value.index() != declaration.kind) {
        Declaration found;
        found.kind = value.index();
        return objection(nounOf(found), declaration);
    }
    std::vector<Value> const elements = elementsOf(value);
    auto const wrong = std::find_if(elements.begin(), elements.end(), [&declaration](Value const& element) {
        return !isAllowed(element, declaration);
    });
    if (wrong == elements.end())
        return {};
    std::string const text = objection(shown(*wrong), declaration);
    bool const isList = declaration.kind >= singles;
    return isList ? inElement(static_cast<std::size_t>(wrong - elements.begin()) + 1, text) : text;
}

std::string objectionToResolution(Value const& resolution) {
    std::string wrong = objectionToLimit(resolution, Format::duration);
    if (!wrong.empty() || Quantity::ofDuration(std::get<std::string>(resolution))->isResolution())
        return wrong;
    return shown(resolution) + " is not a resolution: expected whole nanoseconds from 1ns to 10000d";
}

std::string objectionToLimit(Value const& limit, Format format) {
    if (std::visit(HasFormat{format}, limit))
        return {};
    Declaration expected;
    expected.kind = limit.index();
    expected.format = format;
    return shown(limit) + " is not " + nounOf(expected);
}

} // namespace tool
