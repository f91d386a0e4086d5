// SPDX-License-Identifier: Apache-2.0
//
// usage: desktop-settings-administrator SCHEMAS DIRECTORY
//
// Sets the default values in the desktop's schemas for all users. The administrator's file has the format of a user's
// file, so this program opens the directory that other programs use as the global one as its user directory.

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
    Table table({"type", "settings"});
    for (auto const& [kind, count] : kinds)
        table.add({kind, std::to_string(count)});
    table.print(std::cout);
    for (auto const& [type, count] : schemas.leftOut)
        std::cout << "\nSkipped: " << count << " settings of type " << type
                  << ", which the register does not support\n";
}

void administrate(std::string const& schemasDirectory, std::string const& directory) {
    Schemas const schemas = readSchemas(schemasDirectory);
    velmorand::LiveSettings const live{{directory, directory + "/no-other-directory"}};
    std::map<std::string, int> const groups = writeDefaults(schemas.settings);
    verify(schemas.settings);
    std::cout << "The administrator has set " << schemas.settings.size() << " defaults in " << groups.size()
              << " groups:\n\n";
    printKinds(schemas);
}

} // namespace

int main(int argc, char** argv) {
    return runProgram("administrator", [&] {
        require(argc == 3, "usage: desktop-settings-administrator SCHEMAS DIRECTORY");
        administrate(argv[1], argv[2]);
    });
}
