// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace support {

/** Numbers the types of a typed test suite. GoogleTest does so by default, but the default makes Clang warn. */
struct NumberedTypes {
    template <class T>
    static std::string GetName(int place) {
        return std::to_string(place);
    }
};

} // namespace support
