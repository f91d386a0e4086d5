// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "Settings.h"

namespace tool {

/** The number of properties and empty groups that differ between two versions of the settings. */
struct Difference {
    std::size_t set = 0;     ///< new, or with other bytes
    std::size_t removed = 0; ///< missing in the later version

    [[nodiscard]] bool isNone() const noexcept { return set == 0 && removed == 0; }
};

/** Compares two versions of the settings, byte for byte. Result: `isNone()` only if they also have the same groups. */
Difference compare(Settings const& before, Settings const& after);

/** A property's content, for one line: its kind and its value as JSON, or its bytes in base64. */
std::string described(std::string_view content);

/** A summary of what was saved: "2 set, 1 removed", or "nothing changed" if nothing was. */
std::string summaryOf(std::optional<Difference> const& saved);

/** Appended to the summary of a dry run if there are changes. */
constexpr char const* notWritten = "; not written (--dry-run)";

/**
 * Prints the differences, sorted by name: a line with "-" for each property or empty group that was removed, one with
 * "+" for each that was added, and both for each property that changed. A line has the sign, the name, the kind and the
 * value.
 * Result: whether there were any differences.
 */
bool printChanges(Settings const& before, Settings const& after, std::ostream& out);

} // namespace tool
