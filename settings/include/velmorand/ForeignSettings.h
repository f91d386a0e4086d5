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
    std::string name;              ///< the new name; empty if the map drops the setting
    std::optional<AnyValue> value; ///< empty if the setting is dropped or there is a problem
    std::string problem;           ///< why it cannot be imported; empty if it can
};

/** Returns the name of the kind for a setting's new name; empty if the kind is not known. */
using KindOf = std::function<std::string(std::string const& name)>;

/**
 * Reads another store. A kind given by the map takes precedence over `kindOf`, and both over the natural kind. A value
 * of another kind is converted through its text, which is parsed as by `valueOf`; for a boolean, "1", "0" and upper-case
 * letters are accepted, too.
 * Result: all settings of the store, in the store's own order.
 * Errors: `utils::Exception` with the reason, but without the path, if the whole store cannot be read, because it is
 * missing or invalid, or the reader for it is not installed. Problems of single settings are in the result.
 * Locks: none. It does not use the register.
 */
[[nodiscard]] VELMORAND_SETTINGS_EXPORT std::vector<ForeignSetting> readForeign(ImportSource const& source,
                                                                                KindOf const& kindOf);

/**
 * Stores settings as properties in a directory of an in-memory file system. If one cannot be stored, the others still
 * are.
 * `isOverwriting`: whether to replace existing values of the new names; otherwise they are kept.
 * Result: the outcome of each setting, in the same order.
 */
VELMORAND_SETTINGS_EXPORT std::vector<ImportedSetting> importInto(filesystem::RAMFileSystem& files,
                                                                  std::string const& directory,
                                                                  std::vector<ForeignSetting> const& settings,
                                                                  bool isOverwriting);

} // namespace velmorand
