// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace bench {

/** The names of a set of properties. */
class Names {
public:
    /**
     * "group_12/sub_34/prop_567": 24 characters in the usual set of 10,000, spread evenly over their groups.
     */
    Names(std::size_t count, std::size_t groups) {
        for (std::size_t group = 0; group < groups; ++group)
            _groups.push_back("group_" + std::to_string(10 + group / 10) + "/sub_" +
                              std::to_string(10 + group % 10));
        for (std::size_t i = 0; i < count; ++i)
            _ordered.push_back(_groups[i % groups] + "/prop_" + std::to_string(100 + i / groups));
        shuffle();
    }

    /** Names of a length, in ten levels, all in one group. */
    static Names ofLength(std::size_t length, std::size_t count) {
        constexpr std::size_t levels = 10;
        Names result(0, 0);
        std::string group;
        for (std::size_t level = 1; level < levels; ++level) {
            group += "level_" + std::to_string(level);
            group.resize(level * length / levels - 1, 'x');
            group += '/';
        }
        for (std::size_t i = 0; i < count; ++i) {
            std::string const number = std::to_string(count + i);
            std::string name = group;
            name.resize(length - number.size(), 'x');
            result._ordered.push_back(name += number);
        }
        group.pop_back();
        result._groups.push_back(group);
        result.shuffle();
        return result;
    }

    [[nodiscard]] std::vector<std::string> const& ordered() const { return _ordered; }

    /** The names in random order, which is the same in every run. */
    [[nodiscard]] std::vector<std::string> const& shuffled() const { return _shuffled; }

    [[nodiscard]] std::vector<std::string> const& groups() const { return _groups; }

private:
    void shuffle() {
        std::vector<std::string> mixed = _ordered;
        std::shuffle(mixed.begin(), mixed.end(), std::minstd_rand(12345));
        _shuffled = mixed; // a copy, so that the strings are in memory in the order in which they are read
    }

    std::vector<std::string> _groups;
    std::vector<std::string> _ordered;
    std::vector<std::string> _shuffled;
};

/** Names similar to the given ones, but different from all of them. */
inline std::vector<std::string> missingNames(std::vector<std::string> names) {
    for (std::string& name : names)
        name.back() = 'x';
    return names;
}

/** The group of a name and its last level. */
inline std::pair<std::string, std::string> splitName(std::string const& name) {
    std::size_t const slash = name.rfind('/');
    return {name.substr(0, slash), name.substr(slash + 1)};
}

/** Cycles through a list of names. */
class Cycle {
public:
    explicit Cycle(std::vector<std::string> const& names) : _names(names) {}

    std::string const& next() {
        if (_next == _names.size())
            _next = 0;
        return _names[_next++];
    }

private:
    std::vector<std::string> const& _names;
    std::size_t _next = 0;
};

} // namespace bench
