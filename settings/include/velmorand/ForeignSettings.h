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

/**
 * The two steps of an import, for tools; applications use `importOnce`.
 *
 * Guide: docs/moving.md.
 */
namespace velmorand {

/** A setting of another store, with its new name and value. */
struct ForeignSetting {
    std::string from;              ///< the old name: levels encoded by `levelFrom`, separated by "/"
    std::string name;              ///< the new name; empty if it is dropped
    std::optional<AnyValue> value; ///< empty if it is dropped or there is a problem
    std::string problem;           ///< why it cannot be imported; empty if it can
};

/** Returns the name of the kind for a setting's new name; empty if the kind is not known. */
using KindOf = std::function<std::string(std::string const& name)>;

/**
 * Reads another store. A kind given by the map takes precedence over `kindOf`, and both over the natural kind. Values
 * are converted to their kind by way of their text, as `valueOf` parses it.
 * Result: all settings of the store, in the store's own order.
 * Errors: `utils::Exception` with the reason, without the path, if the store cannot be read as a whole: it is missing
 * or invalid, or this installation does not have the reader for it.
 * Locks: none. It does not use the register.
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT std::vector<ForeignSetting> readForeign(ImportSource const& source,
                                                                                KindOf const& kindOf);

/**
 * Puts settings, as properties, into a directory of a file system in memory. A setting that cannot be put there does
 * not stop the others.
 * `isOverwriting`: whether to replace other values under the new names; otherwise they are kept.
 * Result: the outcome of each setting, in the same order.
 */
VELMORAND_SETTINGS_EXPORT std::vector<ImportedSetting> importInto(filesystem::RAMFileSystem& files,
                                                                  std::string const& directory,
                                                                  std::vector<ForeignSetting> const& settings,
                                                                  bool isOverwriting);

} // namespace velmorand
