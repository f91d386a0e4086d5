// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <sqlite3.h>

#include "Files.h"
#include "Names.h"
#include "Store.h"

namespace bench {

/** SQLite in memory, with prepared statements; saving copies the database to a file. */
class Sqlite : public Store {
public:
    static constexpr char const* label = "SQLite";

    Sqlite(std::filesystem::path const& directory, Names const&) : _path((directory / "sqlite").string()) {
        open(":memory:");
    }
    Sqlite(Sqlite const&) = delete;
    Sqlite& operator=(Sqlite const&) = delete;
    ~Sqlite() { close(); }

    void write(std::string const& name, int value) { put(name, sqlite3_bind_int, value); }
    void write(std::string const& name, double value) { put(name, sqlite3_bind_double, value); }
    void write(std::string const& name, bool value) { put(name, sqlite3_bind_int, value ? 1 : 0); }
    void write(std::string const& name, std::string const& value) {
        put(name, sqlite3_bind_text, value.data(), size(value.size()), nullptr);
    }
    template <class Element>
    void write(std::string const& name, std::vector<Element> const& value) {
        put(name, sqlite3_bind_blob, value.data(), size(value.size() * sizeof(Element)), nullptr);
    }

    void read(std::string const& name, int& value) {
        Row const row(_select, name);
        value = sqlite3_column_int(_select, 0);
    }
    void read(std::string const& name, double& value) {
        Row const row(_select, name);
        value = sqlite3_column_double(_select, 0);
    }
    void read(std::string const& name, bool& value) {
        Row const row(_select, name);
        value = sqlite3_column_int(_select, 0) != 0;
    }
    void read(std::string const& name, std::string& value) {
        Row const row(_select, name);
        value = text(_select);
    }
    template <class Element>
    void read(std::string const& name, std::vector<Element>& value) {
        Row const row(_select, name);
        std::string_view const raw = text(_select);
        value.resize(raw.size() / sizeof(Element));
        std::memcpy(value.data(), raw.data(), raw.size());
    }

    int readOr(std::string const& name, int fallback) {
        Row const row(_select, name);
        return row.found() ? sqlite3_column_int(_select, 0) : fallback;
    }

    std::vector<std::string> list(std::string const& group) {
        std::vector<std::string> names;
        std::string const first = group + '/';
        std::string const last = group + '0'; // the character after "/"
        bind(_list, 2, sqlite3_bind_text, last.data(), size(last.size()), nullptr);
        Row const row(_list, first);
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
        sqlite3* file = nullptr;
        check(sqlite3_open(aside.c_str(), &file));
        sqlite3_backup* const backup = sqlite3_backup_init(file, "main", _database, "main");
        sqlite3_backup_step(backup, -1);
        check(sqlite3_backup_finish(backup));
        check(sqlite3_close(file));
        moveInPlace(aside, _path);
    }

    void load() {
        close();
        open(_path.c_str());
    }

private:
    /** A statement's first row for a name; the statement is ready for the next use when it goes. */
    class Row {
    public:
        Row(sqlite3_stmt* statement, std::string const& name) : _statement(statement) {
            bind(statement, 1, sqlite3_bind_text, name.data(), size(name.size()), nullptr);
            _result = sqlite3_step(statement);
        }
        Row(Row const&) = delete;
        Row& operator=(Row const&) = delete;
        ~Row() { sqlite3_reset(_statement); }

        [[nodiscard]] bool found() const { return _result == SQLITE_ROW; }
        [[nodiscard]] bool done() const { return _result == SQLITE_DONE; }

    private:
        sqlite3_stmt* _statement;
        int _result = SQLITE_OK;
    };

    static void check(int result) {
        if (result != SQLITE_OK)
            throw std::runtime_error(std::string("SQLite: ") + sqlite3_errstr(result));
    }

    static int size(std::size_t bytes) { return static_cast<int>(bytes); }

    template <class Bind, class... Values>
    static void bind(sqlite3_stmt* statement, int index, Bind bindIt, Values... values) {
        check(bindIt(statement, index, values...));
    }

    template <class Bind, class... Values>
    void put(std::string const& name, Bind bindIt, Values... values) {
        bind(_upsert, 2, bindIt, values...);
        Row const row(_upsert, name);
        if (!row.done())
            throw std::runtime_error("SQLite: cannot write " + name);
    }

    static std::string_view text(sqlite3_stmt* statement) {
        auto const* const data = static_cast<char const*>(sqlite3_column_blob(statement, 0));
        return {data, static_cast<std::size_t>(sqlite3_column_bytes(statement, 0))};
    }

    [[nodiscard]] sqlite3_stmt* prepare(char const* statement) const {
        sqlite3_stmt* prepared = nullptr;
        check(sqlite3_prepare_v3(_database, statement, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr));
        return prepared;
    }

    void open(char const* path) {
        check(sqlite3_open(path, &_database));
        check(sqlite3_exec(_database,
                           "CREATE TABLE IF NOT EXISTS settings (name TEXT PRIMARY KEY, value) WITHOUT ROWID",
                           nullptr, nullptr, nullptr));
        _select = prepare("SELECT value FROM settings WHERE name = ?1");
        _upsert = prepare("INSERT OR REPLACE INTO settings VALUES (?1, ?2)");
        _list = prepare("SELECT name FROM settings WHERE name >= ?1 AND name < ?2");
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
