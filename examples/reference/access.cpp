// SPDX-License-Identifier: Apache-2.0
//
// Reading and writing settings by name.
#include <iostream>
#include <string>
#include <vector>

#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>

using namespace velmorand;

int main() {
    //! [open]
    LiveSettings live{{"user", "global"}}; // a real program declares just "LiveSettings live;"
    //! [open]

    //! [write]
    write("editor/theme", "dark");
    write("editor/recent", std::vector<std::string>{"todo.txt", "letter.txt"});
    write("editor/cursor", 120, SCOPE_TEMPORARY); // for this process only
    //! [write]

    //! [read]
    auto const theme = read<std::string>("editor/theme"); // throws if no scope has it
    auto const size = read<double>("editor/size", 11.0);  // the fallback if no scope has it
    //! [read]
    std::cout << theme << ' ' << size << '\n';

    //! [errors]
    try {
        std::cout << read<int>("editor/theme") << '\n';
    } catch (PropertyBadType const&) {
        std::cout << "not an integer\n";
    } catch (PropertyNotFound const&) {
        std::cout << "not set\n";
    }
    //! [errors]
}
