// SPDX-License-Identifier: Apache-2.0
//
// Importing the settings that version 1 of an application has left in an INI file.
#include <fstream>
#include <iostream>

#include <velmorand/Import.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>

using namespace velmorand;

int main() {
    std::ofstream("Notes.conf") << "[font]\nsize=14\n[cache]\nsize=1000\n";
    LiveSettings live{{"user", "global"}};

    //! [import]
    ImportMap const map("font/size -> notes/size as number\n"
                        "drop cache/");
    ImportReport const report = importOnce(live, "notes", {Store::ini, "Notes.conf", map});
    if (!report.reason.empty())
        std::cerr << "old settings: " << report.reason << '\n';
    for (ImportedSetting const& setting : report.settings)
        if (setting.outcome == ImportedSetting::Outcome::refused)
            std::cerr << setting.from << " is not imported: " << setting.reason << '\n';
    //! [import]
    std::cout << read<double>("notes/size") << '\n';
}
