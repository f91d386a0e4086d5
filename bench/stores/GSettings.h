// SPDX-License-Identifier: Apache-2.0
#pragma once

#define G_SETTINGS_ENABLE_BACKEND // without it, the memory and the key-file backend are not declared

#include <array>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <gio/gio.h>
#include <gio/gsettingsbackend.h>

#include "Names.h"
#include "Store.h"

namespace bench {

/**
 * GIO's settings with the memory backend, and a file with the key-file backend. The types of keys are defined by a
 * schema; there is one schema for each kind of value. The defaults in the schema are the next scope.
 *
 * Every object is notified of every change, so there are as few as possible: one for each first-level group and kind.
 * But the time to compile a schema grows with the square of the number of its keys. If it would take minutes, there is
 * one schema for each group.
 */
class GSettings : public Store {
public:
    static constexpr char const* label = "GSettings";
    static constexpr bool hasNextScope = true;
    static constexpr bool hasListeners = true;
    static constexpr bool knowsMissing = false;

    GSettings(std::filesystem::path const& directory, Names const& names)
        : _file((directory / "gsettings").string()), _perGroup(names.ordered().size() > mostForFewObjects) {
        compileSchemas(directory / "schemas", names);
        GSettingsSchemaSource* const source = g_settings_schema_source_new_from_directory(
            (directory / "schemas").c_str(), nullptr, TRUE, nullptr);
        for (Kind const& kind : kinds())
            _schemas.emplace_back(g_settings_schema_source_lookup(source, kind.schema, FALSE));
        g_settings_schema_source_unref(source);
        clear();
    }

    void write(std::string const& name, int value) { put(integer, name, g_variant_new_int32(value)); }
    void write(std::string const& name, double value) { put(number, name, g_variant_new_double(value)); }
    void write(std::string const& name, bool value) {
        put(boolean, name, g_variant_new_boolean(value ? TRUE : FALSE));
    }
    void write(std::string const& name, std::string const& value) {
        put(string, name, g_variant_new_string(value.c_str()));
    }
    void write(std::string const& name, std::vector<int> const& value) {
        put(integers, name,
            g_variant_new_fixed_array(G_VARIANT_TYPE_INT32, value.data(), value.size(), sizeof(int)));
    }
    void write(std::string const& name, std::vector<double> const& value) {
        put(numbers, name,
            g_variant_new_fixed_array(G_VARIANT_TYPE_DOUBLE, value.data(), value.size(), sizeof(double)));
    }

    void read(std::string const& name, int& value) { value = g_variant_get_int32(get(integer, name).get()); }
    void read(std::string const& name, double& value) {
        value = g_variant_get_double(get(number, name).get());
    }
    void read(std::string const& name, bool& value) {
        value = g_variant_get_boolean(get(boolean, name).get()) != FALSE;
    }
    void read(std::string const& name, std::string& value) {
        value = g_variant_get_string(get(string, name).get(), nullptr);
    }
    void read(std::string const& name, std::vector<int>& value) {
        readList(get(integers, name).get(), value);
    }
    void read(std::string const& name, std::vector<double>& value) {
        readList(get(numbers, name).get(), value);
    }

    std::vector<std::string> list(std::string const&) {
        char** const keys = g_settings_schema_list_keys(_schemas[integer].get());
        std::vector<std::string> names(keys, keys + g_strv_length(keys));
        g_strfreev(keys);
        return names;
    }

    void clear() { use(Backend(g_memory_settings_backend_new())); }

    /** Does nothing for the key-file backend, which writes its whole file at each change. */
    void save() {
        if (!_onFile) {
            exportToFile();
            load();
        }
    }
    void load() {
        use(Backend(g_keyfile_settings_backend_new(_file.c_str(), "/", nullptr)));
        _onFile = true;
    }

    /** Does nothing, because the values are in the schemas. */
    void writeNext(std::vector<std::string> const&) {}

    void listen(std::string const& group, long& calls) {
        GCallback const increment = G_CALLBACK(+[](::GSettings*, char*, long* counter) { ++*counter; });
        g_signal_connect(&settings(split(group + "/").first, integer), "changed", increment, &calls);
    }

private:
    enum Index : std::size_t { integer, number, boolean, string, integers, numbers, count };

    /** The schemas' names, the types of their keys, and the keys' defaults. */
    struct Kind {
        char const* schema;
        char const* type;
        std::string fallback;
    };
    static std::array<Kind, count> kinds() {
        return {Kind{"bench.integer", "i", std::to_string(nextScopeValue)},
                {"bench.number", "d", "0.0"},
                {"bench.boolean", "b", "false"},
                {"bench.string", "s", "''"},
                {"bench.integers", "ai", "[]"},
                {"bench.numbers", "ad", "[]"}};
    }

    struct Unref {
        void operator()(GSettingsBackend* backend) const { g_object_unref(backend); }
        void operator()(GSettingsSchema* schema) const { g_settings_schema_unref(schema); }
        void operator()(::GSettings* settings) const { g_object_unref(settings); }
        void operator()(GVariant* variant) const { g_variant_unref(variant); }
        void operator()(::GKeyFile* file) const { g_key_file_unref(file); }
    };
    using Backend = std::unique_ptr<GSettingsBackend, Unref>;
    using Schema = std::unique_ptr<GSettingsSchema, Unref>;
    using Settings = std::unique_ptr<::GSettings, Unref>;
    using Variant = std::unique_ptr<GVariant, Unref>;

    static constexpr std::size_t mostForFewObjects = 100'000;

    /** The path of the object for a name, and the key for the name, in which schemas do not allow "/" and "_". */
    [[nodiscard]] std::pair<std::string, std::string> split(std::string const& name) const {
        std::size_t const slash = _perGroup ? name.rfind('/') : name.find('/');
        std::string key = name.substr(slash + 1);
        for (char& character : key)
            if (character == '/' || character == '_')
                character = '-';
        return {"/" + name.substr(0, slash + 1), key};
    }

    void compileSchemas(std::filesystem::path const& directory, Names const& names) const {
        std::filesystem::create_directories(directory);
        std::set<std::string> keys;
        for (std::string const& name : names.ordered())
            keys.insert(split(name).second);
        std::ofstream xml(directory / "bench.gschema.xml");
        xml << "<schemalist>\n";
        for (Kind const& kind : kinds()) {
            xml << "<schema id='" << kind.schema << "'>\n";
            for (std::string const& key : keys)
                xml << "<key name='" << key << "' type='" << kind.type << "'><default>" << kind.fallback
                    << "</default></key>\n";
            xml << "</schema>\n";
        }
        xml << "</schemalist>\n";
        xml.close();
        if (std::system(("glib-compile-schemas '" + directory.string() + "'").c_str()) != 0)
            throw std::runtime_error("cannot compile the schemas in " + directory.string());
    }

    void use(Backend backend) {
        _settings.clear();
        _backend = std::move(backend);
        _onFile = false;
    }

    /** The object for a path and kind, created on demand. */
    ::GSettings& settings(std::string const& path, std::size_t kind) {
        Settings& held = _settings[path][kind];
        if (!held)
            held.reset(g_settings_new_full(_schemas[kind].get(), _backend.get(), path.c_str()));
        return *held;
    }

    void put(Index kind, std::string const& name, GVariant* value) {
        auto const [path, key] = split(name);
        g_settings_set_value(&settings(path, kind), key.c_str(), value);
    }

    Variant get(Index kind, std::string const& name) {
        auto const [path, key] = split(name);
        return Variant(g_settings_get_value(&settings(path, kind), key.c_str()));
    }

    template <class Element>
    static void readList(GVariant* variant, std::vector<Element>& value) {
        gsize size = 0;
        auto const* const list =
            static_cast<Element const*>(g_variant_get_fixed_array(variant, &size, sizeof(Element)));
        value.assign(list, list + size);
    }

    /** Writes the integers to a file for the key-file backend, because setting them one by one would take hours. */
    void exportToFile() {
        std::unique_ptr<::GKeyFile, Unref> const file(g_key_file_new());
        char** const keys = g_settings_schema_list_keys(_schemas[integer].get());
        for (auto const& [path, settings] : _settings) {
            std::string const group = path.substr(1, path.size() - 2);
            for (char** key = keys; *key != nullptr; ++key)
                g_key_file_set_integer(file.get(), group.c_str(), *key,
                                       g_settings_get_int(settings[integer].get(), *key));
        }
        g_strfreev(keys);
        if (g_key_file_save_to_file(file.get(), _file.c_str(), nullptr) == FALSE)
            throw std::runtime_error("cannot write " + _file);
    }

    std::string _file;
    std::vector<Schema> _schemas;
    Backend _backend;
    std::unordered_map<std::string, std::array<Settings, count>> _settings;
    bool _perGroup;
    bool _onFile = false;
};

} // namespace bench
