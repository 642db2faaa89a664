// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/MemoryMap.h"

#include <cstring>
#include <span>
#include <utility>

namespace compute::vulkan {

using platform::Lock;
using platform::Result;

namespace {

constexpr std::size_t pageBytes = 4096;

std::span<std::byte> pagesOf(const Memory& memory) {
    return {memory->data(), (memory->length() + pageBytes - 1) / pageBytes * pageBytes};
}

} // namespace

Result<DeviceBuffer> MemoryMap::bufferFor(const Memory& memory, bool& isCopy) const {
    if (!m_alwaysCopies && m_device->canImport(pagesOf(memory)))
        if (auto imported = m_device->import(pagesOf(memory)))
            return imported;
    // Some drivers can import memory in general, but none that is shared with another process.
    isCopy = true;
    return m_device->allocate(memory->length());
}

Result<Memory> MemoryMap::adopt(Memory memory, Use use) {
    Piece made;
    made.device = m_device;
    made.memory = std::move(memory);
    made.use = use;
    made.buffer = SL42_TRY(bufferFor(made.memory, made.isCopy));
    // Where the device has none left, the machine's will do.
    if (use == Use::Private && m_hasOwn)
        if (auto own = m_device->allocateOwn(made.bytes()))
            made.mirror = std::exchange(made.buffer, std::move(*own));
    const auto list = m_list;
    const std::shared_ptr<Piece> piece(new Piece(std::move(made)), [list](Piece* gone) {
        {
            const Lock lock(list->mutex);
            list->pieces.erase(gone->begin());
        }
        delete gone;
    });
    const Lock lock(m_list->mutex);
    m_list->pieces[piece->begin()] = piece;
    return Memory(piece, piece->memory.get());
}

std::shared_ptr<Piece> MemoryMap::find(const std::byte* place) const {
    const Lock lock(m_list->mutex);
    auto next = m_list->pieces.upper_bound(place);
    if (next == m_list->pieces.begin())
        return nullptr;
    auto piece = (--next)->second.lock();
    return piece && place < piece->begin() + piece->bytes() ? piece : nullptr;
}

} // namespace compute::vulkan
