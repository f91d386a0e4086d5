// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

#include <lmdb.h>

/** LMDB's calls with the types of this program. */
namespace bench::lmdb {

inline void check(int result) {
    if (result != MDB_SUCCESS)
        throw std::runtime_error(std::string("LMDB: ") + mdb_strerror(result));
}

/** LMDB has non-const pointers even to data that it only reads. */
inline MDB_val text(std::string_view value) {
    return {value.size(), const_cast<char*>(value.data())};
}

inline std::string_view text(MDB_val const& value) {
    return {static_cast<char const*>(value.mv_data), value.mv_size};
}

inline MDB_env* open(std::filesystem::path const& directory, std::size_t mapSize, unsigned flags) {
    MDB_env* environment = nullptr;
    check(mdb_env_create(&environment));
    check(mdb_env_set_mapsize(environment, mapSize));
    check(mdb_env_open(environment, directory.c_str(), flags, 0600));
    return environment;
}

inline MDB_txn* begin(MDB_env* environment, unsigned flags = 0) {
    MDB_txn* transaction = nullptr;
    check(mdb_txn_begin(environment, nullptr, flags, &transaction));
    return transaction;
}

inline MDB_dbi openTable(MDB_txn* transaction) {
    MDB_dbi table = 0;
    check(mdb_dbi_open(transaction, nullptr, 0, &table));
    return table;
}

inline void put(MDB_txn* transaction, MDB_dbi table, std::string_view name, std::string_view value) {
    MDB_val key = text(name);
    MDB_val data = text(value);
    check(mdb_put(transaction, table, &key, &data, 0));
}

} // namespace bench::lmdb
