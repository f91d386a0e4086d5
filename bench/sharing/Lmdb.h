// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

#include <lmdb.h>

#include "sharing/Sharing.h"

namespace bench::sharing {

/** LMDB, each change a transaction that is synchronised with the disk. It notifies no other process. */
class Lmdb : public Sharing {
public:
    static constexpr char const* label = "LMDB";

    Lmdb(std::filesystem::path const& directory, Names const& names) {
        constexpr std::size_t mapSize = std::size_t(64) << 20U;
        check(mdb_env_create(&_environment));
        check(mdb_env_set_mapsize(_environment, mapSize));
        check(mdb_env_open(_environment, directory.c_str(), 0, 0600));
        MDB_txn* const transaction = begin();
        check(mdb_dbi_open(transaction, nullptr, 0, &_table));
        for (std::size_t i = 0; i < names.ordered().size(); ++i)
            put(transaction, names.ordered()[i], isInteger(i) ? bytesOf(0) : textOf(i));
        check(mdb_txn_commit(transaction));
    }
    Lmdb(Lmdb const&) = delete;
    Lmdb& operator=(Lmdb const&) = delete;
    ~Lmdb() { mdb_env_close(_environment); }

    void save(std::string const& name, int value) {
        MDB_txn* const transaction = begin();
        put(transaction, name, bytesOf(value));
        check(mdb_txn_commit(transaction));
    }

private:
    static void check(int result) {
        if (result != MDB_SUCCESS)
            throw std::runtime_error(std::string("LMDB: ") + mdb_strerror(result));
    }

    static std::string bytesOf(int value) { return {reinterpret_cast<char const*>(&value), sizeof value}; }

    // LMDB takes what it only reads through pointers that are not const.
    static MDB_val text(std::string_view value) { return {value.size(), const_cast<char*>(value.data())}; }

    MDB_txn* begin() {
        MDB_txn* transaction = nullptr;
        check(mdb_txn_begin(_environment, nullptr, 0, &transaction));
        return transaction;
    }

    void put(MDB_txn* transaction, std::string_view name, std::string_view value) const {
        MDB_val key = text(name);
        MDB_val data = text(value);
        check(mdb_put(transaction, _table, &key, &data, 0));
    }

    MDB_env* _environment = nullptr;
    MDB_dbi _table = 0;
};

} // namespace bench::sharing
