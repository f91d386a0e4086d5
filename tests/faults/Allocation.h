// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace faults {

/** Which allocations fail after the chosen one: none, or all. */
enum class Afterwards { memoryIsThere, nothingIsLeft };

/**
 * While an object exists, the `nth` allocation since its construction fails, in any library; under a sanitizer, only
 * allocations by C++ code count. Only one object may exist at a time, in a process with a single thread.
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
