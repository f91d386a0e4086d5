// SPDX-License-Identifier: Apache-2.0
//
// Operations measured only on the register and the limit: long names, many listeners, lists of every kind and size,
// several threads. The names are "row/parameter/store".
#include <cstddef>
#include <mutex>
#include <string>
#include <type_traits>
#include <vector>

#include <benchmark/benchmark.h>

#include "Names.h"
#include "Rows.h"
#include "Store.h"
#include "stores/Limit.h"
#include "stores/Register.h"

namespace bench {

namespace {

template <class Store>
void readLongName(benchmark::State& state, std::size_t length) {
    Names const all = Names::ofLength(length, usualCount);
    auto& store =
        holding<Store>("names of " + std::to_string(length), all, [&all](Store& empty) { fill(empty, all); });
    measureReads(state, store, all.shuffled(), usualValue);
}

/** Lists a group of the register itself: the copied names, with their kinds, in a set. */
template <class Store>
void listEntries(benchmark::State& state, std::size_t count) {
    Names const& all = names(count, 1);
    auto& store = holding<Store>("a group of " + std::to_string(count), all,
                                 [&all](Store& empty) { fill(empty, all); });
    std::string const& group = all.groups().front();
    for (auto _ : state)
        benchmark::DoNotOptimize(store.entries(group));
}

/** Writes that notify one listener, with `count` listeners on other names. */
template <class Store>
void writeAmongListeners(benchmark::State& state, std::size_t count) {
    static long calls = 0;
    Names const& all = names(usualCount);
    auto& store = holding<Store>(std::to_string(count) + " listeners", all, [&all, count](Store& empty) {
        fill(empty, all);
        empty.listen(all.groups().front(), calls);
        for (std::size_t i = 1; i < count; ++i)
            empty.listen("other/name_" + std::to_string(i), calls);
    });
    std::string const name = all.groups().front() + "/prop_100";
    int value = 0;
    for (auto _ : state)
        store.write(name, ++value);
}

/** Writes that notify `count` listeners. */
template <class Store>
void writeHeardBy(benchmark::State& state, std::size_t count) {
    static long calls = 0;
    Names const& all = names(usualCount);
    auto& store = holding<Store>("heard by " + std::to_string(count), all, [&all, count](Store& empty) {
        fill(empty, all);
        for (std::size_t i = 0; i < count; ++i)
            empty.listen(all.groups().front(), calls);
    });
    std::string const name = all.groups().front() + "/prop_100";
    int value = 0;
    for (auto _ : state)
        store.write(name, ++value);
}

template <class Element>
std::vector<Element> listOf(std::size_t size) {
    if constexpr (std::is_same_v<Element, std::string>)
        return std::vector<Element>(size, "a string that is of 32 bytes ...");
    else
        return std::vector<Element>(size, Element(1));
}

template <class Store, class Element>
void readListOf(benchmark::State& state, std::size_t size) {
    Names const& all = names(usualCount);
    auto& store = holdingIntegers<Store>(all);
    std::vector<Element> const list = listOf<Element>(size);
    std::string const name = all.shuffled().front();
    store.write(name, list);
    measureReads(state, store, {name}, list);
    store.write(name, usualValue);
}

template <class Store, class Element>
void writeListOf(benchmark::State& state, std::size_t size) {
    Names const& all = names(usualCount);
    auto& store = holdingIntegers<Store>(all);
    std::vector<Element> const list = listOf<Element>(size);
    std::string const name = all.shuffled().front();
    for (auto _ : state)
        store.write(name, list);
    store.write(name, usualValue);
}

/** Several threads that each go through all names. The first `readers` threads read, the others write. */
template <class Store>
void share(benchmark::State& state, int readers) {
    static std::mutex filling;
    Names const& all = names(usualCount);
    Store* store = nullptr;
    {
        std::lock_guard const lock(filling);
        store = &holdingIntegers<Store>(all);
    }
    Cycle cycle(all.shuffled());
    bool const reads = state.thread_index() < readers;
    int value = usualValue;
    for (auto _ : state) {
        if (reads)
            store->read(cycle.next(), value);
        else
            store->write(cycle.next(), usualValue);
        benchmark::DoNotOptimize(value);
    }
}

template <class Store, class Element>
void addLists(std::string const& kind) {
    for (std::size_t size = 1; size <= 100'000; size *= 10) {
        std::string const parameter = "_" + kind + "/" + std::to_string(size);
        add<Store>("read" + parameter, readListOf<Store, Element>, size);
        add<Store>("write" + parameter, writeListOf<Store, Element>, size);
    }
}

template <class Store>
void addAll() {
    for (std::size_t const length : {80U, 200U})
        add<Store>("read_long_name/" + std::to_string(length), readLongName<Store>, length);
    for (std::size_t count = 10; count <= 100'000; count *= 10)
        add<Store>("list_entries/" + std::to_string(count), listEntries<Store>, count);
    for (std::size_t count = 10; count <= 100'000; count *= 10)
        add<Store>("write_among_listeners/" + std::to_string(count), writeAmongListeners<Store>, count);
    addLists<Store, int>("integers");
    addLists<Store, double>("numbers");
    addLists<Store, bool>("booleans");
    addLists<Store, std::string>("strings");
    add<Store>("threads/both read", share<Store>, 2)->Threads(2)->UseRealTime();
    add<Store>("threads/one reads, one writes", share<Store>, 1)->Threads(2)->UseRealTime();
}

} // namespace

} // namespace bench

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    bench::addAll<bench::Register>();
    bench::addAll<bench::Limit>();
    for (std::size_t const count : {0U, 1U, 10U})
        bench::add<bench::Register>("write_heard_by/" + std::to_string(count),
                                    bench::writeHeardBy<bench::Register>, count);
    benchmark::RunSpecifiedBenchmarks();
    bench::release<bench::Register>();
    bench::release<bench::Limit>();
    return 0;
}
