// SPDX-License-Identifier: Apache-2.0
//
// usage: text-editor [--theme NAME] [--profile TITLE] [FILE...]
//        text-editor --declared-settings
//
// Opens files like an editor, but prints the contents of the window instead of showing it. With --declared-settings, it
// prints the catalogue of its settings, which its package installs as share/velmorand/declared/text-editor.json.

#include <iostream>

#include <QCoreApplication>

#include <velmorand/Catalogue.h>
#include <velmorand/LiveSettings.h>

#include "OldSettings.h"
#include "Options.h"
#include "Profiles.h"
#include "Session.h"
#include "Settings.h"

namespace {

using namespace editor;

void print(char const* what, QStringList const& texts) {
    for (QString const& text : texts)
        std::cout << what << ": " << text.toStdString() << '\n';
}

/** Uses the profile's theme, unless the command line names another one, and opens the profile's files. */
void openProfile(Options const& options) {
    Profile const profile = profiles::profile(options.profile);
    if (!options.files.isEmpty())
        profile.files.set(options.files);
    if (options.theme.isEmpty() && !settings::theme.isLocked())
        settings::theme.override(profile.theme.get());
    print("open", profile.files.get());
}

void showWindow() {
    std::cout << "theme: " << velmorand::Stored<Theme>::store(settings::theme.get()) << '\n';
    QByteArray const geometry = settings::geometry.get();
    std::cout << "geometry: " << (geometry.isEmpty() ? "centred" : geometry.toHex().toStdString()) << '\n';
    print("recent", settings::recent.get());
    print("profile", profiles::titles());
}

void run(Options const& options) {
    velmorand::LiveSettings live;
    for (QString const& problem : importOldSettings(live, oldSettingsFile()) + problems())
        std::cerr << "settings: " << problem.toStdString() << '\n';

    Session const session;
    if (!options.theme.isEmpty())
        overrideTheme(options.theme);
    for (QString const& file : options.files)
        session.open(file);
    if (!options.profile.isEmpty())
        openProfile(options);
    showWindow();
    session.close(QByteArray("\x01\xd9\xd0\xcb\x00\x03", 6)); // as QWidget::saveGeometry returns it
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication const application(argc, argv);
    try {
        Options const options = optionsOf(QCoreApplication::arguments());
        if (options.wantsCatalogue)
            std::cout << velmorand::catalogue("text-editor");
        else
            run(options);
    } catch (velmorand::Exception const& failure) {
        std::cerr << "text-editor: " << failure.what() << '\n';
        return 1;
    }
}
