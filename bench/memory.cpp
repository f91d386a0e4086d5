// SPDX-License-Identifier: Apache-2.0
//
// usage: velmorand-bench-memory
//
// Prints a line for each store: its name, a tab, and the bytes per property with 100,000 properties of mixed small
// values. This includes the heap with its overhead, and memory that the store maps itself. Each store runs in its own
// process.
#include <cstddef>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Files.h"
#include "Names.h"
#include "Rows.h"
#include "Stores.h"

namespace bench {

namespace {

constexpr std::size_t count = 100'000;

std::size_t heapInUse() {
    struct mallinfo2 const info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

/** Integers, numbers, booleans and strings of 8 bytes, in equal parts. */
template <class Store>
void fillMixed(Store& store, Names const& names) {
    std::size_t i = 0;
    for (std::string const& name : names.ordered()) {
        switch (i++ / names.groups().size() % 4) {
        case 0:
            store.write(name, usualValue);
            break;
        case 1:
            store.write(name, 0.5);
            break;
        case 2:
            store.write(name, true);
            break;
        default:
            store.write(name, std::string("8 bytes."));
        }
    }
}

template <class Store>
double bytesPerProperty(std::filesystem::path const& directory) {
    Names const& all = names(count);
    Store store(directory, all);
    std::size_t const before = heapInUse() + store.bytesOutsideTheHeap();
    fillMixed(store, all);
    std::size_t const after = heapInUse() + store.bytesOutsideTheHeap();
    return static_cast<double>(after - before) / count;
}

template <class Store>
bool reportOne() {
    TemporaryDirectory const directory;
    ::pid_t const child = ::fork();
    if (child == 0) {
        std::cout << Store::label << '\t' << bytesPerProperty<Store>(directory.path()) << std::endl;
        ::_exit(0);
    }
    int status = 0;
    return child > 0 && ::waitpid(child, &status, 0) == child && status == 0;
}

template <class... Stores>
bool reportAll(StoreList<Stores...>) {
    return (reportOne<Stores>() && ...);
}

} // namespace

} // namespace bench

int main() try {
    return bench::reportAll(bench::AllStores()) ? 0 : 1;
} catch (std::exception const& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
}
