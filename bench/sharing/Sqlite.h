// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

#include <sqlite3.h>

#include "sharing/Sharing.h"

namespace bench::sharing {

/** SQLite with a write-ahead log that each transaction synchronises. It notifies no other process. */
class Sqlite : public Sharing {
public:
    static constexpr char const* label = "SQLite";

    Sqlite(std::filesystem::path const& directory, Names const& names) {
        check(sqlite3_open((directory / "settings.sqlite").c_str(), &_database));
        run("PRAGMA journal_mode=WAL");
        run("PRAGMA synchronous=FULL");
        run("CREATE TABLE settings (name TEXT PRIMARY KEY, value) WITHOUT ROWID");
        run("BEGIN");
        for (std::size_t i = 0; i < names.ordered().size(); ++i)
            run("INSERT INTO settings VALUES ('" + names.ordered()[i] + "', " +
                (isInteger(i) ? "0" : "'" + textOf(i) + "'") + ")");
        run("COMMIT");
        check(sqlite3_prepare_v2(_database, "UPDATE settings SET value = ?1 WHERE name = ?2", -1, &_update,
                                 nullptr));
    }
    Sqlite(Sqlite const&) = delete;
    Sqlite& operator=(Sqlite const&) = delete;
    ~Sqlite() {
        sqlite3_finalize(_update);
        sqlite3_close(_database);
    }

    void save(std::string const& name, int value) {
        check(sqlite3_bind_int(_update, 1, value));
        check(sqlite3_bind_text(_update, 2, name.data(), static_cast<int>(name.size()), nullptr));
        bool const isDone = sqlite3_step(_update) == SQLITE_DONE && sqlite3_changes(_database) == 1;
        check(sqlite3_reset(_update));
        if (!isDone)
            throw std::runtime_error("SQLite: cannot update " + name);
    }

private:
    static void check(int result) {
        if (result != SQLITE_OK)
            throw std::runtime_error(std::string("SQLite: ") + sqlite3_errstr(result));
    }

    void run(std::string const& statement) {
        check(sqlite3_exec(_database, statement.c_str(), nullptr, nullptr, nullptr));
    }

    sqlite3* _database = nullptr;
    sqlite3_stmt* _update = nullptr;
};

} // namespace bench::sharing
