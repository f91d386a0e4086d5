// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>

#include "velmorand/Import.h"

namespace velmorand {

/** The rules of a map, by old name. */
struct ImportMap::Rules {
    struct Rule {
        std::optional<std::string> name; ///< the new name; empty to drop the setting
        std::optional<std::size_t> kind; ///< an index of `kindNames`
        std::size_t line;
    };

    /** The new name and kind of a setting; without a name, the setting is dropped. */
    struct Target {
        std::optional<std::string> name;
        std::optional<std::size_t> kind;
    };

    [[nodiscard]] Target targetOf(std::string const& from) const;

    std::map<std::string, Rule> settings;
    std::map<std::string, Rule> groups; ///< the group of all settings is ""
};

} // namespace velmorand
