// SPDX-License-Identifier: Apache-2.0
#include "Options.h"

#include <QCommandLineParser>

#include "Settings.h"

namespace editor {

Options optionsOf(QStringList const& arguments) {
    QCommandLineOption const catalogue("declared-settings");
    QCommandLineOption const theme("theme", {}, "name");
    QCommandLineOption const profile("profile", {}, "title");
    QCommandLineParser parser;
    parser.addOptions({catalogue, theme, profile});
    if (!parser.parse(arguments))
        throw velmorand::Exception(parser.errorText().toStdString());
    return {parser.isSet(catalogue), parser.value(theme), parser.value(profile),
            parser.positionalArguments()};
}

void overrideTheme(QString const& name) {
    auto const theme = velmorand::Stored<Theme>::load(name.toStdString());
    if (!theme)
        throw velmorand::Exception("no such theme: " + name.toStdString());
    settings::theme.override(*theme);
}

} // namespace editor
