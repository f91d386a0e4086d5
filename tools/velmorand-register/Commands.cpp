// SPDX-License-Identifier: Apache-2.0
#include "Commands.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string_view>
#include <system_error>

#include "Changes.h"
#include "Copies.h"
#include "Edit.h"
#include "Exchange.h"
#include "InForce.h"
#include "Input.h"
#include "NearestName.h"
#include "Permissions.h"
#include "Terminal.h"
#include "Text.h"
#include "Value.h"
#include "Watch.h"

namespace tool {

namespace {

/**
 * Guesses whether a file is an export: true if its text begins with "{", and for every pipe, because a pipe cannot be
 * examined and then read from its beginning.
 */
bool isExport(std::string const& path) {
    std::error_code ignored;
    if (std::filesystem::is_fifo(path, ignored))
        return true;
    std::array<char, 4'096> buffer{};
    std::ifstream file(path, std::ios::binary);
    file.read(buffer.data(), buffer.size());
    std::string_view const text(buffer.data(), static_cast<std::size_t>(file.gcount()));
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    std::size_t const begin =
        text.substr(0, byteOrderMark.size()) == byteOrderMark ? byteOrderMark.size() : 0;
    std::size_t const first = text.find_first_not_of(" \t\r\n", begin);
    return first != std::string_view::npos && text[first] == '{';
}

/**
 * The settings in a register file, in an export, or in an export on standard input ("-"). Errors: `Failure` if the file
 * is missing or damaged.
 */
Settings settingsAt(std::string const& path) {
    Settings settings;
    RegisterFile const file = fileAt(path);
    if (path == "-" || isExport(file.path())) {
        importSettings(titleOf(path), readAll(path), settings);
        return settings;
    }
    try {
        if (!file.load(settings).isThere)
            throw noFile(file.path(), Status::fileTrouble);
    } catch (Failure const& failure) {
        if (failure.what() == file.path() + ": not a register file")
            throw Failure(failure.status(), file.path() + ": neither a register file nor exported settings");
        throw;
    }
    return settings;
}

/** The change that sets everything in a file in the exchange format. Errors: `Failure` if it cannot be read. */
Change importOf(std::string const& source, bool isReplacing) {
    return [source, text = readAll(source), isReplacing](Settings& settings) {
        if (isReplacing)
            settings.remove("");
        importSettings(titleOf(source), text, settings);
    };
}

} // namespace

Status get(Places const& places, std::string const& name) {
    std::string const clean = propertyName(name);
    InForce const inForce(places);
    auto const entry = inForce.find(clean).entry;
    if (entry.kind == Kind::none)
        throw Failure(
            Status::notThere,
            "no such property: " + clean +
                (inForce.isLocked(clean) ? " (the administrator has locked it but not set it)" : ""));
    if (entry.kind == Kind::directory)
        throw Failure(Status::notThere, '"' + clean + "\" is a group, not a property");
    Reading const reading = decodeRecord(entry.content);
    if (!reading.value)
        throw Failure(Status::notThere, '"' + clean + "\" has no readable value");
    for (std::string const& text : elementTexts(*reading.value)) {
        if (isTerminal())
            printEscaped(std::cout, text, forTerminal);
        else
            std::cout << text;
        std::cout << '\n';
    }
    return Status::done;
}

Status set(Places const& places, std::string const& kind, std::string const& name,
           std::vector<std::string> const& texts, bool isForced) {
    std::string const clean = propertyName(name);
    Value const value = parseValue(kind, texts);
    std::optional<std::string> similar;
    if (!isForced) {
        Permissions const permissions(places);
        if (std::string const wrong = permissions.objectionTo(clean, value); !wrong.empty())
            throw Failure(Status::misuse, "cannot set \"" + clean + "\": " + wrong);
        similar = permissions.similarTo(clean);
    }
    std::string const record = encodeRecord(value);
    auto const saved = edit(places, [&](Settings& settings) { settings.write(clean, record); });
    if (similar)
        complain("warning: \"" + clean + "\" is " + notDeclared(similar));
    if (!saved)
        std::cout << summaryOf(saved) << '\n';
    return Status::done;
}

Status remove(Places const& places, std::string const& name) {
    std::string const clean = propertyName(name);
    edit(places, [&](Settings& settings) {
        if (!settings.exists(clean))
            throw Failure(Status::notThere, "no such property or group: " + clean);
        settings.remove(clean);
    });
    return Status::done;
}

Status exportGroup(Places const& places, std::string const& group) {
    std::string const around = cleanName(group);
    RegisterFile const file = fileIn(theDirectory(places));
    if (!places.scope && places.globalDirectory)
        complain("note: exporting only the user's settings, not those in " +
                 fileIn(directoryOf(places, Scope::global)).path() + " (use --scope global for those)");
    Settings settings;
    file.load(settings);
    if (!settings.isGroup(around))
        throw noGroup(around, settings.exists(around));
    exportSettings(settings, around, std::cout);
    return Status::done;
}

Status import(Places const& places, std::string const& source, bool isReplacing) {
    std::cout << summaryOf(edit(places, importOf(source, isReplacing))) << '\n';
    return Status::done;
}

Status previewImport(Places const& places, std::string const& source, bool isReplacing) {
    auto const difference = preview(places, importOf(source, isReplacing), std::cout);
    std::cout << summaryOf(difference) << (difference ? notWritten : "") << '\n';
    return Status::done;
}

Status diff(std::string const& before, std::string const& after) {
    if (before == "-" && after == "-")
        throw WrongCall("only one of FILE and OTHER can be standard input");
    Settings const old = settingsAt(before);
    return printChanges(old, settingsAt(after), std::cout) ? Status::notThere : Status::done;
}

Status restore(Places const& places, std::optional<std::string> const& name) {
    Directory const directory = theDirectory(places);
    RegisterFile const file = fileIn(directory);
    if (!name) {
        if (!listCopies(file, std::cout))
            complain("note: no copies of " + file.path());
        return Status::done;
    }
    RegisterFile const copy = findCopy(file, *name);
    filesystem::DirectoryLock lock;
    take(lock, directory, places.patience);
    auto const saved = restoreCopy(file, copy);
    if (saved)
        noteScope(places);
    std::cout << summaryOf(saved) << '\n';
    return Status::done;
}

Status watch(Places const& places) {
    watch(fileIn(theDirectory(places)), std::cout);
}

} // namespace tool
