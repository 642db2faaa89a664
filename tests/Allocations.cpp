// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/Allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

static std::atomic<std::size_t> count = 0;

std::size_t test::allocationCount() {
    return count;
}

#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)

// The sanitizers have allocation functions of their own, which call these.
extern "C" {
void __sanitizer_malloc_hook(const volatile void* memory, std::size_t size);
void __sanitizer_free_hook(const volatile void* memory);
}

void __sanitizer_malloc_hook(const volatile void*, std::size_t) {
    ++count;
}

void __sanitizer_free_hook(const volatile void*) {}

#else

// The array and nothrow forms end up here; those that delete pass everything to free().

void* operator new(std::size_t size) {
    ++count;
    if (void* memory = std::malloc(size != 0 ? size : 1))
        return memory;
    throw std::bad_alloc();
}

void* operator new(std::size_t size, std::align_val_t alignment) {
    ++count;
    const auto step = static_cast<std::size_t>(alignment);
    if (void* memory = std::aligned_alloc(step, (size + step - 1) / step * step))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::align_val_t) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}

#endif
