// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace support {

/** Numbers the types of a typed test suite. Without names, which has the same effect, Clang warns. */
struct NumberedTypes {
    template <class T>
    static std::string GetName(int place) {
        return std::to_string(place);
    }
};

} // namespace support
