// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <iostream>
#include <string>

namespace crash {

/** A number from the environment, or what it is without. */
inline long number(char const* variable, long otherwise) {
    char const* const value = std::getenv(variable);
    return value != nullptr ? std::stol(value) : otherwise;
}

/** Whether all is tried, which takes minutes, as `scripts/crash-test` has it. */
inline bool isThorough() {
    return number("CRASH_THOROUGH", 0) != 0;
}

/** Says how much was tried, for `scripts/crash-test` to add up. */
inline void figure(std::string const& name, long count) {
    std::cout << "figure: " << count << ' ' << name << '\n';
}

/** The name of a test with a way to save: its letters. */
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
constexpr std::size_t moreSectors = 6'000; // as many as can be lost in every combination
constexpr std::size_t manySectors = 100'000;

} // namespace crash
