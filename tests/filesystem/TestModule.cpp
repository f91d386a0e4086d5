// SPDX-License-Identifier: Apache-2.0

/** What the tests look for in a loaded module. */
extern "C" __attribute__((visibility("default"))) int velmorandTestModuleNumber() {
    return VELMORAND_TEST_MODULE_NUMBER;
}
