// SPDX-License-Identifier: Apache-2.0

/** The symbol that the tests look up in a loaded module. */
extern "C" __attribute__((visibility("default"))) int velmorandTestModuleNumber() {
    return VELMORAND_TEST_MODULE_NUMBER;
}
