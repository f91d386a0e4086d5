// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>

#include <velmorand/LiveSettings.h>

namespace editor {

/** The file in which version 1 of the editor, which used QSettings, kept its settings. */
[[nodiscard]] QString oldSettingsFile();

/**
 * Takes over the settings of version 1, on the first start only.
 * Result: for the user, a line for each setting that could not be taken over.
 */
[[nodiscard]] QStringList importOldSettings(velmorand::LiveSettings& live, QString const& file);

} // namespace editor
