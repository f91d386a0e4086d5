// SPDX-License-Identifier: Apache-2.0
#include "velmorand/ForeignSettings.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <utility>

#include <filesystem/Direct.h>
#include <filesystem/RAMFileSystem.h>
#include <utils/Exception.h>

#include "../Names.h"
#include "Readers.h"
#include "Rules.h"
#include "velmorand/Group.h"

namespace velmorand {

namespace {

using import::Found;
using utils::Exception;

std::vector<Found> readFileByProgram(std::string const& store, std::string const& path) {
    static_cast<void>(import::readUnmarkedText(path)); // only to refuse files that are not text
    return import::readByProgram(store, std::filesystem::absolute(path).string());
}

std::vector<Found> read(ImportSource const& source) {
    switch (source.store) {
    case Store::ini:
        return import::readIni(source.path);
    case Store::kconfig:
        return readFileByProgram("kconfig", source.path);
    case Store::dconf:
        return import::isDatabaseDirectory(source) ? import::readByProgram("dconf", source.path)
                                                   : readFileByProgram("dconf", source.path);
    case Store::json:
        return import::readJson(source.path);
    }
    throw Exception("no such store");
}

std::string nameOf(std::vector<std::string> const& path) {
    std::string name;
    for (std::string const& level : path)
        name += (name.empty() ? "" : "/") + levelFrom(level);
    return name;
}

/** A boolean as `valueOf` accepts it; other stores also write 1 and 0, and use any letter case. Leaves other texts unchanged. */
std::string booleanText(std::string text) {
    std::string lower = text;
    std::transform(text.begin(), text.end(), lower.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    });
    if (lower == "true" || lower == "1")
        return "true";
    if (lower == "false" || lower == "0")
        return "false";
    return text;
}

AnyValue converted(Found const& found, std::size_t kind) {
    constexpr std::size_t singles = kindNames.size() / 2;
    if (found.value->index() == kind)
        return *found.value;
    bool const isReadAsList = kind >= singles && found.list;
    std::vector<std::string> texts = isReadAsList ? *found.list : textsOf(*found.value);
    if (kind % singles == AnyValue(bool()).index())
        std::transform(texts.begin(), texts.end(), texts.begin(), booleanText);
    return valueOf(kind, texts);
}

ForeignSetting settingFrom(Found const& found, ImportMap const& map, KindOf const& kindOf) {
    ForeignSetting setting{nameOf(found.path), {}, {}, {}};
    auto const target = map.rules().targetOf(setting.from);
    if (!target.name)
        return setting;
    setting.name = *target.name;
    setting.problem = found.problem;
    if (!found.value)
        return setting;
    std::size_t const kind = target.kind.value_or(kindIndex(kindOf(setting.name)));
    try {
        setting.value = kind == kindNames.size() ? *found.value : converted(found, kind);
    } catch (Exception const& error) {
        setting.problem = error.what();
    }
    return setting;
}

/** Puts settings into a directory. */
class Importer {
public:
    Importer(filesystem::RAMFileSystem& files, std::string const& directory, bool isOverwriting)
        : _files(files), _directory(directory), _isOverwriting(isOverwriting) {}

    ImportedSetting add(ForeignSetting const& setting) {
        using Outcome = ImportedSetting::Outcome;
        ImportedSetting imported{setting.from, setting.name, Outcome::dropped, {}};
        if (setting.name.empty())
            return imported;
        imported.reason = setting.value ? whyNot(setting) : setting.problem;
        imported.outcome = imported.reason.empty() ? put(setting) : Outcome::refused;
        if (imported.outcome == Outcome::refused && imported.reason.empty())
            imported.reason = inQuotes(propertyAround(setting.name)) + " is a property";
        return imported;
    }

private:
    using Kind = filesystem::direct::Kind;

    [[nodiscard]] Kind kindOf(std::string const& name) const {
        return filesystem::direct::find(_files, {_directory}, name).kind;
    }

    /** The property that has the name of one of the groups around a name. */
    [[nodiscard]] std::string propertyAround(std::string const& name) const {
        std::size_t end = name.find('/');
        while (end != std::string::npos && kindOf(name.substr(0, end)) == Kind::directory)
            end = name.find('/', end + 1);
        return name.substr(0, end);
    }

    std::string whyNot(ForeignSetting const& setting) {
        auto const [first, isNew] = _sources.emplace(setting.name, setting.from);
        if (!isNew)
            return "already the new name of " + inQuotes(first->second);
        return kindOf(setting.name) == Kind::directory ? "a group of this name exists" : "";
    }

    ImportedSetting::Outcome put(ForeignSetting const& setting) {
        using Outcome = ImportedSetting::Outcome;
        std::string const record = encodeRecord(*setting.value);
        auto const before = filesystem::direct::find(_files, {_directory}, setting.name);
        if (before.kind == Kind::file && before.content == record)
            return Outcome::unchanged;
        if (before.kind == Kind::file && !_isOverwriting)
            return Outcome::kept;
        char* const content =
            filesystem::direct::make(_files, _directory, groupOf(setting.name), setting.name, record.size());
        if (content == nullptr)
            return Outcome::refused;
        record.copy(content, record.size());
        return Outcome::set;
    }

    filesystem::RAMFileSystem& _files;
    std::string const& _directory;
    bool const _isOverwriting;
    std::map<std::string, std::string> _sources; ///< old names by new name
};

} // namespace

std::vector<ForeignSetting> readForeign(ImportSource const& source, KindOf const& kindOf) {
    std::vector<Found> const all = read(source);
    std::vector<ForeignSetting> settings;
    settings.reserve(all.size());
    std::transform(all.begin(), all.end(), std::back_inserter(settings),
                   [&](Found const& found) { return settingFrom(found, source.map, kindOf); });
    return settings;
}

std::vector<ImportedSetting> importInto(filesystem::RAMFileSystem& files, std::string const& directory,
                                        std::vector<ForeignSetting> const& settings, bool isOverwriting) {
    Importer importer(files, directory, isOverwriting);
    std::vector<ImportedSetting> imported;
    imported.reserve(settings.size());
    std::transform(settings.begin(), settings.end(), std::back_inserter(imported),
                   [&importer](ForeignSetting const& setting) { return importer.add(setting); });
    return imported;
}

} // namespace velmorand
