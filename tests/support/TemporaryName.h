// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>

#include <zlib.h>

namespace support {

/**
 * The name of a temporary file that a killed process has left next to the file `name`, which is short. `random` is
 * 8 hexadecimal digits.
 */
inline std::string temporaryName(std::string const& name, std::string const& random = "0123abcd") {
    std::string const checked = name + '/' + random;
    char check[9];
    std::snprintf(check, sizeof check, "%08lx",
                  ::crc32_z(0, reinterpret_cast<Bytef const*>(checked.data()), checked.size()));
    return '.' + name + ".velmorand-" + random + '-' + check;
}

} // namespace support
