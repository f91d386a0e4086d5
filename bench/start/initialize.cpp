// SPDX-License-Identifier: Apache-2.0
//
// usage: velmorand-bench-start-initialize USER-DIRECTORY GLOBAL-DIRECTORY NAME...
//
// Opens settings that are not shared, reads some of them, and exits.
#include <velmorand/Initialize.h>
#include <velmorand/Property.h>

int main(int argc, char** argv) {
    velmorand::initialize(argv[2], argv[1]);
    int sum = 0;
    for (int i = 3; i < argc; ++i)
        sum += velmorand::read<int>(argv[i]);
    return sum > 0 ? 0 : 1;
}
