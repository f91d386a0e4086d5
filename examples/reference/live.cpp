// SPDX-License-Identifier: Apache-2.0
//
// Opening the settings, sharing them with other running programs, and saving.
#include <iostream>

#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>

using namespace velmorand;

int main() {
    //! [open]
    LiveOptions options{"user", "global"}; // without these: ~/.config/velmorand and /etc/xdg/velmorand
    options.onEvent = [](LiveEvent const& event) {
        if (event.kind == LiveEventKind::recovered)
            std::cout << "your settings were damaged and have been restored\n";
        std::cerr << event.file << ": " << event.reason << '\n';
    };
    LiveSettings live{options};
    //! [open]

    Property<int> const width{"editor/tab width", 8};
    width.set(width.get() + 1);

    //! [sync]
    SaveResult const result = live.sync(); // durable when it returns
    if (!result.saved)
        std::cerr << "settings not saved: " << result.reason << '\n';
    //! [sync]
    std::cout << (live.isSaved() ? "saved" : "not saved") << '\n';
}
