// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "velmorand/Export.h"

/**
 * Imports settings that an application used to keep in another store, when the application first starts.
 *
 *     velmorand::LiveSettings live;
 *     velmorand::importOnce(live, "editor",
 *                           {velmorand::Store::ini, home + "/.config/Example/Editor.conf",
 *                            velmorand::ImportMap("/ -> editor/")});
 *
 * `velmorand-register import --from` does the same on the command line.
 *
 * Guide: docs/moving.md describes the stores and the map.
 */
namespace velmorand {

class LiveSettings;

/** The kinds of store that settings can be imported from. */
enum class Store {
    ini,     ///< a QSettings file in INI format
    kconfig, ///< a KConfig file; needs the program import-kconfig
    dconf, ///< a file with the output of `dconf dump`, or a directory of the user's database; needs import-dconf
    json, ///< a file that contains a JSON object
};

/**
 * Maps old settings to new names and kinds, with one rule per line:
 *
 *     # a comment
 *     window/width -> editor/window width
 *     window/opacity -> editor/opacity as number
 *     / -> editor/
 *     drop cache/
 *
 * A name that ends with "/" is a group: the rule applies to everything in it, and "/" alone to all settings. A rule for
 * the setting itself takes precedence; otherwise the rule for its innermost group applies. A setting without a rule
 * keeps its name. `as` gives the kind: string, number, integer, boolean, strings, numbers, integers or booleans.
 *
 * The levels of old names are encoded by `levelFrom`: "%2F" is a "/" within a level.
 */
class VELMORAND_SETTINGS_EXPORT ImportMap {
public:
    struct Rules;

    /** No rules. */
    ImportMap();

    /** Errors: `utils::Exception` for an invalid line, with its number and the reason: "line 3: ...". */
    explicit ImportMap(std::string const& text);

    /** Internal. Owner: the map and its copies, which share the rules. */
    [[nodiscard]] Rules const& rules() const noexcept { return *_rules; }

private:
    std::shared_ptr<Rules const> _rules;
};

struct ImportSource {
    Store store;
    std::string
        path; ///< UTF-8. For dconf, a path that starts and ends with "/" names a directory of the user's database
    ImportMap map{};
};

/** The outcome for one setting of the old store. */
struct ImportedSetting {
    enum class Outcome {
        set,       ///< it has been set under its new name
        unchanged, ///< the new name already had this value
        kept,      ///< the new name already had another value, and keeps it
        dropped,   ///< by a rule of the map
        refused,   ///< it cannot be imported or cannot be set
    };

    std::string from; ///< the old name
    std::string name; ///< the new name; empty if it is dropped
    Outcome outcome;
    std::string reason; ///< why it was refused
};

struct ImportReport {
    enum class Result {
        imported,     ///< by this call; `settings` has the outcome of each setting
        doneBefore,   ///< earlier, by this or another process
        nothingThere, ///< the old store does not exist
        failed,       ///< nothing has changed; the next call tries again
    };

    Result result;
    std::string reason; ///< why it failed, or why imported settings may not survive a power failure; or empty
    std::vector<ImportedSetting> settings; ///< in the order of the old store
};

/**
 * Imports the user's settings from another store, once: the first time that the application starts and the old store
 * exists. Call it right after creating the `LiveSettings`, before the settings are read.
 *
 * All settings that can be imported are stored together with the property "velmorand/imported/ID", which records the
 * import; ID is `levelFrom(id)`. When the function returns, they are durable in the user's file and available in
 * memory. If several processes start at the same time, one imports and the others wait for it. If a process dies during
 * the import, either everything has been imported or nothing; in the latter case the next start tries again.
 *
 * A setting that the user already has, in the file or in this process, is kept. If the old store does not exist, nothing
 * is recorded, and the next start looks for it again. Otherwise the import is complete even if settings were refused:
 * they are not imported later, even if the administrator unlocks them.
 *
 * To import again, reset "velmorand/imported/ID"; this also brings back settings that the user has reset since.
 * `Group().remove()` removes the record, too. To reset a program's settings without a new import, call
 * `resetDeclaredProperties`, or remove the program's own group.
 *
 * A value gets the kind that the map gives, otherwise the kind of the `Property` declared under the new name, otherwise
 * its natural kind. Values that the `Property` does not allow, and values whose names the administrator has locked, are
 * refused; the others are imported. The old store is not changed.
 *
 * For each value in an INI file that only its own program can read, such as a font, QtCore also passes a warning to the
 * process's message handler: "QVariant::load: unable to load type 64.".
 *
 * Errors: `utils::Exception` if `id` is empty. Every other failure is in the report.
 * Locks: takes the settings' lock and the kernel's lock on the user's directory, one after the other, and waits for the
 * latter for at most 5 seconds each time. Do not call it with the settings' lock held. Listeners are notified of the
 * imported settings on this thread or on that of `live`, with the address of `live` as the sender.
 */
VELMORAND_SETTINGS_EXPORT ImportReport importOnce(LiveSettings& live, std::string const& id,
                                                  ImportSource const& source);

} // namespace velmorand
