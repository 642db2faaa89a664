// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/memory/AddressRegion.h"

#include "compute/memory/KernelAddresses.h"

#include <cerrno>
#include <cstring>
#include <sys/mman.h>

namespace compute::memory {

using platform::Error;
using platform::Lock;
using platform::Result;

namespace {

constexpr std::size_t pageBytes = 4096;
/// At the start of the region, where null pointers lead.
constexpr std::size_t emptyBytes = std::size_t{1} << 30;
constexpr std::size_t packedBytes = std::size_t{64} << 30;
constexpr std::size_t firstPacked = regionStart + emptyBytes;
constexpr std::size_t firstAlone = firstPacked + packedBytes + reach;

/// The region's addresses are numbers by design.
std::byte* at(std::uint64_t address) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    return reinterpret_cast<std::byte*>(address);
}

void* reserve(std::uint64_t address, std::uint64_t bytes, int flags) {
    return ::mmap(at(address), bytes, PROT_NONE,
                  MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | flags, -1, 0);
}

} // namespace

AddressRegion::AddressRegion()
    : m_packed(firstPacked, firstPacked + packedBytes, pageBytes),
      m_alone(firstAlone, regionStart + regionBytes, reach) {
    if (reserve(regionStart - reach, regionBytes + 2 * reach, MAP_FIXED_NOREPLACE) == MAP_FAILED)
        m_error = errno;
}

Result<AddressRegion*> AddressRegion::get() {
    static AddressRegion region;
    if (region.m_error != 0)
        return Error{std::string("Cannot reserve the addresses that kernels use (") +
                     std::strerror(region.m_error) +
                     "); a limit on address space (ulimit -v) must be lifted"};
    return &region;
}

std::byte* AddressRegion::nowhere() {
    return at(regionStart);
}

std::size_t AddressRegion::Pieces::take(std::size_t bytes) {
    std::size_t begin = m_begin;
    for (const auto& [takenBegin, takenEnd] : m_taken) {
        if (begin + bytes + m_gap <= takenBegin)
            break;
        begin = takenEnd + m_gap;
    }
    if (begin > m_end || bytes > m_end - begin)
        return 0;
    m_taken[begin] = begin + bytes;
    return begin;
}

Result<std::byte*> AddressRegion::take(std::size_t bytes, Spacing spacing) {
    if (bytes == 0 || bytes % pageBytes != 0 || bytes > regionBytes)
        return Error{"Cannot map a buffer of this size"};
    const Lock lock(m_mutex);
    const std::size_t piece = pieces(spacing).take(bytes);
    if (piece == 0)
        return Error{"No addresses left for a buffer"};
    return at(piece);
}

void AddressRegion::giveBack(std::byte* piece, std::size_t bytes, Spacing spacing) {
    const auto address = reinterpret_cast<std::uintptr_t>(piece);
    // What cannot be made inaccessible must not be handed out again.
    if (reserve(address, bytes, MAP_FIXED) == MAP_FAILED)
        return;
    const Lock lock(m_mutex);
    pieces(spacing).giveBack(address);
}

} // namespace compute::memory
