// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <utils/properties/Register.h>

using utils::properties::RegisterScope;
using utils::properties::SCOPE_GLOBAL;
using utils::properties::SCOPE_TEMPORARY;
using utils::properties::SCOPE_USER;

using Calls = std::vector<std::string>;
using Names = std::vector<std::string>;

inline constexpr RegisterScope allScopes[] = {SCOPE_GLOBAL, SCOPE_USER, SCOPE_TEMPORARY};

/** An invalid scope. */
inline constexpr auto badScope = static_cast<RegisterScope>(3);

/** The names in a listing, in the same order. */
inline Names names(std::set<filesystem::DirEntry> const& listing) {
    Names result;
    for (filesystem::DirEntry const& entry : listing)
        result.push_back(entry.name.toUtf8().toStdString());
    return result;
}
