// SPDX-License-Identifier: Apache-2.0
//
// The operations that every store supports, on all stores: "row/store", and "growth/properties/store". One process runs
// the repetitions of a row in random order; a separate process for each row keeps the rows independent.
#include <string>

#include <benchmark/benchmark.h>

#include "Rows.h"
#include "Stores.h"

namespace bench {

namespace {

template <class Store>
void addReads() {
    add<Store>("read_integer", readInteger<Store>, usualCount);
    if constexpr (Store::hasNextScope)
        add<Store>("read_next_scope", readNextScope<Store>);
    add<Store>("read_string", readString<Store>);
    add<Store>("read_100_integers", readList<Store, int>, 100);
    add<Store>("read_1000_numbers", readList<Store, double>, 1'000);
    if constexpr (Store::knowsMissing)
        add<Store>("read_missing", readMissing<Store>);
    add<Store>("list_group", listGroup<Store>);
    for (std::size_t const count :
         {100U, 1'000U, 100'000U, 1'000'000U}) // the usual 10,000 are "read_integer"
        add<Store>("growth/" + std::to_string(count), readInteger<Store>, count);
}

template <class Store>
void addWrites() {
    add<Store>("write_integer", writeInteger<Store>);
    if constexpr (Store::hasListeners)
        add<Store>("write_heard", writeHeard<Store>);
    add<Store>("create", create<Store>);
}

template <class Store>
void addFiles() {
    add<Store>("load", load<Store>)->UseRealTime()->Unit(benchmark::kMillisecond);
    add<Store>("save", save<Store>)->UseRealTime()->Unit(benchmark::kMillisecond);
}

template <class... Stores>
void addAll(StoreList<Stores...>) {
    (addReads<Stores>(), ...);
    (addWrites<Stores>(), ...);
    (addFiles<Stores>(), ...);
}

template <class... Stores>
void releaseAll(StoreList<Stores...>) {
    (release<Stores>(), ...);
}

} // namespace

} // namespace bench

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    bench::addAll(bench::AllStores());
    benchmark::RunSpecifiedBenchmarks();
    bench::releaseAll(bench::AllStores());
    return 0;
}
