// SPDX-License-Identifier: Apache-2.0
//
// usage: consumer DIRECTORY
//
// A superproject's application: uses the register, and leaves a register file in DIRECTORY when it exits.

#include <cstdlib>

#include <utils/properties/Register.h>

using utils::properties::_Register;

int main(int argc, char** argv) {
    if (argc != 2)
        return EXIT_FAILURE;
    _Register::initialize(argv[1], argv[1]);
    _Register::getInstance()->_writeInteger(nullptr, "editor/tab width", 4, utils::properties::SCOPE_USER);
    int width = 0;
    _Register::getInstance()->_readInteger("editor/tab width", width);
    return width == 4 ? EXIT_SUCCESS : EXIT_FAILURE;
}
