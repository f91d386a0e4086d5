// SPDX-License-Identifier: Apache-2.0
#include "Allocation.h"

#include <cerrno>
#include <cstdlib>
#include <new>

#include "support/Allocators.h"

namespace faults {

namespace {

bool armed = false;
bool failed = false;
bool failsOn = false;
long left = 0;

bool fails() {
    if (!armed)
        return false;
    if (failed)
        return failsOn;
    failed = --left == 0;
    return failed;
}

} // namespace

FailingAllocation::FailingAllocation(long nth, Afterwards afterwards) {
    left = nth;
    failed = false;
    failsOn = afterwards == Afterwards::nothingIsLeft;
    armed = true;
}

FailingAllocation::~FailingAllocation() {
    armed = false;
}

bool FailingAllocation::hasFailed() {
    return failed;
}

} // namespace faults

#ifndef UNDER_A_SANITIZER

// The operators of C++ call the C functions, so replacing these makes the allocations of Qt and the C library fail too.
extern "C" {

void* malloc(std::size_t size) noexcept {
    if (!faults::fails())
        return __libc_malloc(size);
    errno = ENOMEM;
    return nullptr;
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    if (!faults::fails())
        return __libc_calloc(count, size);
    errno = ENOMEM;
    return nullptr;
}

void* realloc(void* memory, std::size_t size) noexcept {
    if (!faults::fails())
        return __libc_realloc(memory, size);
    errno = ENOMEM;
    return nullptr;
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    if (!faults::fails())
        return __libc_memalign(alignment, size);
    errno = ENOMEM;
    return nullptr;
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept {
    if (faults::fails())
        return ENOMEM;
    *memory = __libc_memalign(alignment, size);
    return *memory == nullptr ? ENOMEM : 0;
}

} // extern "C"

#else

// A sanitizer needs its own C functions, so only allocations by C++ code fail.

namespace {

void* allocate(std::size_t size) {
    void* const memory = faults::fails() ? nullptr : std::malloc(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void* allocate(std::size_t size, std::align_val_t alignment) {
    void* memory = nullptr;
    if (faults::fails() || ::posix_memalign(&memory, static_cast<std::size_t>(alignment), size) != 0)
        throw std::bad_alloc();
    return memory;
}

} // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocate(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return allocate(size, alignment);
}
void* operator new(std::size_t size, std::nothrow_t const& /*tag*/) noexcept {
    return faults::fails() ? nullptr : std::malloc(size);
}
void* operator new[](std::size_t size, std::nothrow_t const& /*tag*/) noexcept {
    return faults::fails() ? nullptr : std::malloc(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::nothrow_t const& /*tag*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::nothrow_t const& /*tag*/) noexcept {
    std::free(memory);
}

#endif
