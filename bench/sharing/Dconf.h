// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

#include <dconf.h>

#include "sharing/Sharing.h"

namespace bench::sharing {

/**
 * dconf: its service on the session bus writes the file and notifies over the bus. The file is in XDG_CONFIG_HOME,
 * which only the environment can set, so a session has only one set of settings.
 */
class Dconf : public Sharing {
public:
    static constexpr char const* label = "dconf";
    static constexpr bool isHeard = true;

    Dconf(std::filesystem::path const& /*directory*/, Names const& names) : _client(dconf_client_new()) {
        DConfChangeset* const all = dconf_changeset_new();
        writeAll(names, [all](std::string const& name, auto const& value) {
            dconf_changeset_set(all, pathOf(name).c_str(), variant(value));
        });
        bool const isDone = dconf_client_change_sync(_client, all, nullptr, nullptr, nullptr) != FALSE;
        dconf_changeset_unref(all);
        if (!isDone)
            throw std::runtime_error("dconf cannot be reached: is there a session bus?");
    }
    Dconf(Dconf const&) = delete;
    Dconf& operator=(Dconf const&) = delete;
    ~Dconf() { g_object_unref(_client); }

    void save(std::string const& name, int value) {
        if (dconf_client_write_sync(_client, pathOf(name).c_str(), variant(value), nullptr, nullptr,
                                    nullptr) == FALSE)
            throw std::runtime_error("cannot write to dconf");
    }

    static void hear(std::filesystem::path const& /*directory*/, std::string const& name,
                     Heard const& heard) {
        DConfClient* const client = dconf_client_new();
        Listening listening{pathOf(name), heard};
        g_signal_connect(client, "changed", G_CALLBACK(changed), &listening);
        dconf_client_watch_sync(client, listening.path.c_str());
        heard(ready);
        g_main_loop_run(g_main_loop_new(nullptr, FALSE));
    }

private:
    struct Listening {
        std::string path;
        Heard const& heard;
    };

    static void changed(DConfClient* client, char const* /*prefix*/, char const* const* /*changes*/,
                        char const* /*tag*/, Listening* listening) {
        GVariant* const value = dconf_client_read(client, listening->path.c_str());
        if (value == nullptr)
            return;
        listening->heard(g_variant_get_int32(value));
        g_variant_unref(value);
    }

    static GVariant* variant(int value) { return g_variant_new_int32(value); }
    static GVariant* variant(std::string const& value) { return g_variant_new_string(value.c_str()); }
    static std::string pathOf(std::string const& name) { return '/' + name; }

    DConfClient* _client;
};

} // namespace bench::sharing
