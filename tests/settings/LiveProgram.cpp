// SPDX-License-Identifier: Apache-2.0
//
// usage: live-program USER-DIRECTORY GLOBAL-DIRECTORY
//                     {set NAME INTEGER | delete NAME | group NAME | lock NAME | get NAME}...
//
// A program with live settings that makes the given changes in order and exits. "get" prints the integer, or "-" if it
// is missing. "lock" locks this name only, for programs whose global directory is this program's user directory.

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include <utils/properties/Register.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>

using namespace velmorand;
using utils::properties::_Register;

int main(int argc, char** argv) {
    LiveOptions options;
    options.userDirectory = argv[1];
    options.globalDirectory = argv[2];
    options.delay = std::chrono::hours(1);
    LiveSettings live(options);
    for (int i = 3; i + 1 < argc; i += 2) {
        std::string const action = argv[i];
        std::string const name = argv[i + 1];
        if (action == "set")
            write(name, std::stoi(argv[++i + 1]));
        else if (action == "delete")
            _Register::getInstance()->delProperty(name, SCOPE_USER);
        else if (action == "group")
            _Register::getInstance()->addGroup(name, SCOPE_USER);
        else if (action == "lock")
            write("velmorand/locked", std::vector<std::string>{name});
        else if (_Register::getInstance()->propertyExists(name))
            std::cout << read<int>(name) << '\n';
        else
            std::cout << "-\n";
    }
    return live.sync().saved ? EXIT_SUCCESS : EXIT_FAILURE;
}
