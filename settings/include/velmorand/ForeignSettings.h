// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "velmorand/AnyValue.h"
#include "velmorand/Export.h"
#include "velmorand/Import.h"

namespace filesystem {
class RAMFileSystem;
}

/** The two steps of an import, for tools; applications use `importOnce`. */
namespace velmorand {

/** A setting of another store, with its new name and value. */
struct ForeignSetting {
    std::string from;              ///< the old name: levels as `levelFrom` makes them, with "/" between them
    std::string name;              ///< the new name; empty if it is dropped
    std::optional<AnyValue> value; ///< none if it is dropped or there is a problem
    std::string problem;           ///< why it cannot be imported; empty if it can
};

/** The name of the kind that a setting has under its new name; empty if it is not known. */
using KindOf = std::function<std::string(std::string const& name)>;

/**
 * Reads another store. A kind that the map gives takes precedence over `kindOf`, and both over the natural kind. A
 * value is converted to it by way of its text, as `valueOf` has it.
 * Result: all its settings, sorted as the store sorts them.
 * Errors: `utils::Exception` with the reason, without the path, if it cannot be read as a whole: it is missing or
 * invalid, or this installation does not have what reads it.
 * Locks: none. It does not use the register.
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT std::vector<ForeignSetting> readForeign(ImportSource const& source,
                                                                                KindOf const& kindOf);

/**
 * Puts settings into a directory of a file system in memory, as properties. One that cannot be put there does not stop
 * the others.
 * `isOverwriting`: whether other values under the new names are replaced; otherwise they are kept.
 * Result: the outcome of each, in the same order.
 */
VELMORAND_SETTINGS_EXPORT std::vector<ImportedSetting> importInto(filesystem::RAMFileSystem& files,
                                                                  std::string const& directory,
                                                                  std::vector<ForeignSetting> const& settings,
                                                                  bool isOverwriting);

} // namespace velmorand
