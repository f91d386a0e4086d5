// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace support {

/**
 * While one lives, it counts the memory that is taken and given back, by whichever library of the process.
 * One lives at a time, and only one thread runs meanwhile.
 */
class MemoryPeak {
public:
    MemoryPeak();
    MemoryPeak(MemoryPeak const&) = delete;
    MemoryPeak& operator=(MemoryPeak const&) = delete;
    ~MemoryPeak();

    /** The most bytes that have been in use at once, of the last one's time and beyond those at its start. */
    [[nodiscard]] static long bytes();
};

} // namespace support
