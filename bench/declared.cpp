// SPDX-License-Identifier: Apache-2.0
//
// Reading declared settings that have not changed, compared with reading the same values by name from other stores:
// "declared_integer/store", and in several threads "declared_threads/threads/store". The floor is a copy of the value
// in an atomic variable, which is never updated.
#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <typeinfo>
#include <vector>

#include <benchmark/benchmark.h>

#include <velmorand/Property.h>

#include "Names.h"
#include "Rows.h"
#include "Stores.h"

namespace {

enum class Theme { light, dark };
VELMORAND_ENUM(Theme, {Theme::light, "light"}, {Theme::dark, "dark"})

} // namespace

namespace bench {

namespace {

constexpr std::size_t declaredCount = 100;

/** The names of the declared settings, in the order of reading. */
std::vector<std::string> declaredNames() {
    std::vector<std::string> const& all = names(usualCount).shuffled();
    return {all.begin(), all.begin() + declaredCount};
}

/** A value of each type, and its stored form. */
template <class T>
struct Sample {
    static T value() { return T(1.5); }
    static T stored() { return value(); }
};
template <>
struct Sample<Theme> {
    static Theme value() { return Theme::dark; }
    static std::string stored() { return "dark"; }
};

/** A store with 10,000 properties. The declared ones have a sample of the type. */
template <class Store, class T>
Store& holdingSamples() {
    Names const& all = names(usualCount);
    return holding<Store>(std::string("samples of ") + typeid(T).name(), all, [&all](Store& empty) {
        fill(empty, all);
        for (std::string const& name : declaredNames())
            empty.write(name, Sample<T>::stored());
    });
}

/** One of the reading threads fills the store. */
std::mutex filling;

template <class Store, class T>
void readByName(benchmark::State& state) {
    std::vector<std::string> const names = declaredNames();
    std::unique_lock<std::mutex> lock(filling);
    auto& store = holdingSamples<Store, T>();
    lock.unlock();
    auto value = Sample<T>::stored();
    Cycle cycle(names);
    for (auto _ : state) {
        store.read(cycle.next(), value);
        benchmark::DoNotOptimize(value);
    }
    if (value != Sample<T>::stored())
        state.SkipWithError("reads another value than was written");
}

template <class T>
std::vector<velmorand::Property<T>> const& declarations() {
    static std::vector<velmorand::Property<T>> const all = [] {
        std::vector<velmorand::Property<T>> made;
        for (std::string const& name : declaredNames())
            made.emplace_back(name);
        return made;
    }();
    return all;
}

template <class T>
void readDeclared(benchmark::State& state) {
    std::unique_lock<std::mutex> lock(filling);
    holdingSamples<Register, T>();
    auto const& settings = declarations<T>();
    lock.unlock();
    std::size_t next = 0;
    for (auto _ : state) {
        if (next == settings.size())
            next = 0;
        T value = settings[next++].get();
        benchmark::DoNotOptimize(value);
    }
    for (auto const& setting : settings)
        if (setting.get() != Sample<T>::value())
            state.SkipWithError("reads another value than was written");
}

template <class T>
void readMirror(benchmark::State& state) {
    static std::vector<std::atomic<T>> mirrors(declaredCount);
    for (std::atomic<T>& mirror : mirrors)
        mirror.store(Sample<T>::value(), std::memory_order_relaxed);
    std::size_t next = 0;
    for (auto _ : state) {
        if (next == mirrors.size())
            next = 0;
        T value = mirrors[next++].load(std::memory_order_relaxed);
        benchmark::DoNotOptimize(value);
    }
}

benchmark::internal::Benchmark* addRow(std::string const& row, std::string const& label,
                                       void (*function)(benchmark::State&)) {
    return benchmark::RegisterBenchmark((row + "/" + label).c_str(), function);
}

template <class T, class... Stores>
void addType(std::string const& row, StoreList<Stores...>) {
    addRow(row, "declared", readDeclared<T>);
    addRow(row, "mirror", readMirror<T>);
    (addRow(row, Stores::label, readByName<Stores, T>), ...);
}

/** Leaves out the other stores, most of which are not thread-safe. */
void addThreads(int threads) {
    std::string const row = "declared_threads/" + std::to_string(threads);
    for (auto* const added :
         {addRow(row, "declared", readDeclared<int>), addRow(row, "mirror", readMirror<int>),
          addRow(row, Limit::label, readByName<Limit, int>),
          addRow(row, Register::label, readByName<Register, int>)})
        added->Threads(threads)->UseRealTime();
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
    bench::AllStores const stores;
    bench::addType<int>("declared_integer", stores);
    bench::addType<double>("declared_number", stores);
    bench::addType<bool>("declared_boolean", stores);
    bench::addType<Theme>("declared_enum", stores);
    for (int threads = 1; threads <= 4; threads *= 2)
        bench::addThreads(threads);
    benchmark::RunSpecifiedBenchmarks();
    bench::releaseAll(stores);
    return 0;
}
