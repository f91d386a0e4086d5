// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>

#include <velmorand/Group.h>
#include <velmorand/Property.h>
#include <velmorand/QtTypes.h>

#include "Settings.h"

namespace editor {

/** The settings of one session. Where the profile has no value, the editor's own setting is in force. */
struct Profile {
    explicit Profile(velmorand::Group const& group);

    velmorand::Property<Theme> theme;
    velmorand::Property<Wrap> wrap;
    velmorand::Property<QStringList> files; ///< open in the session
};

/** The user's profiles. A title may be any text. */
namespace profiles {

/** In byte order. */
[[nodiscard]] QStringList titles();

/** The profile of that title. It exists from its first setting on. */
[[nodiscard]] Profile profile(QString const& title);

///@{
/** Errors: `utils::Exception` if there is a profile of the new title already; nothing has changed then. */
void clone(QString const& title, QString const& newTitle);
void rename(QString const& title, QString const& newTitle);
///@}

void remove(QString const& title);

/** Makes the profile's theme and wrapping the editor's own, both at once. */
void makeDefault(QString const& title);

} // namespace profiles

} // namespace editor
