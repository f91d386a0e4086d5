// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace faults {

/** Which allocations fail once the chosen one has: none, or all that follow. */
enum class Afterwards { memoryIsThere, nothingIsLeft };

/**
 * While one lives, the `nth` allocation from its making on fails, whichever library asks. One lives at a
 * time, and only one thread runs meanwhile.
 */
class FailingAllocation {
public:
    FailingAllocation(long nth, Afterwards afterwards);
    FailingAllocation(FailingAllocation const&) = delete;
    FailingAllocation& operator=(FailingAllocation const&) = delete;
    ~FailingAllocation();

    /** Whether there was an `nth` allocation. */
    [[nodiscard]] static bool hasFailed();
};

} // namespace faults
