// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace support {

/** Names the types of a typed test suite by their places, as without names, which Clang warns of. */
struct NumberedTypes {
    template <class T>
    static std::string GetName(int place) {
        return std::to_string(place);
    }
};

} // namespace support
