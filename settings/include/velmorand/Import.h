// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "velmorand/Export.h"

/**
 * Taking over the settings that an application has kept elsewhere, when it starts for the first time.
 *
 *     velmorand::LiveSettings live;
 *     velmorand::importOnce(live, "editor",
 *                           {velmorand::Store::ini, home + "/.config/Example/Editor.conf",
 *                            velmorand::ImportMap("/ -> editor/")});
 *
 * `velmorand-register import --from` does the same by hand. docs/moving.md describes the stores and the map.
 */
namespace velmorand {

class LiveSettings;

/** Where settings can be imported from. */
enum class Store {
    ini,     ///< a file of QSettings in its INI format
    kconfig, ///< a file of KConfig; needs the program import-kconfig
    dconf, ///< a file with the output of `dconf dump`, or a directory of the user's database; needs import-dconf
    json, ///< a file with a JSON object
};

/**
 * Says which new name, and kind, each old setting gets. One rule a line:
 *
 *     # a comment
 *     window/width -> editor/window width
 *     window/opacity -> editor/opacity as number
 *     / -> editor/
 *     drop cache/
 *
 * A name that ends with "/" is a group: the rule is for everything in it, and "/" alone is all settings. The rule that
 * names a setting, or else the innermost group around it, counts. Without a rule a setting keeps its name. `as` gives
 * the kind: string, number, integer, boolean, strings, numbers, integers or booleans.
 *
 * The levels of old names are as `levelFrom` makes them: "%2F" for a "/" within a level.
 */
class VELMORAND_SETTINGS_EXPORT ImportMap {
public:
    struct Rules;

    /** No rules. */
    ImportMap();

    /** Errors: `utils::Exception` for a line that is not a rule, a comment or empty: "line 3: ...". */
    explicit ImportMap(std::string const& text);

    /** Owner: the map and its copies. */
    [[nodiscard]] Rules const& rules() const noexcept { return *_rules; }

private:
    std::shared_ptr<Rules const> _rules;
};

struct ImportSource {
    Store store;
    std::string
        path; ///< UTF-8. For dconf, a path with "/" at both ends is a directory of the user's database
    ImportMap map{};
};

/** What has become of one setting of the old store. */
struct ImportedSetting {
    enum class Outcome {
        set,       ///< it has its new name now
        unchanged, ///< the new name had this value before
        kept,      ///< the new name had another value before, and still has it
        dropped,   ///< the map drops it
        refused,   ///< it cannot be imported, or not be set
    };

    std::string from; ///< the old name
    std::string name; ///< the new name; empty if it is dropped
    Outcome outcome;
    std::string reason; ///< why it was refused
};

struct ImportReport {
    enum class Result {
        imported,     ///< now; each setting's outcome is among `settings`
        doneBefore,   ///< earlier, by this or another process
        nothingThere, ///< the old store does not exist
        failed,       ///< nothing has changed, and the next call tries again
    };

    Result result;
    std::string reason; ///< of a failure; also set if what was imported may not survive a power failure
    std::vector<ImportedSetting> settings; ///< in the order of the old store
};

/**
 * Imports the user's settings from another store, once: on the first start of the application that finds the old store.
 * Call it right after creating the `LiveSettings`, before the settings are read.
 *
 * All settings that can be imported are put in place together with the property "velmorand/imported/ID", which records
 * the import; ID is `levelFrom(id)`. When the function returns they are in the user's file, durable, and in memory. Of
 * several processes that start at the same time, one imports, and the others wait for it. A process that dies meanwhile
 * has imported everything or nothing; if nothing, the next start imports.
 *
 * A setting that the user has already, in the file or in this process, is kept. Reset "velmorand/imported/ID" to import
 * again; removing all settings does that as well. If the old store does not exist, nothing is recorded: it is looked
 * for again at the next start.
 *
 * A value gets the kind that the map gives, or that of the `Property` declared under the new name, or its natural kind.
 * A value that the `Property` does not allow is refused, and so is every value of a name that the administrator has
 * locked; the others are imported. The old store is not changed.
 *
 * Errors: `utils::Exception` if `id` is empty. Every other failure is in the report.
 * Locks: takes the settings' lock for a moment, and then the kernel's lock on the user's directory, for which it waits
 * 5 seconds at most. Do not hold the settings' lock. Listeners are notified of the imported settings, on this thread,
 * with the address of `live` as the sender.
 */
VELMORAND_SETTINGS_EXPORT ImportReport importOnce(LiveSettings& live, std::string const& id,
                                                  ImportSource const& source);

} // namespace velmorand
