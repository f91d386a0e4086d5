// SPDX-License-Identifier: Apache-2.0
//
// The command import --from: imports the settings of another store.
#include "Moving.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iostream>
#include <iterator>
#include <string_view>

#include <QTemporaryFile>
#include <QtGlobal>
#include <utils/Exception.h>
#include <velmorand/ForeignSettings.h>

#include "Changes.h"
#include "Commands.h"
#include "Edit.h"
#include "Exchange.h"
#include "Input.h"
#include "Permissions.h"
#include "Text.h"

namespace tool {

namespace {

using velmorand::ForeignSetting;
using velmorand::ImportedSetting;
using Outcome = ImportedSetting::Outcome;

struct NamedStore {
    char const* name;
    velmorand::Store store;
};
constexpr std::array<NamedStore, 4> stores{{{"ini", velmorand::Store::ini},
                                            {"kconfig", velmorand::Store::kconfig},
                                            {"dconf", velmorand::Store::dconf},
                                            {"json", velmorand::Store::json}}};

/** Standard input as a temporary file, for libraries that can read only files. */
class InputFile {
public:
    InputFile() {
        std::string const text = readAll("-");
        auto const size = static_cast<qint64>(text.size());
        if (!_file.open() || _file.write(text.data(), size) != size || !_file.flush())
            throw Failure(Status::misuse, titleOf("-") + ": " + _file.errorString().toStdString());
    }

    [[nodiscard]] std::string path() const { return _file.fileName().toStdString(); }

private:
    QTemporaryFile _file;
};

/** A message about an input file: "FILE: REASON", or "FILE:3: REASON" if the reason begins with "line 3: ". */
std::string about(std::string const& source, std::string const& reason) {
    constexpr std::string_view line = "line ";
    bool const hasLine = reason.compare(0, line.size(), line) == 0;
    return titleOf(source) + ':' + (hasLine ? reason.substr(line.size()) : ' ' + reason);
}

velmorand::ImportMap mapIn(std::optional<std::string> const& file) {
    if (!file)
        return {};
    std::string const text = readAll(*file);
    try {
        if (!isUtf8(text))
            throw utils::Exception("not UTF-8 text");
        return velmorand::ImportMap(text);
    } catch (utils::Exception const& error) {
        throw Failure(Status::misuse, about(*file, error.what()));
    }
}

velmorand::Store storeNamed(std::string const& name) {
    std::string all;
    for (NamedStore const& known : stores) {
        if (known.name == name)
            return known.store;
        all += (all.empty() ? "" : ", ") + std::string(known.name);
    }
    throw WrongCall("no such store: " + name + " (stores: " + all + ")");
}

std::vector<ForeignSetting> read(velmorand::Store store, Moving const& moving,
                                 Declarations const& declarations) {
    if (moving.file == "-" && moving.map == "-")
        throw WrongCall("only one of FILE and --map can be standard input");
    std::optional<InputFile> input;
    if (moving.file == "-")
        input.emplace();
    velmorand::ImportSource const source{store, input ? input->path() : moving.file, mapIn(moving.map)};
    // QtCore prints warnings about values of unknown types, but the report lists these already.
    qInstallMessageHandler([](QtMsgType, QMessageLogContext const&, QString const&) {});
    std::vector<ForeignSetting> settings;
    try {
        settings = readForeign(source, [&declarations](std::string const& name) {
            auto const declared = declarations.find(name);
            return declared == declarations.end() ? "" : kindNames.at(declared->second.kind);
        });
    } catch (utils::Exception const& error) {
        throw Failure(Status::misuse, about(moving.file, error.what()));
    }
    if (store == velmorand::Store::json && isExchange(readAll(source.path)))
        throw Failure(Status::misuse,
                      about(moving.file, "in the exchange format, which \"import\" reads without "
                                         "--from (leave out --from json)"));
    return settings;
}

/** Marks the settings that must not be set. */
void check(std::vector<ForeignSetting>& settings, Permissions const& permissions) {
    for (ForeignSetting& setting : settings) {
        if (!setting.value)
            continue;
        setting.problem = permissions.objectionTo(setting.name, *setting.value);
        if (!setting.problem.empty())
            setting.value.reset();
    }
}

char const* wordFor(Outcome outcome) {
    constexpr std::array words{"set", "unchanged", "kept", "dropped", "refused"};
    return words.at(static_cast<std::size_t>(outcome));
}

/** The outcome of an import. */
struct Imported {
    std::vector<ImportedSetting> settings;
    std::vector<std::string> values; ///< the kind and value of each kept setting; otherwise empty
};

Imported importAll(std::vector<ForeignSetting> const& settings, Settings& target, bool isOverwriting) {
    Imported all{importInto(target.files(), Settings::directory, settings, isOverwriting), {}};
    std::transform(all.settings.begin(), all.settings.end(), std::back_inserter(all.values),
                   [&target](ImportedSetting const& setting) {
                       bool const isKept = setting.outcome == Outcome::kept;
                       return isKept ? described(target.find(setting.name).content) : std::string();
                   });
    return all;
}

/** Prints the outcome of a setting. `kept`: the kind and value of a setting that was kept. */
void print(ForeignSetting const& setting, ImportedSetting const& imported, std::string const& kept) {
    constexpr std::size_t width = 10;
    std::string word = wordFor(imported.outcome);
    word.resize(width, ' ');
    std::cout << word;
    printEscaped(std::cout, setting.from, forLine());
    if (!setting.name.empty() && setting.name != setting.from) {
        std::cout << " -> ";
        printEscaped(std::cout, setting.name, forLine());
    }
    if (imported.outcome == Outcome::refused) {
        std::cout << ": ";
        printEscaped(std::cout, imported.reason, forLine());
    } else if (setting.value) {
        std::string const value =
            std::string(kindNames.at(setting.value->index())) + ' ' + jsonText(*setting.value, forJsonLine());
        std::cout << ": " << (kept.empty() ? value : kept + " (--overwrite replaces it with " + value + ')');
    }
    std::cout << '\n';
}

/** Prints the outcome of each setting. `isSaved`: whether the file was written. Result: the exit status. */
Status report(std::vector<ForeignSetting> const& settings, Imported const& imported, bool isSaved) {
    std::array<std::size_t, 5> counts{};
    for (std::size_t i = 0; i < settings.size(); ++i) {
        print(settings[i], imported.settings[i], imported.values[i]);
        ++counts.at(static_cast<std::size_t>(imported.settings[i].outcome));
    }
    std::string sum;
    for (std::size_t i = 0; i < counts.size(); ++i)
        if (counts.at(i) > 0)
            sum += (sum.empty() ? "" : ", ") + std::to_string(counts.at(i)) + ' ' +
                   wordFor(static_cast<Outcome>(i));
    std::cout << (sum.empty() ? "no settings" : sum);
    if (!isSaved)
        std::cout << (counts.front() == 0 ? "; nothing changed" : notWritten);
    std::cout << '\n';
    return counts.back() == 0 ? Status::done : Status::notThere;
}

} // namespace

Status importFrom(Places const& places, std::string const& store, Moving const& moving) {
    Permissions const permissions(places);
    std::vector<ForeignSetting> settings = read(storeNamed(store), moving, permissions.declarations());
    if (!moving.isForced)
        check(settings, permissions);
    Imported imported;
    auto const change = [&](Settings& target) {
        imported = importAll(settings, target, moving.isOverwriting);
    };
    bool isSaved = false;
    if (moving.isDryRun)
        rehearse(places, change);
    else
        isSaved = edit(places, change).has_value();
    return report(settings, imported, isSaved);
}

} // namespace tool
