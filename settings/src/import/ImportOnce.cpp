// SPDX-License-Identifier: Apache-2.0
//
// The import changes the user's file under the kernel's lock on its directory, as another process would, and then
// merges the change into memory. So all imported settings appear at once, only one process imports, and settings that a
// process has changed but not saved yet take precedence over the import.

#include <algorithm>
#include <cerrno>
#include <exception>
#include <map>
#include <string_view>
#include <system_error>
#include <utility>

#include <filesystem/Direct.h>
#include <filesystem/PrivateDirectory.h>
#include <filesystem/RAMFileSystem.h>
#include <sys/stat.h>
#include <utils/Exception.h>

#include "../Access.h"
#include "../Declarations.h"
#include "../Locks.h"
#include "../Names.h"
#include "../live/DiskFile.h"
#include "../live/Limits.h"
#include "../live/Places.h"
#include "Readers.h"
#include "velmorand/Catalogue.h"
#include "velmorand/ForeignSettings.h"
#include "velmorand/Group.h"
#include "velmorand/LiveSettings.h"

namespace velmorand {

namespace {

using Result = ImportReport::Result;
using filesystem::DirectoryLock;
using filesystem::TreeImage;

constexpr char const* user = "user";

ImportReport failed(std::string reason) {
    return {Result::failed, std::move(reason), {}};
}

/** A message about a file: "PATH: REASON", or "PATH:3: REASON" if the reason begins with "line 3: ". */
std::string about(std::string const& path, std::string const& reason) {
    constexpr std::string_view line = "line ";
    bool const hasLine = reason.compare(0, line.size(), line) == 0;
    return path + ':' + (hasLine ? reason.substr(line.size()) : ' ' + reason);
}

std::string recordName(std::string const& id) {
    if (id.empty())
        throw utils::Exception("the ID of an import is empty");
    return "velmorand/imported/" + levelFrom(id);
}

bool isMissing(ImportSource const& source) {
    struct stat status = {};
    return !import::isDatabaseDirectory(source) && ::stat(source.path.c_str(), &status) != 0 &&
           (errno == ENOENT || errno == ENOTDIR);
}

std::vector<ForeignSetting> readDeclared(ImportSource const& source) {
    std::map<std::string, std::string> kinds;
    for (DeclaredProperty& property : declaredProperties())
        kinds.emplace(std::move(property.name), std::move(property.kind));
    return readForeign(source, [&kinds](std::string const& name) {
        auto const kind = kinds.find(name);
        return kind == kinds.end() ? std::string() : kind->second;
    });
}

void refuse(ForeignSetting& setting, std::string problem) {
    if (problem.empty())
        return;
    setting.value.reset();
    setting.problem = std::move(problem);
}

/** Refuses the values that the administrator's locks or the program's declarations do not allow. */
void refuseForbidden(std::vector<ForeignSetting>& settings) {
    Access const access;
    if (!access)
        return;
    Locks const& locks = locksOf(*access);
    std::multimap<std::string, ForeignSetting*> byName;
    for (ForeignSetting& setting : settings) {
        if (setting.value)
            refuse(setting, locks.objectionTo(setting.name));
        if (setting.value)
            byName.emplace(setting.name, &setting);
    }
    eachDeclaration([&byName](detail::Declaration const& declaration) {
        auto const [begin, end] = byName.equal_range(declaration.name());
        std::for_each(begin, end, [&declaration](auto const& named) {
            refuse(*named.second, declaration.problemOf(encodeRecord(*named.second->value)));
        });
    });
}

/** Takes the lock. Result: why it failed; empty on success. */
std::string take(DirectoryLock& lock, std::string const& directory) {
    switch (lock.take(directory, live::patience)) {
    case DirectoryLock::Outcome::timedOut:
        return directory + ": another process has held the lock for too long";
    case DirectoryLock::Outcome::failed:
        return directory + ": " + std::generic_category().message(errno);
    case DirectoryLock::Outcome::taken:
        break;
    }
    return {};
}

/** Adds the settings, and the record of the import, to the user's file. */
ImportReport bringIntoFile(std::string const& directory, ForeignSetting const& record,
                           std::vector<ForeignSetting> const& settings) {
    DirectoryLock lock;
    if (std::string reason = take(lock, directory); !reason.empty())
        return failed(std::move(reason));
    live::DiskFile file(directory, live::fileName);
    live::Reading const reading = file.read();
    if (!reading.reason.empty())
        return failed(file.path() + ": " + reading.reason);
    filesystem::RAMFileSystem files;
    if (reading.image)
        reading.image->putInto(files, '/' + std::string(user));
    if (filesystem::direct::find(files, {user}, record.name).kind != filesystem::direct::Kind::none)
        return {Result::doneBefore, {}, {}};
    filesystem::direct::makeDirectories(files, user, {});
    ImportReport report{Result::imported, {}, importInto(files, user, settings, false)};
    ImportedSetting const recorded = importInto(files, user, {record}, false).front();
    if (recorded.outcome != ImportedSetting::Outcome::set)
        return failed("cannot write " + inQuotes(record.name) + ": " + recorded.reason);
    auto replaced = file.replace(TreeImage::of(files, '/' + std::string(user)),
                                 reading.image ? live::previousFileName : "");
    if (!replaced.isInPlace)
        return failed(std::move(replaced.failure));
    report.reason = std::move(replaced.failure);
    return report;
}

ImportReport broughtIntoFile(std::string const& directory, ForeignSetting const& record,
                             std::vector<ForeignSetting>& settings) {
    try {
        refuseForbidden(settings);
        return bringIntoFile(directory, record, settings);
    } catch (std::exception const& error) { // out of memory; nothing has been replaced
        return failed(directory + ": " + error.what());
    }
}

} // namespace

ImportReport importOnce(LiveSettings& live, std::string const& id, ImportSource const& source) {
    ForeignSetting const record{{}, recordName(id), source.path, {}};
    if (Group().contains(record.name, SCOPE_USER))
        return {Result::doneBefore, {}, {}};
    if (isMissing(source))
        return {Result::nothingThere, {}, {}};
    std::vector<ForeignSetting> settings;
    try {
        settings = readDeclared(source);
    } catch (std::exception const& error) {
        return failed(about(source.path, error.what()));
    }
    if (settings.empty() && import::isDatabaseDirectory(source))
        return {Result::nothingThere, {}, {}};
    // Changes of this process take precedence, so they are saved first. This also reads the current locks.
    if (SaveResult saved = live.sync(); !saved.saved)
        return failed(std::move(saved.reason));
    ImportReport report = broughtIntoFile(live.userDirectory(), record, settings);
    if (report.result == Result::failed)
        return report;
    SaveResult saved = live.sync();
    if (report.reason.empty())
        report.reason = std::move(saved.reason);
    return report;
}

} // namespace velmorand
