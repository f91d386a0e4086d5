// SPDX-License-Identifier: Apache-2.0
#include "OldSettings.h"

#include <QStandardPaths>

#include <velmorand/Import.h>

namespace editor {

namespace {

/** The names of the settings in version 1. Settings.h declares their kinds. */
char const* const map = R"(
    theme           -> view/theme
    font/family     -> view/font
    font/size       -> view/font size
    recentFiles     -> files/recent
    window/geometry -> window/geometry
    drop /
)";

} // namespace

QString oldSettingsFile() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/Example/Editor.conf";
}

QStringList importOldSettings(velmorand::LiveSettings& live, QString const& file) {
    velmorand::ImportSource const version1{velmorand::Store::ini, file.toStdString(),
                                           velmorand::ImportMap(map)};
    velmorand::ImportReport const report = velmorand::importOnce(live, "text-editor", version1);
    QStringList problems;
    if (!report.reason.empty())
        problems.append(QString::fromStdString(report.reason));
    for (velmorand::ImportedSetting const& setting : report.settings)
        if (setting.outcome == velmorand::ImportedSetting::Outcome::refused)
            problems.append(QString::fromStdString(setting.from + ": " + setting.reason));
    return problems;
}

} // namespace editor
