// SPDX-License-Identifier: Apache-2.0
//
// usage: kconfig-writer FILE
//
// Writes a file as an application that uses KConfig does.

#include <KConfig>
#include <KConfigGroup>
#include <QStringList>

int main(int /*argc*/, char** argv) {
    KConfig config(QString::fromUtf8(argv[1]), KConfig::SimpleConfig);
    KConfigGroup window(&config, "Main Window");
    window.writeEntry("Width", 800);
    window.writeEntry("Opacity", 0.5);
    window.writeEntry("Maximized", true);
    window.writeEntry("Title", QString::fromUtf8(" J\u00fcrgen\t\\ \n"));
    KConfigGroup inner(&window, "Tool/Bars");
    inner.writeEntry("Order", QStringList{"a", "b,c", "", "d\\"});
    inner.writeEntry("Sizes", QList<int>{1, 2, 3});
    inner.writeEntry("None", QStringList());
    config.group(QString()).writeEntry("version", "5");
    return config.sync() ? 0 : 1;
}
