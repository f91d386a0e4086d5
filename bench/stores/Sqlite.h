// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <sqlite3.h>

#include "Files.h"
#include "Names.h"
#include "SqliteCalls.h"
#include "Store.h"

namespace bench {

/** SQLite in memory, with prepared statements. Saving copies the database to a file. */
class Sqlite : public Store {
public:
    static constexpr char const* label = "SQLite";

    Sqlite(std::filesystem::path const& directory, Names const&) : _path((directory / "sqlite").string()) {
        open(":memory:");
    }
    Sqlite(Sqlite const&) = delete;
    Sqlite& operator=(Sqlite const&) = delete;
    ~Sqlite() { close(); }

    void write(std::string const& name, int value) { sqlite::put(_upsert, name, sqlite3_bind_int, value); }
    void write(std::string const& name, double value) {
        sqlite::put(_upsert, name, sqlite3_bind_double, value);
    }
    void write(std::string const& name, bool value) {
        sqlite::put(_upsert, name, sqlite3_bind_int, value ? 1 : 0);
    }
    void write(std::string const& name, std::string const& value) {
        sqlite::put(_upsert, name, sqlite3_bind_text, value.data(), sqlite::size(value.size()), nullptr);
    }
    template <class Element>
    void write(std::string const& name, std::vector<Element> const& value) {
        sqlite::put(_upsert, name, sqlite3_bind_blob, value.data(),
                    sqlite::size(value.size() * sizeof(Element)), nullptr);
    }

    void read(std::string const& name, int& value) {
        sqlite::Row const row(_select, name);
        value = sqlite3_column_int(_select, 0);
    }
    void read(std::string const& name, double& value) {
        sqlite::Row const row(_select, name);
        value = sqlite3_column_double(_select, 0);
    }
    void read(std::string const& name, bool& value) {
        sqlite::Row const row(_select, name);
        value = sqlite3_column_int(_select, 0) != 0;
    }
    void read(std::string const& name, std::string& value) {
        sqlite::Row const row(_select, name);
        value = text(_select);
    }
    template <class Element>
    void read(std::string const& name, std::vector<Element>& value) {
        sqlite::Row const row(_select, name);
        std::string_view const raw = text(_select);
        value.resize(raw.size() / sizeof(Element));
        std::memcpy(value.data(), raw.data(), raw.size());
    }

    int readOr(std::string const& name, int fallback) {
        sqlite::Row const row(_select, name);
        return row.found() ? sqlite3_column_int(_select, 0) : fallback;
    }

    std::vector<std::string> list(std::string const& group) {
        std::vector<std::string> names;
        std::string const first = group + '/';
        std::string const last = group + '0'; // the character after "/"
        sqlite::bind(_list, 2, sqlite3_bind_text, last.data(), sqlite::size(last.size()), nullptr);
        sqlite::Row const row(_list, first);
        for (bool more = row.found(); more; more = sqlite3_step(_list) == SQLITE_ROW)
            names.emplace_back(text(_list).substr(first.size()));
        return names;
    }

    void clear() {
        close();
        open(":memory:");
    }

    void save() {
        std::string const aside = _path + ".new";
        std::filesystem::remove(aside);
        sqlite3* const file = sqlite::open(aside.c_str());
        sqlite3_backup* const backup = sqlite3_backup_init(file, "main", _database, "main");
        sqlite3_backup_step(backup, -1);
        sqlite::check(sqlite3_backup_finish(backup));
        sqlite::check(sqlite3_close(file));
        moveInPlace(aside, _path);
    }

    void load() {
        close();
        open(_path.c_str());
    }

private:
    static std::string_view text(sqlite3_stmt* statement) {
        auto const* const data = static_cast<char const*>(sqlite3_column_blob(statement, 0));
        return {data, static_cast<std::size_t>(sqlite3_column_bytes(statement, 0))};
    }

    void open(char const* path) {
        _database = sqlite::open(path);
        sqlite::run(_database, sqlite::createTable);
        _select = sqlite::prepare(_database, "SELECT value FROM settings WHERE name = ?1");
        _upsert = sqlite::prepare(_database, sqlite::upsert);
        _list = sqlite::prepare(_database, "SELECT name FROM settings WHERE name >= ?1 AND name < ?2");
    }

    void close() {
        for (sqlite3_stmt* statement : {_select, _upsert, _list})
            sqlite3_finalize(statement);
        sqlite3_close(_database);
    }

    std::string _path;
    sqlite3* _database = nullptr;
    sqlite3_stmt* _select = nullptr;
    sqlite3_stmt* _upsert = nullptr;
    sqlite3_stmt* _list = nullptr;
};

} // namespace bench
