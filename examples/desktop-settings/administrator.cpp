// SPDX-License-Identifier: Apache-2.0
//
// usage: desktop-settings-administrator SCHEMAS DIRECTORY
//
// Sets all default values of the desktop's schemas for everyone. The administrator's file has the format of a user's file,
// in the directory that other users use as the global one.

#include <iostream>
#include <map>
#include <string>

#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>

#include "Schemas.h"
#include "Settings.h"
#include "Table.h"

using namespace desktop;

namespace {

std::string groupOf(std::string const& name) {
    return name.substr(0, name.rfind('/'));
}

/** Result: the number of settings in each group. */
std::map<std::string, int> writeDefaults(std::map<std::string, Value> const& defaults) {
    std::map<std::string, int> groups;
    for (auto const& [name, value] : defaults) {
        write(nullptr, name, value, velmorand::SCOPE_USER);
        ++groups[groupOf(name)];
    }
    return groups;
}

void verify(std::map<std::string, Value> const& defaults) {
    for (auto const& [name, value] : defaults)
        require(read(name) == value,
                name + " reads as " + textOf(read(name)) + " instead of " + textOf(value));
    int const found = countProperties("", velmorand::SCOPE_USER);
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

void administrate(std::string const& schemasDirectory, std::string const& directory) {
    Schemas const schemas = readSchemas(schemasDirectory);
    velmorand::LiveSettings const live{{directory, directory + "/nobody-above"}};
    std::map<std::string, int> const groups = writeDefaults(schemas.settings);
    verify(schemas.settings);
    std::cout << "The administrator sets " << schemas.settings.size() << " settings in " << groups.size()
              << " groups for everyone:\n\n";
    printKinds(schemas);
}

} // namespace

int main(int argc, char** argv) {
    return runProgram("administrator", [&] {
        require(argc == 3, "usage: desktop-settings-administrator SCHEMAS DIRECTORY");
        administrate(argv[1], argv[2]);
    });
}
