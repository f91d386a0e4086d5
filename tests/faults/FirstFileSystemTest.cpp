// SPDX-License-Identifier: Apache-2.0
#include <new>

#include <unistd.h>

#include <filesystem/RAMFileSystem.h>
#include <gtest/gtest.h>

#include "faults/Allocation.h"
#include "support/ChildProcess.h"

namespace {

/** Creates a file system while the `nth` allocation fails. Result: whether that allocation was reached. */
bool failsToMakeOne(long nth) {
    faults::FailingAllocation const failing(nth, faults::Afterwards::memoryIsThere);
    try {
        filesystem::RAMFileSystem const files;
    } catch (std::bad_alloc const&) {
    }
    return faults::FailingAllocation::hasFailed();
}

} // namespace

TEST(FirstFileSystem, ThatCannotBeCreatedDoesNotPreventForking) {
    ASSERT_EQ(0, support::inChild([] {
                  ::alarm(60); // for a fork that hangs
                  long failures = 0;
                  while (failsToMakeOne(failures + 1))
                      ++failures;
                  EXPECT_LT(0, failures);
                  EXPECT_EQ(0, support::inChild([] { filesystem::RAMFileSystem const files; },
                                                support::Leave::atOnce));
              }));
}
