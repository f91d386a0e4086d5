// SPDX-License-Identifier: Apache-2.0
//
// usage: desktop-settings-check SCHEMAS GLOBAL-DIRECTORY USER-DIRECTORY
//
// Looks at every setting that the administrator and the application left: the overrides come from the user
// scope, all others from the global one, and what was temporary is gone.

#include <iostream>
#include <string>

#include <utils/properties/Register.h>

#include "Overrides.h"
#include "Schemas.h"
#include "Settings.h"
#include "Table.h"

using namespace desktop;
using utils::properties::_Register;

namespace {

void verify(std::string const& name, Value const& expected, std::string const& scope) {
    Value const found = read(name);
    require(found == expected, name + " is " + textOf(found) + ", expected " + textOf(expected));
    require(scopeOf(name) == scope, name + " comes from the scope " + scopeOf(name) + ", expected " + scope);
}

void verifyCount(utils::properties::RegisterScope scope, std::size_t expected, std::string const& words) {
    int const found = countProperties("", scope);
    require(found == static_cast<int>(expected), "the " + words + " scope holds " + std::to_string(found) +
                                                     " settings, expected " + std::to_string(expected));
}

void check(std::string const& schemasDirectory, std::string const& globalDirectory,
           std::string const& userDirectory) {
    Schemas const schemas = readSchemas(schemasDirectory);
    _Register::initialize(globalDirectory, userDirectory);

    for (auto const& [name, value] : schemas.settings) {
        auto const own = overrides().find(name);
        bool const overridden = own != overrides().end();
        verify(name, overridden ? own->second : value, overridden ? "user" : "global");
    }
    verifyCount(utils::properties::SCOPE_GLOBAL, schemas.settings.size(), "global");
    verifyCount(utils::properties::SCOPE_USER, overrides().size(), "user");
    require(scopeOf(sessionProperty) == "nowhere", std::string(sessionProperty) + " was saved");

    std::cout << "Check: " << overrides().size() << " settings are the user's, "
              << schemas.settings.size() - overrides().size()
              << " the administrator's; every value is right, and the temporary one is gone.\n\n";
    Table table = settingsTable();
    for (std::string const& name : shownSettings())
        addSetting(table, name);
    table.add({sessionProperty, "(gone)", "", scopeOf(sessionProperty)});
    table.print(std::cout);
}

} // namespace

int main(int argc, char** argv) {
    return runProgram("check", [&] {
        require(argc == 4, "usage: desktop-settings-check SCHEMAS GLOBAL-DIRECTORY USER-DIRECTORY");
        check(argv[1], argv[2], argv[3]);
    });
}
