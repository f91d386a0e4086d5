// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz {

/** Ends the process, loudly, when a promise does not hold for the input at hand. */
inline void check(bool holds, std::string const& promise) {
    if (holds)
        return;
    static_cast<void>(std::fprintf(stderr, "broken promise: %s\n", promise.c_str()));
    std::abort();
}

} // namespace fuzz
