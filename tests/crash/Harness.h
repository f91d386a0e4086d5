// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <iostream>
#include <string>

namespace crash {

/** A number from the environment, or `otherwise` if it is not set. */
inline long number(char const* variable, long otherwise) {
    char const* const value = std::getenv(variable);
    return value != nullptr ? std::stol(value) : otherwise;
}

/** Whether to try everything, which takes minutes; `scripts/crash-test` does. */
inline bool isThorough() {
    return number("CRASH_THOROUGH", 0) != 0;
}

/** Prints how much was tried, for the sums of `scripts/crash-test`. */
inline void figure(std::string const& name, long count) {
    std::cout << "figure: " << count << ' ' << name << '\n';
}

/** Names a test after its parameter, a way to save, without the hyphens. */
struct NameOfManner {
    template <class Test>
    std::string operator()(Test const& test) const {
        std::string name;
        for (char const character : std::string(test.param))
            if (character != '-')
                name += character;
        return name;
    }
};

constexpr std::size_t oneSector = 400;
constexpr std::size_t fewSectors = 2'400;
constexpr std::size_t moreSectors = 6'000; // the largest size for which every combination can be tried
constexpr std::size_t manySectors = 100'000;

} // namespace crash
