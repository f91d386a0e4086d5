// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>

#include <velmorand/Group.h>
#include <velmorand/Property.h>
#include <velmorand/QtTypes.h>

#include "Settings.h"

namespace editor {

/** The settings of one session. A setting that is not in the profile has the value of the editor's own setting. */
struct Profile {
    explicit Profile(velmorand::Group const& group);

    velmorand::Property<Theme> theme;
    velmorand::Property<Wrap> wrap;
    velmorand::Property<QStringList> files; ///< the files that are open in the session
};

/** The user's profiles. A title may be any text. */
namespace profiles {

/** In byte order. */
[[nodiscard]] QStringList titles();

/** The profile of that title. It exists as soon as it has a setting. */
[[nodiscard]] Profile profile(QString const& title);

///@{
/** Errors: `utils::Exception` if the new title is already in use; nothing has changed then. */
void clone(QString const& title, QString const& newTitle);
void rename(QString const& title, QString const& newTitle);
///@}

void remove(QString const& title);

/** Sets the editor's own theme and wrapping to the profile's, both at once. */
void makeDefault(QString const& title);

} // namespace profiles

} // namespace editor
