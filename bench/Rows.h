// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "Files.h"
#include "Names.h"
#include "Store.h"

/** The measured operations, each written once for all stores. */
namespace bench {

constexpr std::size_t usualCount = 10'000;
constexpr std::size_t fileCount = 100'000;
constexpr int usualValue = 42;

/** `count` names, by default in 100 groups. Computed only once. */
inline Names const& names(std::size_t count, std::size_t groups = 100) {
    static std::map<std::pair<std::size_t, std::size_t>, Names> made;
    return made
        .emplace(std::piecewise_construct, std::tuple(count, groups),
                 std::tuple(count, std::min(count, groups)))
        .first->second;
}

/** A new directory for a store's files. All are removed when the process ends. */
inline std::filesystem::path storeDirectory() {
    static TemporaryDirectory const all;
    static unsigned made = 0;
    std::filesystem::path directory = all.path() / std::to_string(++made);
    std::filesystem::create_directory(directory);
    return directory;
}

/** The process's only store of a kind, and its content. */
template <class Store>
struct Held {
    static inline std::unique_ptr<Store> store;
    static inline std::string content;
};

/** A store with the given content. It is filled only if its content differs, so repetitions reuse it. */
template <class Store, class Fill>
Store& holding(std::string const& content, Names const& names, Fill const& fill) {
    using Held = bench::Held<Store>;
    if (Held::content != content) {
        Held::store.reset();
        Held::store = std::make_unique<Store>(storeDirectory(), names);
        fill(*Held::store);
        Held::content = content;
    }
    return *Held::store;
}

/** Must be called for every store before the process ends, because the register is destroyed at the exit. */
template <class Store>
void release() {
    Held<Store>::store.reset();
    Held<Store>::content.clear();
}

/** Registers the row "row/store". */
template <class Store, class Function, class... Arguments>
benchmark::internal::Benchmark* add(std::string const& row, Function function, Arguments... arguments) {
    return benchmark::RegisterBenchmark((row + "/" + Store::label).c_str(), function, arguments...);
}

template <class Store>
void fill(Store& store, Names const& names) {
    for (std::string const& name : names.ordered())
        store.write(name, usualValue);
}

template <class Store>
Store& holdingIntegers(Names const& names) {
    return holding<Store>(std::to_string(names.ordered().size()) + " integers", names,
                          [&names](Store& store) { fill(store, names); });
}

/** Measures reads of names that all have the value `expected`. */
template <class Store, class Value>
void measureReads(benchmark::State& state, Store& store, std::vector<std::string> const& names,
                  Value const& expected) {
    Value value{};
    store.read(names.front(), value);
    if (value != expected)
        state.SkipWithError("read another value than the one written");
    Cycle cycle(names);
    for (auto _ : state) {
        store.read(cycle.next(), value);
        benchmark::DoNotOptimize(value);
    }
}

template <class Store>
void readInteger(benchmark::State& state, std::size_t count) {
    Names const& all = names(count);
    measureReads(state, holdingIntegers<Store>(all), all.shuffled(), usualValue);
}

template <class Store>
void readNextScope(benchmark::State& state) {
    Names const& all = names(usualCount);
    Store& store =
        holding<Store>("the next scope", all, [&all](Store& empty) { empty.writeNext(all.ordered()); });
    measureReads(state, store, all.shuffled(), nextScopeValue);
}

template <class Store>
void readString(benchmark::State& state) {
    Names const& all = names(usualCount);
    std::string const value = "a string that is of 32 bytes ...";
    auto& store = holding<Store>("strings", all, [&all, &value](Store& empty) {
        for (std::string const& name : all.ordered())
            empty.write(name, value);
    });
    measureReads(state, store, all.shuffled(), value);
}

/** Reads one list repeatedly into the same vector. */
template <class Store, class Element>
void readList(benchmark::State& state, std::size_t size) {
    Names const& all = names(usualCount);
    auto& store = holdingIntegers<Store>(all);
    std::vector<Element> list;
    for (std::size_t i = 0; i < size; ++i)
        list.push_back(static_cast<Element>(i) * 3 / 2);
    store.write(all.shuffled().front(), list);
    measureReads(state, store, {all.shuffled().front()}, list);
    store.write(all.shuffled().front(), usualValue);
}

template <class Store>
void readMissing(benchmark::State& state) {
    Names const& all = names(usualCount);
    auto& store = holdingIntegers<Store>(all);
    std::vector<std::string> const missing = missingNames(all.shuffled());
    Cycle cycle(missing);
    for (auto _ : state)
        benchmark::DoNotOptimize(store.readOr(cycle.next(), usualValue));
}

template <class Store>
void writeInteger(benchmark::State& state) {
    Names const& all = names(usualCount);
    auto& store = holdingIntegers<Store>(all);
    Cycle cycle(all.shuffled());
    int value = 0;
    for (auto _ : state)
        store.write(cycle.next(), ++value);
    fill(store, all);
}

/** Like `writeInteger`, with a listener to the group of all writes. */
template <class Store>
void writeHeard(benchmark::State& state) {
    static long calls = 0;
    static int value = usualValue; // always different, because some stores announce only new values
    Names const& all = names(usualCount);
    std::string const& group = all.groups().front();
    auto& store = holding<Store>("a listener", all, [&all, &group](Store& empty) {
        fill(empty, all);
        empty.listen(group, calls);
    });
    std::vector<std::string> heard;
    for (std::string const& name : all.shuffled())
        if (splitName(name).first == group)
            heard.push_back(name);
    Cycle cycle(heard);
    calls = 0;
    for (auto _ : state)
        store.write(cycle.next(), ++value);
    if (calls != state.iterations())
        state.SkipWithError("the listener was not notified of every write");
}

/** Writes new names; when all names exist, starts again with an empty store. */
template <class Store>
void create(benchmark::State& state) {
    Names const& all = names(usualCount);
    auto& store = holding<Store>("nothing", all, [](Store&) {});
    std::size_t next = all.shuffled().size();
    for (auto _ : state) {
        if (next == all.shuffled().size()) {
            state.PauseTiming();
            store.clear();
            next = 0;
            state.ResumeTiming();
        }
        store.write(all.shuffled()[next++], usualValue);
    }
}

template <class Store>
void listGroup(benchmark::State& state) {
    Names const& all = names(1'000, 1);
    auto& store = holding<Store>("a group of 1,000", all, [&all](Store& empty) { fill(empty, all); });
    std::string const& group = all.groups().front();
    for (auto _ : state)
        benchmark::DoNotOptimize(store.list(group));
}

/** The last step reads from each group, for stores that load lazily. */
template <class Store>
void load(benchmark::State& state) {
    Names const& all = names(fileCount);
    auto& store = holding<Store>("a file to load", all, [&all](Store& empty) {
        fill(empty, all);
        empty.save();
    });
    for (auto _ : state) {
        state.PauseTiming();
        store.clear();
        state.ResumeTiming();
        store.load();
        for (std::string const& group : all.groups()) {
            int value = 0;
            store.read(group + "/prop_100", value);
            if (value != usualValue)
                state.SkipWithError("loaded another value than the one saved");
        }
    }
}

/** The first step is a write, for stores that do not save without a change. */
template <class Store>
void save(benchmark::State& state) {
    Names const& all = names(fileCount);
    auto& store = holding<Store>("a file to save", all, [&all](Store& empty) {
        fill(empty, all);
        empty.save();
    });
    static int value = usualValue; // always different
    for (auto _ : state) {
        store.write(all.shuffled().front(), ++value);
        store.save();
    }
}

} // namespace bench
