// SPDX-License-Identifier: Apache-2.0
//
// usage: desktop-settings-check SCHEMAS USER-DIRECTORY GLOBAL-DIRECTORY CHANGES
//
// Compares every setting with the list of changes: a changed setting must have the value of its last change, in the scope
// of that change; an unchanged one must have the schemas' value. Nothing else may have been saved.

#include <iostream>
#include <map>
#include <string>

#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>

#include "Changes.h"
#include "Schemas.h"
#include "Settings.h"
#include "Table.h"

using namespace desktop;

namespace {

/** The expected state of a setting. */
struct Expected {
    Value value;
    std::string scope;
    std::string by; ///< the authors of its changes, oldest first
};

std::map<std::string, Expected> expectedSettings(Schemas const& schemas, std::string const& changesFile) {
    std::map<std::string, Expected> expected;
    for (auto const& [name, value] : schemas.settings)
        expected[name] = {value, "global", ""};
    for (Change const& change : readChanges(changesFile)) {
        Expected& setting = expected[change.name];
        setting = {change.value, change.scope, setting.by + (setting.by.empty() ? "" : ", ") + change.by};
    }
    return expected;
}

/** The difference from the expected state; empty if there is no difference. */
std::string faultOf(std::string const& name, Expected const& expected) {
    std::string const scope = scopeOf(name);
    if (scope == "nowhere")
        return "MISSING";
    if (read(name) != expected.value)
        return "WRONG: expected " + textOf(expected.value);
    return scope == expected.scope ? "" : "WRONG: expected in the scope " + expected.scope;
}

void verifyCount(velmorand::RegisterScope scope, int expected, std::string const& words) {
    int const found = countProperties("", scope);
    require(found == expected, "the " + words + " scope holds " + std::to_string(found) +
                                   " settings, expected " + std::to_string(expected));
}

void check(Schemas const& schemas, std::map<std::string, Expected> const& settings) {
    Table table({"setting", "value", "scope", "changed by", "correct?"});
    int ofUser = 0;
    int changed = 0;
    int faults = 0;
    for (auto const& [name, expected] : settings) {
        std::string const fault = faultOf(name, expected);
        faults += fault.empty() ? 0 : 1;
        changed += expected.by.empty() ? 0 : 1;
        ofUser += expected.scope == "user" ? 1 : 0;
        if (expected.by.empty() && fault.empty())
            continue;
        bool const exists = scopeOf(name) != "nowhere";
        table.add({shortName(name), exists ? textOf(read(name)) : "-", scopeOf(name), expected.by,
                   fault.empty() ? "yes" : fault});
    }
    table.print(std::cout);
    require(faults == 0, "wrong settings: " + std::to_string(faults));
    verifyCount(velmorand::SCOPE_GLOBAL, static_cast<int>(schemas.settings.size()), "global");
    verifyCount(velmorand::SCOPE_USER, ofUser, "user");
    require(scopeOf(sessionProperty) == "nowhere", std::string(sessionProperty) + " was saved");
    std::cout << "\nAll " << changed << " changed settings have the value of their last change. The other "
              << schemas.settings.size() - static_cast<std::size_t>(changed)
              << " have the\nadministrator's default. No temporary setting was saved.\n";
}

} // namespace

int main(int argc, char** argv) {
    return runProgram("check", [&] {
        require(argc == 5, "usage: desktop-settings-check SCHEMAS USER-DIRECTORY GLOBAL-DIRECTORY CHANGES");
        Schemas const schemas = readSchemas(argv[1]);
        velmorand::LiveSettings const live{{argv[2], argv[3]}};
        check(schemas, expectedSettings(schemas, argv[4]));
    });
}
