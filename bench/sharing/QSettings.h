// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <filesystem>
#include <stdexcept>
#include <string>

#include <QSettings>
#include <QString>
#include <QVariant>
#include <sys/inotify.h>
#include <unistd.h>

#include "sharing/Sharing.h"

namespace bench::sharing {

/**
 * QtCore's settings, as an INI file. They do not notify other processes: a listener watches the file's directory, reads
 * the file again and compares the value.
 */
class QSettings : public Sharing {
public:
    static constexpr char const* label = "QSettings";
    static constexpr bool isHeard = true;

    QSettings(std::filesystem::path const& directory, Names const& names)
        : _settings(fileIn(directory), ::QSettings::IniFormat) {
        writeAll(names, [this](std::string const& name, auto const& value) {
            _settings.setValue(text(name), variant(value));
        });
        sync();
    }

    void save(std::string const& name, int value) {
        _settings.setValue(text(name), value);
        sync();
    }

    static void hear(std::filesystem::path const& directory, std::string const& name, Heard const& heard) {
        int const events = ::inotify_init1(IN_CLOEXEC);
        ::inotify_add_watch(events, directory.c_str(), IN_MOVED_TO);
        ::QSettings settings(fileIn(directory), ::QSettings::IniFormat);
        QString const key = text(name);
        int last = settings.value(key).toInt();
        heard(ready);
        alignas(inotify_event) std::array<char, 4'096> buffer{};
        while (::read(events, buffer.data(), buffer.size()) > 0) {
            settings.sync();
            int const value = settings.value(key).toInt();
            if (value != last)
                heard(last = value);
        }
    }

private:
    static QVariant variant(int value) { return value; }
    static QVariant variant(std::string const& value) { return text(value); }
    static QString text(std::string const& value) { return QString::fromStdString(value); }
    static QString fileIn(std::filesystem::path const& directory) { return text(directory / "settings.ini"); }

    void sync() {
        _settings.sync();
        if (_settings.status() != ::QSettings::NoError)
            throw std::runtime_error("cannot save the QSettings");
    }

    ::QSettings _settings;
};

} // namespace bench::sharing
