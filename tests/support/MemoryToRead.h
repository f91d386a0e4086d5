// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace support {

/**
 * The most memory that reading a register file of this size may use, for any content. Nested directories, of three
 * bytes each, need the most: 110 times the size of the file.
 */
constexpr long memoryToRead(std::size_t bytes) {
    return 65'536 + 128 * static_cast<long>(bytes);
}

} // namespace support
