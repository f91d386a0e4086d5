// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <KConfig>
#include <KConfigGroup>
#include <QList>
#include <QString>
#include <QStringList>

#include "Names.h"
#include "Store.h"

namespace bench {

/** KDE's configuration files. The next scope is a file of defaults. */
class KConfig : public Store {
public:
    static constexpr char const* label = "KConfig";
    static constexpr bool hasNextScope = true;

    KConfig(std::filesystem::path const& directory, Names const&) : _directory(directory / "kconfig") {
        std::filesystem::create_directories(_directory);
        clear();
    }
    KConfig(KConfig const&) = delete;
    KConfig& operator=(KConfig const&) = delete;
    ~KConfig() { _config->markAsClean(); }

    void write(std::string const& name, int value) { put(name, value); }
    void write(std::string const& name, double value) { put(name, value); }
    void write(std::string const& name, bool value) { put(name, value); }
    void write(std::string const& name, std::string const& value) { put(name, text(value)); }
    template <class Element>
    void write(std::string const& name, std::vector<Element> const& value) {
        put(name, QList<Element>(value.begin(), value.end()));
    }

    void read(std::string const& name, int& value) { value = get(name, 0); }
    void read(std::string const& name, double& value) { value = get(name, 0.0); }
    void read(std::string const& name, bool& value) { value = get(name, false); }
    void read(std::string const& name, std::string& value) { value = get(name, QString()).toStdString(); }
    template <class Element>
    void read(std::string const& name, std::vector<Element>& value) {
        QList<Element> const list = get(name, QList<Element>());
        value.assign(list.begin(), list.end());
    }

    int readOr(std::string const& name, int fallback) { return get(name, fallback); }

    QStringList list(std::string const& group) { return _config->group(text(group)).keyList(); }

    void clear() {
        if (_config)
            _config->markAsClean();
        open(_directory / ("file" + std::to_string(++_generation)));
    }

    void save() {
        if (!_config->sync())
            throw std::runtime_error("cannot save the KConfig");
        _saved = _config->name().toStdString();
    }
    void load() { open(_saved); }

    void writeNext(std::vector<std::string> const& names) {
        QString const path = text((_directory / ("defaults" + std::to_string(_generation))).string());
        ::KConfig defaults(path, ::KConfig::SimpleConfig);
        for (std::string const& name : names) {
            auto const [group, key] = splitName(name);
            KConfigGroup(&defaults, group.c_str()).writeEntry(key.c_str(), nextScopeValue);
        }
        defaults.sync();
        _config->addConfigSources({path});
    }

private:
    static QString text(std::string const& value) {
        return QString::fromUtf8(value.data(), static_cast<int>(value.size()));
    }

    void open(std::filesystem::path const& path) {
        _config = std::make_unique<::KConfig>(text(path.string()), ::KConfig::CascadeConfig);
    }

    template <class Value>
    void put(std::string const& name, Value const& value) {
        auto const [group, key] = splitName(name);
        KConfigGroup(_config.get(), group.c_str()).writeEntry(key.c_str(), value);
    }

    template <class Value>
    Value get(std::string const& name, Value const& fallback) {
        auto const [group, key] = splitName(name);
        return KConfigGroup(_config.get(), group.c_str()).readEntry(key.c_str(), fallback);
    }

    std::filesystem::path _directory;
    std::filesystem::path _saved;
    std::unique_ptr<::KConfig> _config;
    unsigned _generation = 0;
};

} // namespace bench
