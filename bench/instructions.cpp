// SPDX-License-Identifier: Apache-2.0
//
// usage: valgrind --tool=callgrind --instr-atstart=no velmorand-bench-instructions [--live]
//
// Runs each operation of the register a fixed number of times, and makes callgrind dump the counts of each to a
// separate file, whose trigger names the operation and the number of runs: "read_integer 1000". With --live, counts
// writes with live settings, which must be the first use of the register in a process.
#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include <valgrind/callgrind.h>

#include <utils/properties/Register.h>
#include <velmorand/LiveSettings.h>
#include <velmorand/Property.h>

#include "Names.h"
#include "Rows.h"
#include "stores/Register.h"

namespace bench {

namespace {

/** Counts `operation`, called with each of the names. */
template <class Operation>
void count(std::string const& row, std::vector<std::string> const& names, Operation const& operation) {
    std::string const trigger = row + " " + std::to_string(names.size());
    CALLGRIND_ZERO_STATS;
    CALLGRIND_START_INSTRUMENTATION;
    for (std::string const& name : names)
        operation(name);
    CALLGRIND_STOP_INSTRUMENTATION;
    CALLGRIND_DUMP_STATS_AT(trigger.c_str());
}

template <class Value>
void countValue(Register& store, std::string const& kind, Value const& value) {
    std::vector<std::string> const& all = names(1'000).shuffled();
    Value target{};
    auto const read = [&store, &target](std::string const& name) { store.read(name, target); };
    store.clear();
    count("create_" + kind, all, [&](std::string const& name) { store.write(name, value); });
    count("write_" + kind, all, [&](std::string const& name) { store.write(name, value); });
    read(all.front()); // lists are read into a vector that has been used before
    count("read_" + kind, all, read);
}

void countValues(Register& store) {
    countValue(store, "integer", usualValue);
    countValue(store, "number", 0.5);
    countValue(store, "boolean", true);
    countValue(store, "string", std::string("a string that is of 32 bytes ..."));
    countValue(store, "100_integers", std::vector<int>(100, usualValue));
    countValue(store, "100_numbers", std::vector<double>(100, 0.5));
    countValue(store, "100_booleans", std::vector<bool>(100, true));
    countValue(store, "100_strings", std::vector<std::string>(100, "a string that is of 32 bytes ..."));
}

void countOthers(Register& store) {
    Names const& all = names(usualCount);
    long calls = 0;
    store.clear();
    store.writeNext(all.ordered());
    count("read_next_scope", all.shuffled(), [&](std::string const& name) {
        int value = 0;
        store.read(name, value);
    });
    fill(store, all);
    count("read_integer_among_10000", all.shuffled(), [&](std::string const& name) {
        int value = 0;
        store.read(name, value);
    });
    count("read_missing", missingNames(all.shuffled()),
          [&](std::string const& name) { store.readOr(name, usualValue); });
    count("list_group_of_100", all.groups(), [&](std::string const& group) { store.entries(group); });
    count("list_names_of_100", all.groups(), [&](std::string const& group) { store.list(group); });
    for (std::string const& group : all.groups())
        store.listen(group, calls);
    count("write_heard", all.shuffled(), [&](std::string const& name) { store.write(name, usualValue); });
    count("save_10000", {"once"}, [&](std::string const&) { store.save(); });
    store.clear();
    count("load_10000", {"once"}, [&](std::string const&) { store.load(); });
}

/** Declared settings that have not changed since the last read. */
template <class T>
void countDeclared(Register& store, std::string const& kind, T const& value) {
    std::vector<std::string> const& all = names(1'000).shuffled();
    std::vector<velmorand::Property<T>> settings;
    for (std::string const& name : all) {
        store.write(name, value);
        settings.emplace_back(name);
    }
    for (auto const& setting : settings)
        static_cast<void>(setting.get());
    std::size_t next = 0;
    T read{};
    count("read_declared_" + kind, all, [&](std::string const&) { read = settings[next++].get(); });
}

void countLive() {
    std::filesystem::path const directory = storeDirectory();
    velmorand::LiveOptions options;
    options.userDirectory = directory / "user";
    options.globalDirectory = directory / "global";
    options.delay = std::chrono::hours(1);
    velmorand::LiveSettings const live(options);
    auto& theRegister = *utils::properties::_Register::getInstance();
    auto const write = [&](std::string const& name) {
        theRegister._writeInteger(nullptr, name, usualValue, utils::properties::SCOPE_USER);
    };
    std::vector<std::string> const& all = names(1'000).shuffled();
    for (std::string const& name : all)
        write(name);
    std::vector<std::string> alternating;
    for (std::size_t i = 0; i < all.size(); ++i)
        alternating.push_back(all[i % 2]);
    count("write_live_same", std::vector<std::string>(all.size(), all.front()), write);
    count("write_live_alternating", alternating, write);
    count("write_live_all", all, write);
}

} // namespace

} // namespace bench

int main(int argc, char** argv) {
    if (argc == 2 && argv[1] == std::string("--live")) {
        bench::countLive();
        return 0;
    }
    bench::Register store(bench::storeDirectory(), bench::names(0));
    bench::countValues(store);
    bench::countOthers(store);
    bench::countDeclared(store, "integer", bench::usualValue);
    bench::countDeclared(store, "number", 0.5);
    return 0;
}
