// SPDX-License-Identifier: Apache-2.0
#include "Rules.h"

#include <sstream>
#include <string_view>

#include <utils/Exception.h>

#include "../Names.h"
#include "velmorand/AnyValue.h"
#include "velmorand/Group.h"

namespace velmorand {

namespace {

using Rules = ImportMap::Rules;
using utils::Exception;

constexpr std::string_view arrow = " -> ";
constexpr std::string_view as = " as ";
constexpr std::string_view drop = "drop ";

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    std::size_t const begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

/** The name of a group or a setting in a rule. */
struct Named {
    std::string name; ///< clean
    bool isGroup;
};

Named named(std::string_view text) {
    if (text.empty())
        throw Exception("missing name");
    return {cleanName(std::string(text)), text.back() == '/'};
}

/** An old name with every level in the form of `levelFrom`. */
std::string canonical(std::string const& name) {
    std::string result;
    std::istringstream levels(name);
    for (std::string level; std::getline(levels, level, '/');)
        result += (result.empty() ? "" : "/") + levelFrom(textFrom(level));
    return result;
}

std::string noSuchKind(std::string const& name) {
    std::string all;
    for (char const* const known : kindNames)
        all += (all.empty() ? "" : ", ") + std::string(known);
    return "no such kind: " + name + " (kinds: " + all + ')';
}

/** Removes the kind from the end of a rule, if there is one. */
std::optional<std::size_t> takeKind(std::string_view& right) {
    std::size_t const at = right.rfind(as);
    if (at == std::string_view::npos)
        return std::nullopt;
    std::string const name(trimmed(right.substr(at + as.size())));
    std::size_t const kind = kindIndex(name);
    if (kind == kindNames.size()) {
        if (name.find_first_of(" /") != std::string::npos) // " as " is part of the name
            return std::nullopt;
        throw Exception(noSuchKind(name));
    }
    right = trimmed(right.substr(0, at));
    return kind;
}

void add(Rules& rules, Named const& old, Rules::Rule rule) {
    auto& all = old.isGroup ? rules.groups : rules.settings;
    auto const [at, isNew] = all.emplace(canonical(old.name), std::move(rule));
    if (!isNew)
        throw Exception("duplicate rule: line " + std::to_string(at->second.line) + " is for the same name");
}

/** Errors: `utils::Exception` if the name is not valid for a property. */
void requireName(std::string const& name) {
    std::string storage;
    static_cast<void>(propertyName(name, storage));
}

void addRule(Rules& rules, std::string_view text, std::size_t line) {
    std::size_t const at = text.find(arrow);
    if (at == std::string_view::npos) {
        if (text.substr(0, drop.size()) != drop)
            throw Exception(R"(expected "OLD -> NEW" or "drop OLD", found: )" + std::string(text));
        add(rules, named(trimmed(text.substr(drop.size()))), {std::nullopt, std::nullopt, line});
        return;
    }
    Named const old = named(trimmed(text.substr(0, at)));
    std::string_view right = trimmed(text.substr(at + arrow.size()));
    auto const kind = takeKind(right);
    Named const target = named(right);
    if (old.isGroup != target.isGroup)
        throw Exception(old.isGroup ? "a group cannot become a property (end the new name with \"/\")"
                                    : "a property cannot become a group (end the old name with \"/\")");
    if (!target.isGroup || !target.name.empty())
        requireName(target.name);
    add(rules, old, {target.name, kind, line});
}

} // namespace

Rules::Target Rules::targetOf(std::string const& from) const {
    if (auto const rule = settings.find(from); rule != settings.end())
        return {rule->second.name, rule->second.kind};
    std::string group = from;
    while (!group.empty()) {
        group = groupOf(group);
        auto const rule = groups.find(group);
        if (rule == groups.end())
            continue;
        if (!rule->second.name)
            return {};
        return {cleanName(*rule->second.name + '/' + from.substr(group.size())), rule->second.kind};
    }
    return {from, std::nullopt};
}

ImportMap::ImportMap() : _rules(std::make_shared<Rules const>()) {}

ImportMap::ImportMap(std::string const& text) {
    auto rules = std::make_shared<Rules>();
    std::istringstream lines(text);
    std::size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        std::string_view const rule = trimmed(line);
        if (rule.empty() || rule.front() == '#')
            continue;
        try {
            addRule(*rules, rule, number);
        } catch (Exception const& error) {
            throw Exception("line " + std::to_string(number) + ": " + error.what());
        }
    }
    _rules = std::move(rules);
}

} // namespace velmorand
