// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>

namespace editor {

/** The options of the command line; those that are not given are empty. */
struct Options {
    bool wantsCatalogue = false;
    QString theme;
    QString profile;
    QStringList files;
};

/** Errors: `utils::Exception` for an option that the editor does not have. */
[[nodiscard]] Options optionsOf(QStringList const& arguments);

/** Puts a theme in force for this run. Errors: `utils::Exception` if the theme is unknown or locked. */
void overrideTheme(QString const& name);

} // namespace editor
