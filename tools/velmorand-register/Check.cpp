// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iostream>
#include <optional>
#include <utility>
#include <vector>

#include "Catalogues.h"
#include "Commands.h"
#include "Expectation.h"
#include "Input.h"
#include "Locks.h"
#include "NearestName.h"
#include "Text.h"
#include "Value.h"

namespace tool {

namespace {

/** The diagnostic about an entry of a register file. */
std::string about(RegisterFile const& file, std::string_view name, std::string const& reason) {
    return file.path() + ": \"" + std::string(name) + "\": " + reason;
}

/** The warning about an undeclared name; empty if no setting is declared in the same outermost group. */
std::string undeclared(std::string_view name, Declarations const& declarations) {
    DeclaredGroup const group = declaredIn(declarations, name.substr(0, name.find('/')));
    if (group.begin == group.end)
        return {};
    return notDeclared(nearestName(group, name));
}

/** Why an entry does not match its declaration; empty if it does. */
std::string difference(Walk const& entry, Reading const& reading, Declarations const& declarations) {
    std::string_view const name = nameOf(entry);
    bool const isGroup = entry.kind() == Kind::directory;
    auto const declared = declarations.find(name);
    if (declared == declarations.end())
        return isGroup ? std::string() : undeclared(name, declarations);
    if (reading.value)
        return objectionTo(*reading.value, declared->second);
    return objection(isGroup ? "a group" : "a property without a value", declared->second);
}

/** Why an entry does not match its declaration or, if it is the list of locks, everything that is wrong with it. */
std::vector<std::string> objectionsTo(Walk const& entry, Reading const& reading,
                                      Declarations const& declarations) {
    if (nameOf(entry) == lockListName)
        return objectionsToLocks(entry.kind(), reading);
    std::string wrong = difference(entry, reading, declarations);
    return wrong.empty() ? std::vector<std::string>() : std::vector{std::move(wrong)};
}

/** Checks register files, with or without declarations to compare them with. */
class Checker {
public:
    explicit Checker(Declarations declarations = {}) : _declarations(std::move(declarations)) {}

    /** Checks the file at a path or, without one, the files of all scopes. */
    [[nodiscard]] Status check(Places const& places, std::optional<std::string> const& path) const {
        if (path) {
            RegisterFile const file = fileAt(*path);
            if (std::optional<Status> const status = check(file))
                return *status;
            throw noFile(file.path(), Status::notThere);
        }
        theDirectory(places); // refuses the temporary scope
        Status worst = Status::done;
        for (ScopedFile const& scoped : filesToRead(places)) {
            try {
                std::optional<Status> const status = check(scoped.file);
                if (!status)
                    print(scoped.file, "nothing saved yet");
                worst = worse(worst, status.value_or(Status::done));
            } catch (Failure const& failure) {
                complain(failure.what());
                worst = worse(worst, failure.status());
            }
        }
        return worst;
    }

private:
    static void print(RegisterFile const& file, std::string const& result) {
        printEscaped(std::cout, file.path(), forLine());
        std::cout << ": " << result << '\n';
    }

    /**
     * Prints that a register file is sound, or every problem found in it.
     * Result: nothing if the file does not exist.
     * Errors: `Failure` if it is damaged as a whole.
     */
    [[nodiscard]] std::optional<Status> check(RegisterFile const& file) const {
        Settings settings;
        Loaded const loaded = file.load(settings);
        if (!loaded.isThere)
            return std::nullopt;
        bool isSound = loaded.bytesAfter == 0;
        if (!isSound)
            complain(file.path() + ": unexpected data after the settings: " +
                     counted(static_cast<std::size_t>(loaded.bytesAfter), "byte", "bytes"));
        std::size_t warnings = 0;
        for (Walk walk = settings.walk(); walk.next();) {
            Reading const reading = walk.kind() == Kind::file ? decodeRecord(walk.content()) : Reading();
            if (!reading.damage.empty()) {
                complain(about(file, nameOf(walk), reading.damage));
                isSound = false;
                continue;
            }
            for (std::string const& wrong : objectionsTo(walk, reading, _declarations)) {
                complain("warning: " + about(file, nameOf(walk), wrong));
                ++warnings;
            }
        }
        if (!isSound)
            return Status::fileTrouble;
        std::string const properties = counted(settings.countProperties(), "property", "properties");
        print(file, warnings == 0 ? "sound, " + properties
                                  : properties + ", " + counted(warnings, "warning", "warnings"));
        return warnings == 0 ? Status::done : Status::notAsDeclared;
    }

    /** The status for two files: any other problem outweighs warnings. */
    static Status worse(Status one, Status other) {
        if (one == Status::notAsDeclared && other != Status::done)
            return other;
        if (other == Status::notAsDeclared && one != Status::done)
            return one;
        return std::max(one, other);
    }

    Declarations _declarations;
};

} // namespace

Status check(Places const& places, std::optional<std::string> const& path) {
    return Checker().check(places, path);
}

Status checkDeclared(Places const& places, std::optional<std::string> const& path) {
    Declarations declarations = readCatalogues(places.catalogues);
    if (declarations.empty())
        complain(nothingDeclared);
    return Checker(std::move(declarations)).check(places, path);
}

} // namespace tool
