// SPDX-License-Identifier: Apache-2.0
#include "Profiles.h"

#include <string>

#include <velmorand/Changes.h>

namespace editor {

namespace {

velmorand::Group const all{"profiles"};

std::string levelOf(QString const& title) {
    return velmorand::levelFrom(title.toStdString());
}

} // namespace

Profile::Profile(velmorand::Group const& group)
    : theme(group.nameOf("theme"), [] { return settings::theme.get(); }),
      wrap(group.nameOf("wrap"), [] { return settings::wrap.get(); }), files(group.nameOf("files")) {}

namespace profiles {

QStringList titles() {
    QStringList titles;
    for (std::string const& level : all.groups())
        titles.append(QString::fromStdString(velmorand::textFrom(level)));
    return titles;
}

Profile profile(QString const& title) {
    return Profile(all.group(levelOf(title)));
}

void clone(QString const& title, QString const& newTitle) {
    all.group(levelOf(title)).copy(all.nameOf(levelOf(newTitle)));
}

void rename(QString const& title, QString const& newTitle) {
    all.group(levelOf(title)).rename(all.nameOf(levelOf(newTitle)));
}

void remove(QString const& title) {
    all.remove(levelOf(title));
}

void makeDefault(QString const& title) {
    Profile const chosen = profile(title);
    velmorand::Changes changes;
    changes.set(settings::theme, chosen.theme.get());
    changes.set(settings::wrap, chosen.wrap.get());
    changes.apply();
}

} // namespace profiles

} // namespace editor
