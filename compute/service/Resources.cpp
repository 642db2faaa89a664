// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/Resources.h"

#include "compute/protocol/TextureLayout.h"

#include <cstring>
#include <unistd.h>

namespace compute::service {

using platform::Error;
using platform::Result;

namespace {

/// Mapping more than there is would turn a later access into a fault of the service.
Result<Memory> mapWhole(const platform::FileDescriptor& memory, std::uint64_t length) {
    const off_t size = memory ? ::lseek(memory.get(), 0, SEEK_END) : -1;
    if (size < 0 || static_cast<std::uint64_t>(size) < length)
        return Error{"A buffer came without its memory"};
    return memory::GuardedMemory::mapShared(memory.get(), length);
}

} // namespace

Result<void> Resources::add(const protocol::RegisterBuffer& message,
                            const platform::FileDescriptor& memory) {
    auto mapped = SL42_TRY(mapWhole(memory, message.length));
    m_buffers.insert_or_assign(message.buffer, message.isPrivate
                                                   ? m_device.adoptPrivate(std::move(mapped))
                                                   : m_device.adopt(std::move(mapped)));
    return {};
}

Result<void> Resources::add(const protocol::RegisterTexture& message,
                            const platform::FileDescriptor& memory) {
    const TextureShape& shape = message.shape;
    const auto layout = protocol::layOut(shape, message.offset, message.bytesPerRow);
    if (!layout || layout->end > message.length)
        return Error{"A texture does not fit its memory"};
    auto texture = std::make_shared<Texture>();
    texture->memory = SL42_TRY(mapWhole(memory, message.length));
    texture->view.format = shape.format;
    texture->view.levelCount = shape.levels;
    texture->view.arrayLength = shape.arrayLength;
    texture->view.samples = shape.samples;
    texture->type = shape.type;
    for (std::uint32_t i = 0; i < shape.levels; ++i) {
        const protocol::LevelLayout& level = layout->levels[i];
        texture->view.levels[i] = {texture->memory->data() + level.offset, level.width,
                                   level.height, level.bytesPerRow};
        texture->view.slices[i] = {level.slices, level.bytesPerSlice};
    }
    texture->viewMemory = SL42_TRY(memory::GuardedMemory::allocatePacked(sizeof texture->view));
    auto given = giveToDevice(*texture);
    m_textures.insert_or_assign(message.texture,
                                given ? Result<std::shared_ptr<Texture>>(std::move(texture))
                                      : std::move(given.error()));
    return {};
}

Result<void> Resources::giveToDevice(Texture& texture) {
    texture.memory = SL42_TRY(m_device.adopt(std::move(texture.memory)));
    texture.viewMemory = SL42_TRY(m_device.adopt(std::move(texture.viewMemory)));
    const TextureView view = viewFor(m_device, texture.view);
    std::memcpy(texture.viewMemory->data(), &view, sizeof view);
    return {};
}

Result<Memory> Resources::find(protocol::BufferId id) const {
    const auto found = m_buffers.find(id);
    return found == m_buffers.end() ? Error{"a buffer is not known to the compute service"}
                                    : found->second;
}

Result<std::shared_ptr<Texture>> Resources::find(protocol::TextureId id) const {
    const auto found = m_textures.find(id);
    return found == m_textures.end() ? Error{"a texture is not known to the compute service"}
                                     : found->second;
}

} // namespace compute::service
