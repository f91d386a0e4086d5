// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>

#include <velmorand/LiveSettings.h>

namespace editor {

/** The settings file of version 1 of the editor, which used QSettings. */
[[nodiscard]] QString oldSettingsFile();

/**
 * Imports the settings of version 1, on the first start only.
 * Result: a message for the user for each setting that could not be imported.
 */
[[nodiscard]] QStringList importOldSettings(velmorand::LiveSettings& live, QString const& file);

} // namespace editor
