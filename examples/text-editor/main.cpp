// SPDX-License-Identifier: Apache-2.0
//
// usage: text-editor [--declared-settings | FILE...]
//
// Opens files like an editor whose window is not shown, and prints the recent files. With --declared-settings it prints
// the catalogue of its settings, which its package installs as share/velmorand/declared/text-editor.json.

#include <cstring>
#include <iostream>

#include <velmorand/Catalogue.h>
#include <velmorand/LiveSettings.h>

#include "Session.h"
#include "Settings.h"

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--declared-settings") == 0) {
        std::cout << velmorand::catalogue("text-editor");
        return 0;
    }
    try {
        velmorand::LiveSettings live;
        for (QString const& problem : editor::problems())
            std::cerr << "settings: " << problem.toStdString() << '\n';
        editor::Session const session;
        for (int i = 1; i < argc; ++i)
            session.open(QString::fromLocal8Bit(argv[i]));
        for (QString const& file : editor::settings::recent.get())
            std::cout << file.toStdString() << '\n';
        session.close(QByteArray("\x01\xd9\xd0\xcb\x00\x03", 6));
    } catch (velmorand::Exception const& failure) {
        std::cerr << "text-editor: " << failure.what() << '\n';
        return 1;
    }
}
