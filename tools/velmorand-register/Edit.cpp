// SPDX-License-Identifier: Apache-2.0
#include "Edit.h"

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

#include "Locks.h"
#include "Text.h"

namespace tool {

namespace {

/** Creates the default directory, accessible to the user alone. Errors: `Failure` with the directory that failed. */
void makeDirectory(std::string const& path) {
    if (filesystem::makePrivateDirectories(path))
        return;
    int const error = errno;
    std::filesystem::path made;
    for (std::filesystem::path const& name : std::filesystem::path(path))
        if (made /= name; !isDirectory(made.native()))
            break;
    throw Failure(Status::fileTrouble, "cannot create the directory " + made.string() + ": " +
                                           std::generic_category().message(error));
}

} // namespace

void take(filesystem::DirectoryLock& lock, Directory const& directory, std::chrono::seconds patience) {
    using Outcome = filesystem::DirectoryLock::Outcome;
    Outcome const outcome = lock.take(directory.path, patience);
    if (outcome == Outcome::taken)
        return;
    throw Failure(Status::fileTrouble,
                  directory.path + ": " +
                      (outcome == Outcome::failed
                           ? std::generic_category().message(errno)
                           : "another process has held the lock for more than " +
                                 std::to_string(patience.count()) +
                                 " s (end that process, or wait longer with --wait SECONDS)"));
}

namespace {

/** The settings in a register file before and after a change. */
struct Edited {
    Settings before;
    Settings after;
    std::optional<Difference> difference; ///< nothing if the file exists and already holds the settings
};

Edited edited(RegisterFile const& file, Change const& change) {
    Edited result;
    bool const isThere = file.load(result.before).isThere;
    file.load(result.after);
    change(result.after);
    Difference const difference = compare(result.before, result.after);
    if (!isThere || !difference.isNone())
        result.difference = difference;
    return result;
}

/** Prints the notes about a change. */
void note(Edited const& changed, Places const& places) {
    if (!changed.difference)
        return;
    noteScope(places);
    auto const list = changed.after.find(lockListName);
    if (places.scope.value_or(Scope::user) == Scope::user && list.kind != Kind::none &&
        list.content != changed.before.find(lockListName).content)
        complain(std::string("note: \"") + lockListName +
                 "\" has no effect in a user's settings (use --global DIR --scope global for the "
                 "administrator's)");
}

/** The settings before and after a change that is not saved. Prints the notes about it. */
Edited rehearsed(Places const& places, Change const& change) {
    Directory const directory = theDirectory(places);
    filesystem::DirectoryLock lock; // the file is read twice
    if (isDirectory(directory.path))
        take(lock, directory, places.patience);
    Edited result = edited(fileIn(directory), change);
    note(result, places);
    return result;
}

} // namespace

std::optional<Difference> edit(Places const& places, Change const& change) {
    Directory const directory = theDirectory(places);
    RegisterFile const file = fileIn(directory);
    if (std::error_code ignored; !directory.isNamed && !std::filesystem::exists(directory.path, ignored)) {
        Settings nothing;
        change(nothing); // a change that fails creates no directory
        makeDirectory(directory.path);
    }
    filesystem::DirectoryLock lock;
    take(lock, directory, places.patience);
    Edited const result = edited(file, change);
    if (result.difference)
        file.save(result.after);
    note(result, places);
    return result.difference;
}

std::optional<Difference> rehearse(Places const& places, Change const& change) {
    return rehearsed(places, change).difference;
}

std::optional<Difference> preview(Places const& places, Change const& change, std::ostream& out) {
    Edited const result = rehearsed(places, change);
    printChanges(result.before, result.after, out);
    return result.difference;
}

void noteScope(Places const& places) {
    if (places.globalDirectory && !places.scope)
        complain("note: these are your own settings, not the administrator's (use --scope global for those)");
}

} // namespace tool
