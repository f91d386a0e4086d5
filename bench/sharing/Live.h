// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

#include <unistd.h>

#include <velmorand/Listener.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>

#include "sharing/Sharing.h"

namespace bench::sharing {

/** This project's live settings. A process can have only one. */
class Live : public Sharing {
public:
    static constexpr char const* label = "live settings";
    static constexpr bool isHeard = true;

    Live(std::filesystem::path const& directory, Names const& names) : _settings(options(directory)) {
        writeAll(names, [](std::string const& name, auto const& value) { velmorand::write(name, value); });
        sync();
    }

    void save(std::string const& name, int value) {
        velmorand::write(name, value);
        sync();
    }

    static void hear(std::filesystem::path const& directory, std::string const& name, Heard const& heard) {
        velmorand::LiveSettings const settings(options(directory));
        velmorand::Listener const listener(
            name, [&heard](std::string const& changed) { heard(velmorand::read<int>(changed)); });
        heard(ready);
        for (;;)
            ::pause();
    }

private:
    static velmorand::LiveOptions options(std::filesystem::path const& directory) {
        velmorand::LiveOptions options;
        options.userDirectory = directory.string();
        options.globalDirectory = directory.string() + "/global";
        return options;
    }

    void sync() {
        if (auto const result = _settings.sync(); !result.saved)
            throw std::runtime_error(result.reason);
    }

    velmorand::LiveSettings _settings;
};

} // namespace bench::sharing
