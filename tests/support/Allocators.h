// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

// For programs that replace the allocation functions: the C library's own functions, and whether a sanitizer has
// replaced them already (UNDER_A_SANITIZER).

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define UNDER_A_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define UNDER_A_SANITIZER 1
#endif

#ifndef UNDER_A_SANITIZER

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);

} // extern "C"

#endif
