// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <glib.h>

#include "Names.h"
#include "Store.h"

namespace bench {

/** GLib's key file, which is not thread-safe. */
class GKeyFile : public Store {
public:
    static constexpr char const* label = "GKeyFile";

    GKeyFile(std::filesystem::path const& directory, Names const&)
        : _path((directory / "keyfile").string()), _file(g_key_file_new()) {}

    void write(std::string const& name, int value) {
        auto const [group, key] = splitName(name);
        g_key_file_set_integer(_file.get(), group.c_str(), key.c_str(), value);
    }
    void write(std::string const& name, double value) {
        auto const [group, key] = splitName(name);
        g_key_file_set_double(_file.get(), group.c_str(), key.c_str(), value);
    }
    void write(std::string const& name, bool value) {
        auto const [group, key] = splitName(name);
        g_key_file_set_boolean(_file.get(), group.c_str(), key.c_str(), value ? TRUE : FALSE);
    }
    void write(std::string const& name, std::string const& value) {
        auto const [group, key] = splitName(name);
        g_key_file_set_string(_file.get(), group.c_str(), key.c_str(), value.c_str());
    }
    void write(std::string const& name, std::vector<int> value) {
        auto const [group, key] = splitName(name);
        g_key_file_set_integer_list(_file.get(), group.c_str(), key.c_str(), value.data(), value.size());
    }
    void write(std::string const& name, std::vector<double> value) {
        auto const [group, key] = splitName(name);
        g_key_file_set_double_list(_file.get(), group.c_str(), key.c_str(), value.data(), value.size());
    }

    void read(std::string const& name, int& value) {
        auto const [group, key] = splitName(name);
        value = g_key_file_get_integer(_file.get(), group.c_str(), key.c_str(), nullptr);
    }
    void read(std::string const& name, double& value) {
        auto const [group, key] = splitName(name);
        value = g_key_file_get_double(_file.get(), group.c_str(), key.c_str(), nullptr);
    }
    void read(std::string const& name, bool& value) {
        auto const [group, key] = splitName(name);
        value = g_key_file_get_boolean(_file.get(), group.c_str(), key.c_str(), nullptr) != FALSE;
    }
    void read(std::string const& name, std::string& value) {
        auto const [group, key] = splitName(name);
        char* const text = g_key_file_get_string(_file.get(), group.c_str(), key.c_str(), nullptr);
        value = text;
        g_free(text);
    }
    void read(std::string const& name, std::vector<int>& value) {
        auto const [group, key] = splitName(name);
        gsize size = 0;
        int* const list =
            g_key_file_get_integer_list(_file.get(), group.c_str(), key.c_str(), &size, nullptr);
        value.assign(list, list + size);
        g_free(list);
    }
    void read(std::string const& name, std::vector<double>& value) {
        auto const [group, key] = splitName(name);
        gsize size = 0;
        double* const list =
            g_key_file_get_double_list(_file.get(), group.c_str(), key.c_str(), &size, nullptr);
        value.assign(list, list + size);
        g_free(list);
    }

    int readOr(std::string const& name, int fallback) {
        auto const [group, key] = splitName(name);
        GError* error = nullptr;
        int const value = g_key_file_get_integer(_file.get(), group.c_str(), key.c_str(), &error);
        if (error == nullptr)
            return value;
        g_error_free(error);
        return fallback;
    }

    std::vector<std::string> list(std::string const& group) {
        gsize size = 0;
        char** const keys = g_key_file_get_keys(_file.get(), group.c_str(), &size, nullptr);
        std::vector<std::string> names(keys, keys + size);
        g_strfreev(keys);
        return names;
    }

    void clear() { _file.reset(g_key_file_new()); }

    void save() {
        if (g_key_file_save_to_file(_file.get(), _path.c_str(), nullptr) == FALSE)
            throw std::runtime_error("cannot save " + _path);
    }
    void load() {
        if (g_key_file_load_from_file(_file.get(), _path.c_str(), G_KEY_FILE_NONE, nullptr) == FALSE)
            throw std::runtime_error("cannot load " + _path);
    }

private:
    struct Free {
        void operator()(::GKeyFile* file) const { g_key_file_unref(file); }
    };

    std::string _path;
    std::unique_ptr<::GKeyFile, Free> _file;
};

} // namespace bench
