// SPDX-License-Identifier: Apache-2.0
//
// usage: velmorand-bench-start-qsettings DIRECTORY GLOBAL-DIRECTORY NAME...
//
// Opens QtCore's settings, reads some of them, and exits.
#include <QSettings>
#include <QString>

int main(int argc, char** argv) {
    QSettings const settings(QString::fromUtf8(argv[1]) + QStringLiteral("/settings.ini"),
                             QSettings::IniFormat);
    int sum = 0;
    for (int i = 3; i < argc; ++i)
        sum += settings.value(QString::fromUtf8(argv[i])).toInt();
    return sum > 0 ? 0 : 1;
}
