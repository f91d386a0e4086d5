// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

#include <sqlite3.h>

/** SQLite's calls with the types of this program. */
namespace bench::sqlite {

constexpr char const* createTable =
    "CREATE TABLE IF NOT EXISTS settings (name TEXT PRIMARY KEY, value) WITHOUT ROWID";
constexpr char const* upsert = "INSERT OR REPLACE INTO settings VALUES (?1, ?2)";

inline void check(int result) {
    if (result != SQLITE_OK)
        throw std::runtime_error(std::string("SQLite: ") + sqlite3_errstr(result));
}

inline sqlite3* open(char const* path) {
    sqlite3* database = nullptr;
    check(sqlite3_open(path, &database));
    return database;
}

inline void run(sqlite3* database, char const* statement) {
    check(sqlite3_exec(database, statement, nullptr, nullptr, nullptr));
}

inline sqlite3_stmt* prepare(sqlite3* database, char const* statement) {
    sqlite3_stmt* prepared = nullptr;
    check(sqlite3_prepare_v3(database, statement, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr));
    return prepared;
}

inline int size(std::size_t bytes) {
    return static_cast<int>(bytes);
}

template <class Bind, class... Values>
void bind(sqlite3_stmt* statement, int index, Bind bindIt, Values... values) {
    check(bindIt(statement, index, values...));
}

/** The first row of a statement for a name. The destructor resets the statement for its next use. */
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

/** Sets the value of a name with a prepared `upsert`. */
template <class Bind, class... Values>
void put(sqlite3_stmt* prepared, std::string const& name, Bind bindIt, Values... values) {
    bind(prepared, 2, bindIt, values...);
    Row const row(prepared, name);
    if (!row.done())
        throw std::runtime_error("SQLite: cannot write " + name);
}

} // namespace bench::sqlite
