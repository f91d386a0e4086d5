// SPDX-License-Identifier: Apache-2.0
#include "support/MemoryPeak.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

#include <malloc.h>

#include "support/Allocators.h"

namespace support {

namespace {

bool counts = false;
long inUse = 0;
long peak = 0;

void add(std::size_t size) {
    inUse += static_cast<long>(size);
    peak = std::max(peak, inUse);
}

void subtract(std::size_t size) {
    inUse -= static_cast<long>(size);
}

} // namespace

MemoryPeak::MemoryPeak() {
    inUse = 0;
    peak = 0;
    counts = true;
}

MemoryPeak::~MemoryPeak() {
    counts = false;
}

long MemoryPeak::bytes() {
    return peak;
}

} // namespace support

#ifdef UNDER_A_SANITIZER

// A sanitizer replaces the C functions itself and reports each call.
extern "C" {

int __sanitizer_install_malloc_and_free_hooks(void (*taken)(void const volatile*, std::size_t),
                                              void (*given)(void const volatile*));
std::size_t __sanitizer_get_allocated_size(void const volatile* memory);

} // extern "C"

namespace {

[[maybe_unused]] int const installed = __sanitizer_install_malloc_and_free_hooks(
    [](void const volatile* /*memory*/, std::size_t size) {
        if (support::counts)
            support::add(size);
    },
    [](void const volatile* memory) {
        if (support::counts && memory != nullptr)
            support::subtract(__sanitizer_get_allocated_size(memory));
    });

} // namespace

#else

namespace {

void* taken(void* memory) {
    if (support::counts && memory != nullptr)
        support::add(::malloc_usable_size(memory));
    return memory;
}

void given(void* memory) {
    if (support::counts && memory != nullptr)
        support::subtract(::malloc_usable_size(memory));
}

} // namespace

extern "C" {

void* malloc(std::size_t size) noexcept {
    return taken(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    return taken(__libc_calloc(count, size));
}

/** Counts both blocks, as they exist at the same time unless the old one grows in place. */
void* realloc(void* memory, std::size_t size) noexcept {
    std::size_t const before = memory == nullptr ? 0 : ::malloc_usable_size(memory);
    void* const result = __libc_realloc(memory, size);
    if (support::counts && (result != nullptr || size == 0)) {
        taken(result);
        support::subtract(before);
    }
    return result;
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    return taken(__libc_memalign(alignment, size));
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept {
    *memory = taken(__libc_memalign(alignment, size));
    return *memory == nullptr ? ENOMEM : 0;
}

void free(void* memory) noexcept {
    given(memory);
    __libc_free(memory);
}

} // extern "C"

#endif
