// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Containers whose elements lie in the region of kernels, for programs that run kernels themselves:
// tests and benchmarks.
#pragma once

#include "compute/memory/AddressRegion.h"

#include <cstddef>
#include <new>
#include <sys/mman.h>
#include <vector>

namespace compute::memory {

template <class T>
struct RegionAllocator {
    using value_type = T;

    RegionAllocator() = default;
    template <class U>
    RegionAllocator(const RegionAllocator<U>&) {}

    T* allocate(std::size_t count) {
        auto region = AddressRegion::get();
        auto piece = region ? (*region)->take(bytes(count), AddressRegion::Spacing::Packed)
                            : platform::Result<std::byte*>(region.error());
        if (!piece || ::mmap(*piece, bytes(count), PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) == MAP_FAILED)
            throw std::bad_alloc();
        return reinterpret_cast<T*>(*piece);
    }
    void deallocate(T* elements, std::size_t count) {
        (*AddressRegion::get())
            ->giveBack(reinterpret_cast<std::byte*>(elements), bytes(count),
                       AddressRegion::Spacing::Packed);
    }
    bool operator==(const RegionAllocator&) const { return true; }

private:
    static std::size_t bytes(std::size_t count) {
        constexpr std::size_t pageBytes = 4096;
        return (count * sizeof(T) + pageBytes - 1) / pageBytes * pageBytes;
    }
};

template <class T>
using RegionVector = std::vector<T, RegionAllocator<T>>;

} // namespace compute::memory
