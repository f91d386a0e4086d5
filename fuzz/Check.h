// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace fuzz {

/** Ends the process with a message if a promise does not hold for the current input. */
inline void check(bool holds, char const* promise, std::string_view detail = {}) {
    if (holds)
        return;
    static_cast<void>(std::fprintf(stderr, "broken promise: %s: %.*s\n", promise,
                                   static_cast<int>(detail.size()), detail.data()));
    std::abort();
}

} // namespace fuzz
