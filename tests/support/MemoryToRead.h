// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace support {

/**
 * The most memory that reading a register file of so many bytes may take, whatever they say. It is directories
 * within directories that cost the most for their three bytes each: 110 times as much.
 */
constexpr long memoryToRead(std::size_t bytes) {
    return 65'536 + 128 * static_cast<long>(bytes);
}

} // namespace support
