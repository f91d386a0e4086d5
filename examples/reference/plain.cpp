// SPDX-License-Identifier: Apache-2.0
//
// Settings that are not shared: opening and saving without a LiveSettings.
#include <iostream>

#include <velmorand/Initialize.h>
#include <velmorand/Property.h>
#include <velmorand/Save.h>

using namespace velmorand;

int main() {
    //! [plain]
    initialize("global", "user"); // in this order: the administrator's directory, the user's
    write("editor/size", 12.5);
    if (SaveResult const result = saveSettings(); !result.saved)
        std::cerr << "settings not saved: " << result.reason << '\n';
    //! [plain]
    std::cout << read<double>("editor/size") << '\n';
}
