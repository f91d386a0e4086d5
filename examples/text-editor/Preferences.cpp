// SPDX-License-Identifier: Apache-2.0
#include "Preferences.h"

#include <velmorand/Lock.h>

namespace editor {

Preferences::Preferences(QObject* dialog, std::function<void()> const& show)
    : theme(settings::theme, dialog, show), fontSize(settings::fontSize, dialog, show),
      tabWidth(settings::tabWidth, dialog, show) {}

void Preferences::apply() {
    velmorand::Lock const lock; // no setting is locked between the check and the change
    velmorand::Changes changes;
    theme.addTo(changes);
    fontSize.addTo(changes);
    tabWidth.addTo(changes);
    changes.apply();
    cancel(); // the edits are the values in force now
}

void Preferences::cancel() {
    theme.forgetEdit();
    fontSize.forgetEdit();
    tabWidth.forgetEdit();
}

} // namespace editor
