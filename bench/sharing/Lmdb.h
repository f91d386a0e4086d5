// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "LmdbCalls.h"
#include "sharing/Sharing.h"

namespace bench::sharing {

/** LMDB; each change is a transaction that is flushed to the disk. It does not notify other processes. */
class Lmdb : public Sharing {
public:
    static constexpr char const* label = "LMDB";

    Lmdb(std::filesystem::path const& directory, Names const& names)
        : _environment(lmdb::open(directory, std::size_t(64) << 20U, 0)) {
        MDB_txn* const transaction = lmdb::begin(_environment);
        _table = lmdb::openTable(transaction);
        writeAll(names, [&](std::string const& name, auto const& value) { put(transaction, name, value); });
        lmdb::check(mdb_txn_commit(transaction));
    }
    Lmdb(Lmdb const&) = delete;
    Lmdb& operator=(Lmdb const&) = delete;
    ~Lmdb() { mdb_env_close(_environment); }

    void save(std::string const& name, int value) {
        MDB_txn* const transaction = lmdb::begin(_environment);
        put(transaction, name, value);
        lmdb::check(mdb_txn_commit(transaction));
    }

private:
    void put(MDB_txn* transaction, std::string_view name, std::string_view value) const {
        lmdb::put(transaction, _table, name, value);
    }
    void put(MDB_txn* transaction, std::string_view name, int value) const {
        put(transaction, name, {reinterpret_cast<char const*>(&value), sizeof value});
    }

    MDB_env* _environment;
    MDB_dbi _table = 0;
};

} // namespace bench::sharing
