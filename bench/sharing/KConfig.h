// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include <KConfig>
#include <KConfigGroup>
#include <QString>

#include "Names.h"
#include "sharing/Sharing.h"

namespace bench::sharing {

/** KDE's configuration files. Processes are notified over D-Bus, which is not measured. */
class KConfig : public Sharing {
public:
    static constexpr char const* label = "KConfig";

    KConfig(std::filesystem::path const& directory, Names const& names)
        : _config(std::make_unique<::KConfig>(QString::fromStdString((directory / "settings").string()),
                                              ::KConfig::SimpleConfig)) {
        for (std::size_t i = 0; i < names.ordered().size(); ++i)
            if (isInteger(i))
                write(names.ordered()[i], 0);
            else
                write(names.ordered()[i], QString::fromStdString(textOf(i)));
        sync();
    }

    void save(std::string const& name, int value) {
        write(name, value);
        sync();
    }

private:
    template <class Value>
    void write(std::string const& name, Value const& value) {
        auto const [group, key] = splitName(name);
        KConfigGroup(_config.get(), group.c_str()).writeEntry(key.c_str(), value);
    }

    void sync() {
        if (!_config->sync())
            throw std::runtime_error("cannot save the KConfig");
    }

    std::unique_ptr<::KConfig> _config;
};

} // namespace bench::sharing
