// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace support {

/**
 * The most memory that reading a register file may use, for any content. Nested directories cost the most: 110 times
 * their three bytes each.
 */
constexpr long memoryToRead(std::size_t bytes) {
    return 65'536 + 128 * static_cast<long>(bytes);
}

} // namespace support
