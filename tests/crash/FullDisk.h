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

/** Ends a test with a small disk. `scripts/crash-test` must not skip it. */
inline void finishFullDisk(int status) {
    if (status != support::cannotMount)
        EXPECT_EQ(0, status);
    else if (isThorough())
        FAIL() << "this process may not mount a tmpfs";
    else
        GTEST_SKIP() << "this process may not mount a tmpfs";
}

/** Fills the disk except for some bytes. */
inline void fillUp(std::filesystem::path const& directory, long leave) {
    long const room = static_cast<long>(std::filesystem::space(directory).available);
    std::ofstream(directory / "ballast", std::ios::binary)
        << std::string(static_cast<std::size_t>(room - leave), 'x');
}

} // namespace crash
