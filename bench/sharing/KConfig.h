// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

#include <KConfig>
#include <KConfigGroup>
#include <KConfigWatcher>
#include <KSharedConfig>
#include <QByteArray>
#include <QCoreApplication>
#include <QString>

#include "Names.h"
#include "sharing/Sharing.h"

namespace bench::sharing {

/**
 * KDE's configuration files. Each saved change is announced over D-Bus, for `KConfigWatcher`. The announcement contains
 * the name of the file, which must not be a path, so the file is in XDG_CONFIG_HOME.
 */
class KConfig : public Sharing {
public:
    static constexpr char const* label = "KConfig";
    static constexpr bool isHeard = true;

    KConfig(std::filesystem::path const& /*directory*/, Names const& names) : _config(open()) {
        writeAll(names, [this](std::string const& name, auto const& value) {
            write(name, variant(value), ::KConfig::Normal);
        });
        sync();
    }

    void save(std::string const& name, int value) {
        write(name, value, ::KConfig::Notify);
        sync();
    }

    static void hear(std::filesystem::path const& /*directory*/, std::string const& name,
                     Heard const& heard) {
        QCoreApplication const& application = theApplication();
        auto const watcher = KConfigWatcher::create(open());
        auto const [group, key] = splitName(name);
        auto const hearIfWanted = [&heard, group = QString::fromStdString(group),
                                   key = QByteArray::fromStdString(key)](KConfigGroup const& changed,
                                                                         QByteArrayList const& keys) {
            if (changed.name() == group && keys.contains(key))
                heard(changed.readEntry(key.constData(), 0));
        };
        QObject::connect(watcher.data(), &KConfigWatcher::configChanged, &application, hearIfWanted);
        heard(ready);
        QCoreApplication::exec();
    }

private:
    /** Required by Qt's D-Bus. */
    static QCoreApplication& theApplication() {
        static int count = 0;
        static QCoreApplication application(count, nullptr);
        return application;
    }

    static KSharedConfig::Ptr open() {
        theApplication();
        return KSharedConfig::openConfig(QStringLiteral("settings"), ::KConfig::SimpleConfig);
    }

    static int variant(int value) { return value; }
    static QString variant(std::string const& value) { return QString::fromStdString(value); }

    template <class Value>
    void write(std::string const& name, Value const& value, ::KConfig::WriteConfigFlags flags) {
        auto const [group, key] = splitName(name);
        KConfigGroup(_config, group.c_str()).writeEntry(key.c_str(), value, flags);
    }

    void sync() {
        if (!_config->sync())
            throw std::runtime_error("cannot save the KConfig");
    }

    KSharedConfig::Ptr _config;
};

} // namespace bench::sharing
