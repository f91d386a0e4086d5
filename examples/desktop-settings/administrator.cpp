// SPDX-License-Identifier: Apache-2.0
//
// usage: desktop-settings-administrator SCHEMAS REGISTER-DIRECTORY
//
// Fills an empty register directory with every default value of the desktop's schemas.

#include <iostream>
#include <map>
#include <string>

#include <utils/properties/Register.h>

#include "Overrides.h"
#include "Schemas.h"
#include "Settings.h"
#include "Table.h"

using namespace desktop;
using utils::properties::_Register;

namespace {

std::string groupOf(std::string const& name) {
    return name.substr(0, name.rfind('/'));
}

/** Result: how many settings each group got. */
std::map<std::string, int> writeDefaults(std::map<std::string, Value> const& defaults) {
    std::map<std::string, int> groups;
    for (auto const& [name, value] : defaults) {
        write(nullptr, name, value, utils::properties::SCOPE_USER);
        ++groups[groupOf(name)];
    }
    return groups;
}

void verify(std::map<std::string, Value> const& defaults) {
    for (auto const& [name, value] : defaults)
        require(read(name) == value,
                name + " reads as " + textOf(read(name)) + " instead of " + textOf(value));
    int const found = countProperties("", utils::properties::SCOPE_USER);
    require(found == static_cast<int>(defaults.size()),
            "the register holds " + std::to_string(found) + " settings");
}

void printKinds(Schemas const& schemas) {
    std::map<std::string, int> kinds;
    for (auto const& [name, value] : schemas.settings)
        ++kinds[kindOf(value)];
    Table table({"kind", "settings"});
    for (auto const& [kind, count] : kinds)
        table.add({kind, std::to_string(count)});
    for (auto const& [type, count] : schemas.leftOut)
        table.add({"left out: type " + type, std::to_string(count)});
    table.print(std::cout);
}

void administrate(std::string const& schemasDirectory, std::string const& registerDirectory) {
    Schemas const schemas = readSchemas(schemasDirectory);
    _Register::initialize("", registerDirectory);
    std::map<std::string, int> const groups = writeDefaults(schemas.settings);
    verify(schemas.settings);

    std::cout << "Administrator: wrote " << schemas.settings.size() << " settings in " << groups.size()
              << " groups and read every one back.\n\n";
    printKinds(schemas);
    std::cout << "\nSome of them:\n\n";
    Table table = settingsTable();
    for (std::string const& name : shownSettings())
        addSetting(table, name);
    table.print(std::cout);
}

} // namespace

int main(int argc, char** argv) {
    return runProgram("administrator", [&] {
        require(argc == 3, "usage: desktop-settings-administrator SCHEMAS REGISTER-DIRECTORY");
        administrate(argv[1], argv[2]);
    });
}
