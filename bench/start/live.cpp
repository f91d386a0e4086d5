// SPDX-License-Identifier: Apache-2.0
//
// usage: velmorand-bench-start-live USER-DIRECTORY GLOBAL-DIRECTORY NAME...
//
// Opens live settings, reads some of them, and exits.
#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>

int main(int argc, char** argv) {
    velmorand::LiveOptions options;
    options.userDirectory = argv[1];
    options.globalDirectory = argv[2];
    velmorand::LiveSettings const live(options);
    int sum = 0;
    for (int i = 3; i < argc; ++i)
        sum += velmorand::read<int>(argv[i]);
    return sum > 0 ? 0 : 1;
}
