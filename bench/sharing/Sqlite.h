// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>

#include "SqliteCalls.h"
#include "sharing/Sharing.h"

namespace bench::sharing {

/** SQLite with a write-ahead log that each transaction flushes. It does not notify other processes. */
class Sqlite : public Sharing {
public:
    static constexpr char const* label = "SQLite";

    Sqlite(std::filesystem::path const& directory, Names const& names)
        : _database(sqlite::open((directory / "settings.sqlite").c_str())) {
        sqlite::run(_database, "PRAGMA journal_mode=WAL");
        sqlite::run(_database, "PRAGMA synchronous=FULL");
        sqlite::run(_database, sqlite::createTable);
        _upsert = sqlite::prepare(_database, sqlite::upsert);
        sqlite::run(_database, "BEGIN");
        writeAll(names, [this](std::string const& name, auto const& value) { save(name, value); });
        sqlite::run(_database, "COMMIT");
    }
    Sqlite(Sqlite const&) = delete;
    Sqlite& operator=(Sqlite const&) = delete;
    ~Sqlite() {
        sqlite3_finalize(_upsert);
        sqlite3_close(_database);
    }

    void save(std::string const& name, int value) { sqlite::put(_upsert, name, sqlite3_bind_int, value); }

private:
    void save(std::string const& name, std::string const& value) {
        sqlite::put(_upsert, name, sqlite3_bind_text, value.data(), sqlite::size(value.size()), nullptr);
    }

    sqlite3* _database;
    sqlite3_stmt* _upsert = nullptr;
};

} // namespace bench::sharing
