// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace support {

/**
 * While an object exists, it counts the memory that all libraries of the process allocate and free. Only one may
 * exist at a time, in a process with a single thread.
 */
class MemoryPeak {
public:
    MemoryPeak();
    MemoryPeak(MemoryPeak const&) = delete;
    MemoryPeak& operator=(MemoryPeak const&) = delete;
    ~MemoryPeak();

    /** The peak of the bytes in use during the existence of the last object, beyond those at its start. */
    [[nodiscard]] static long bytes();
};

} // namespace support
