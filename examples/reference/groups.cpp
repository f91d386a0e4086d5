// SPDX-License-Identifier: Apache-2.0
//
// Groups of settings: a user's profiles.
#include <iostream>
#include <string>

#include <velmorand/Group.h>
#include <velmorand/LiveSettings.h>

using namespace velmorand;

int main() {
    LiveSettings live{{"user", "global"}};

    //! [fill]
    Group const profiles{"editor/profiles"};
    Group const night = profiles.group(levelFrom("Night / low light")); // any text can be a level
    night.write("theme", "dark");
    night.write("size", 14.0);
    //! [fill]

    //! [list]
    for (std::string const& profile : profiles.groups())
        std::cout << textFrom(profile) << ": " << profiles.group(profile).read<std::string>("theme") << '\n';
    //! [list]

    //! [copy]
    night.copy(profiles.nameOf("Reading"));
    night.rename(profiles.nameOf("Night"));
    profiles.group("Reading").remove();
    //! [copy]
    for (std::string const& profile : profiles.groups())
        std::cout << profile << '\n';
    profiles.remove();
}
