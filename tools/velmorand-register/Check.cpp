// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iostream>

#include "Commands.h"
#include "Input.h"
#include "Record.h"
#include "Text.h"

namespace tool {

namespace {

void complainOf(RegisterFile const& file, std::string_view name, std::string const& damage) {
    complain(file.path() + ": \"" + std::string(name) + "\": " + damage);
}

/**
 * Checks a register file and the records in it, and prints that it is sound, or what is damaged.
 * Errors: `Failure` when it is not a whole register file.
 */
Status checkFile(RegisterFile const& file) {
    Settings settings;
    Loaded const loaded = file.load(settings);
    if (!loaded.isThere)
        throw noFile(file.path(), Status::notThere);
    Status status = Status::done;
    if (loaded.bytesAfter != 0) {
        complain(file.path() + ": unexpected data after the settings: " +
                 counted(static_cast<std::size_t>(loaded.bytesAfter), "byte", "bytes"));
        status = Status::fileTrouble;
    }
    for (Walk walk = settings.walk(); walk.next();) {
        if (walk.kind() == Kind::directory)
            continue;
        if (Reading const reading = decode(walk.content()); !reading.damage.empty()) {
            complainOf(file, nameOf(walk), reading.damage);
            status = Status::fileTrouble;
        }
    }
    if (status == Status::done) {
        printEscaped(std::cout, file.path(), forLine());
        std::cout << ": sound, " << counted(settings.countProperties(), "property", "properties") << '\n';
    }
    return status;
}

} // namespace

Status check(Places const& places, std::optional<std::string> const& path) {
    if (path)
        return checkFile(fileAt(*path));
    theDirectory(places); // refuses the temporary scope
    Status worst = Status::done;
    for (ScopedFile const& scoped : filesToRead(places)) {
        try {
            worst = std::max(worst, checkFile(scoped.file));
        } catch (Failure const& failure) {
            complain(failure.what());
            worst = std::max(worst, failure.status());
        }
    }
    return worst;
}

} // namespace tool
