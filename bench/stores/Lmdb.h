// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <lmdb.h>

#include "Files.h"
#include "LmdbCalls.h"
#include "Names.h"
#include "Store.h"

namespace bench {

/**
 * LMDB, which maps names to raw bytes. A read renews the read transaction; a write is a transaction that is not flushed
 * to the disk; saving copies the environment.
 */
class Lmdb : public Store {
public:
    static constexpr char const* label = "LMDB";

    Lmdb(std::filesystem::path const& directory, Names const&)
        : _live(directory / "lmdb-live"), _saved(directory / "lmdb-saved") {
        open(_live);
    }
    Lmdb(Lmdb const&) = delete;
    Lmdb& operator=(Lmdb const&) = delete;
    ~Lmdb() { close(); }

    void write(std::string const& name, std::string const& value) { put(name, value); }
    template <class Scalar>
    void write(std::string const& name, Scalar const& value) {
        static_assert(std::is_arithmetic_v<Scalar>);
        char raw[sizeof value];
        std::memcpy(raw, &value, sizeof value);
        put(name, {raw, sizeof value});
    }
    template <class Element>
    void write(std::string const& name, std::vector<Element> const& value) {
        std::string raw(value.size() * sizeof(Element), '\0');
        std::memcpy(raw.data(), value.data(), raw.size());
        put(name, raw);
    }

    void read(std::string const& name, std::string& value) {
        Reading const reading(_reader);
        value = get(name);
    }
    template <class Scalar>
    void read(std::string const& name, Scalar& value) {
        Reading const reading(_reader);
        std::memcpy(&value, get(name).data(), sizeof value);
    }
    template <class Element>
    void read(std::string const& name, std::vector<Element>& value) {
        Reading const reading(_reader);
        std::string_view const raw = get(name);
        value.resize(raw.size() / sizeof(Element));
        std::memcpy(value.data(), raw.data(), raw.size());
    }

    int readOr(std::string const& name, int fallback) {
        Reading const reading(_reader);
        MDB_val key = lmdb::text(name);
        MDB_val data{};
        if (mdb_get(_reader, _table, &key, &data) == MDB_NOTFOUND)
            return fallback;
        int value = 0;
        std::memcpy(&value, data.mv_data, sizeof value);
        return value;
    }

    std::vector<std::string> list(std::string const& group) {
        Reading const reading(_reader);
        std::vector<std::string> names;
        std::string const prefix = group + "/";
        MDB_cursor* cursor = nullptr;
        lmdb::check(mdb_cursor_open(_reader, _table, &cursor));
        MDB_val key = lmdb::text(prefix);
        MDB_val data{};
        int result = mdb_cursor_get(cursor, &key, &data, MDB_SET_RANGE);
        while (result == MDB_SUCCESS) {
            std::string_view const name = lmdb::text(key);
            if (name.substr(0, prefix.size()) != prefix)
                break;
            names.emplace_back(name.substr(prefix.size()));
            result = mdb_cursor_get(cursor, &key, &data, MDB_NEXT);
        }
        mdb_cursor_close(cursor);
        return names;
    }

    void clear() {
        close();
        open(_live);
    }

    void save() {
        std::filesystem::path const aside = _saved.string() + ".new";
        std::filesystem::create_directory(aside);
        lmdb::check(mdb_env_copy(_environment, aside.c_str()));
        std::filesystem::create_directory(_saved);
        moveInPlace(aside / "data.mdb", _saved / "data.mdb");
    }

    void load() {
        close();
        attach(_saved);
    }

    [[nodiscard]] std::size_t bytesOutsideTheHeap() const {
        MDB_envinfo info{};
        MDB_stat pages{};
        lmdb::check(mdb_env_info(_environment, &info));
        lmdb::check(mdb_env_stat(_environment, &pages));
        return (info.me_last_pgno + 1) * pages.ms_psize;
    }

private:
    /** The read transaction, renewed for the lifetime of the object. */
    class Reading {
    public:
        explicit Reading(MDB_txn* transaction) : _transaction(transaction) {
            lmdb::check(mdb_txn_renew(transaction));
        }
        Reading(Reading const&) = delete;
        Reading& operator=(Reading const&) = delete;
        ~Reading() { mdb_txn_reset(_transaction); }

    private:
        MDB_txn* _transaction;
    };

    void put(std::string_view name, std::string_view value) {
        MDB_txn* const transaction = lmdb::begin(_environment);
        lmdb::put(transaction, _table, name, value);
        lmdb::check(mdb_txn_commit(transaction));
    }

    std::string_view get(std::string_view name) {
        MDB_val key = lmdb::text(name);
        MDB_val data{};
        lmdb::check(mdb_get(_reader, _table, &key, &data));
        return lmdb::text(data);
    }

    void open(std::filesystem::path const& directory) {
        std::filesystem::remove_all(directory);
        std::filesystem::create_directory(directory);
        attach(directory);
    }

    void attach(std::filesystem::path const& directory) {
        constexpr std::size_t mapSize = std::size_t(4) << 30U;
        _environment = lmdb::open(directory, mapSize, MDB_WRITEMAP | MDB_NOSYNC);
        MDB_txn* const transaction = lmdb::begin(_environment);
        _table = lmdb::openTable(transaction);
        lmdb::check(mdb_txn_commit(transaction));
        _reader = lmdb::begin(_environment, MDB_RDONLY);
        mdb_txn_reset(_reader);
    }

    void close() {
        mdb_txn_abort(_reader);
        mdb_env_close(_environment);
    }

    std::filesystem::path _live;
    std::filesystem::path _saved;
    MDB_env* _environment = nullptr;
    MDB_txn* _reader = nullptr;
    MDB_dbi _table = 0;
};

} // namespace bench
