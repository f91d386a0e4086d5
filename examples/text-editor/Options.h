// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>

namespace editor {

/** The command-line options; those that are not given are empty. */
struct Options {
    bool wantsCatalogue = false;
    QString theme;
    QString profile;
    QStringList files;
};

/** Errors: `utils::Exception` for an unknown option. */
[[nodiscard]] Options optionsOf(QStringList const& arguments);

/** Puts a theme in force for this run. Errors: `utils::Exception` if the theme is unknown or locked. */
void overrideTheme(QString const& name);

} // namespace editor
