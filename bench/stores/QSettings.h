// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <QSettings>
#include <QString>
#include <QStringList>
#include <QVariant>

#include "Names.h"
#include "Store.h"

namespace bench {

/** QtCore's settings, as an INI file. The next scope is the system's. */
class QSettings : public Store {
public:
    static constexpr char const* label = "QSettings";
    static constexpr bool hasNextScope = true;

    QSettings(std::filesystem::path const& directory, Names const&) {
        ::QSettings::setPath(::QSettings::IniFormat, ::QSettings::UserScope,
                             text((directory / "user").string()));
        ::QSettings::setPath(::QSettings::IniFormat, ::QSettings::SystemScope,
                             text((directory / "system").string()));
        clear();
    }

    void write(std::string const& name, int value) { _settings->setValue(text(name), value); }
    void write(std::string const& name, double value) { _settings->setValue(text(name), value); }
    void write(std::string const& name, bool value) { _settings->setValue(text(name), value); }
    void write(std::string const& name, std::string const& value) {
        _settings->setValue(text(name), text(value));
    }
    template <class Element>
    void write(std::string const& name, std::vector<Element> const& value) {
        _settings->setValue(text(name), QVariantList(value.begin(), value.end()));
    }

    void read(std::string const& name, int& value) { value = _settings->value(text(name)).toInt(); }
    void read(std::string const& name, double& value) { value = _settings->value(text(name)).toDouble(); }
    void read(std::string const& name, bool& value) { value = _settings->value(text(name)).toBool(); }
    void read(std::string const& name, std::string& value) {
        value = _settings->value(text(name)).toString().toStdString();
    }
    template <class Element>
    void read(std::string const& name, std::vector<Element>& value) {
        QVariantList const list = _settings->value(text(name)).toList();
        value.clear();
        for (QVariant const& element : list)
            value.push_back(element.value<Element>());
    }

    int readOr(std::string const& name, int fallback) {
        return _settings->value(text(name), fallback).toInt();
    }

    QStringList list(std::string const& group) {
        _settings->beginGroup(text(group));
        QStringList names = _settings->childKeys();
        _settings->endGroup();
        return names;
    }

    void clear() {
        _settings.reset();
        ++_generation;
        _settings = std::make_unique<::QSettings>(::QSettings::IniFormat, ::QSettings::UserScope, "bench",
                                                  application());
    }

    void save() {
        _settings->sync();
        if (_settings->status() != ::QSettings::NoError)
            throw std::runtime_error("cannot save the QSettings");
        _saved = _settings->fileName().toStdString();
    }

    /** QtCore caches the content of files that it has read, so the file is loaded under a new name. */
    void load() {
        ++_generation;
        std::filesystem::path const file = _saved.parent_path() / (application().toStdString() + ".ini");
        std::filesystem::rename(_saved, file);
        _saved = file;
        _settings = std::make_unique<::QSettings>(::QSettings::IniFormat, ::QSettings::UserScope, "bench",
                                                  application());
    }

    void writeNext(std::vector<std::string> const& names) {
        ::QSettings system(::QSettings::IniFormat, ::QSettings::SystemScope, "bench", application());
        for (std::string const& name : names)
            system.setValue(text(name), nextScopeValue);
    }

private:
    static QString text(std::string const& value) {
        return QString::fromUtf8(value.data(), static_cast<int>(value.size()));
    }

    [[nodiscard]] QString application() const { return QStringLiteral("store%1").arg(_generation); }

    std::unique_ptr<::QSettings> _settings;
    std::filesystem::path _saved;
    unsigned _generation = 0;
};

} // namespace bench
