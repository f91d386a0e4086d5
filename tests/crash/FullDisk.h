// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "Harness.h"
#include "support/SmallDisk.h"

namespace crash {

constexpr long page = 4096;

/** The end of a test with a small disk, which `scripts/crash-test` must not go without. */
inline void finishFullDisk(int status) {
    if (status != support::cannotMount)
        EXPECT_EQ(0, status);
    else if (isThorough())
        FAIL() << "this process may not mount a small tmpfs";
    else
        GTEST_SKIP() << "this process may not mount a small tmpfs";
}

/** Fills the disk but for some bytes. */
inline void fillUp(std::filesystem::path const& directory, long leave) {
    long const room = static_cast<long>(std::filesystem::space(directory).available);
    std::ofstream(directory / "ballast", std::ios::binary)
        << std::string(static_cast<std::size_t>(room - leave), 'x');
}

} // namespace crash
