// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/HostTexture.h"

#include "gpu/host/ServiceClient.h"

#include <cstring>

namespace gpu::host {

namespace protocol = compute::protocol;
using platform::SharedMemory;

namespace {

compute::TextureShape shapeOf(const TextureDescriptor& descriptor) {
    return {.type = descriptor.type,
            .format = descriptor.format,
            .width = descriptor.width,
            .height = descriptor.height,
            .depth = descriptor.depth,
            .arrayLength = descriptor.arrayLength,
            .samples = descriptor.sampleCount,
            .levels = descriptor.mipLevels};
}

std::optional<protocol::TextureLayout> layOut(const TextureDescriptor& descriptor,
                                              std::size_t offset, std::size_t bytesPerRow) {
    return protocol::layOut(shapeOf(descriptor), offset, bytesPerRow);
}

} // namespace

std::shared_ptr<HostTexture> HostTexture::create(std::shared_ptr<ServiceClient> client,
                                                 const TextureDescriptor& descriptor) {
    const auto layout = layOut(descriptor, 0, descriptor.width * bytesPerPixel(descriptor.format));
    if (!layout)
        return nullptr;
    auto memory = SharedMemory::create(layout->end, "texture");
    if (!memory || (*memory)->bytes().empty())
        return nullptr;
    return std::shared_ptr<HostTexture>(
        new HostTexture(std::move(client), descriptor, *layout, std::move(*memory)));
}

std::shared_ptr<HostTexture> HostTexture::create(std::shared_ptr<ServiceClient> client,
                                                 const TextureDescriptor& descriptor,
                                                 std::shared_ptr<SharedMemory> memory,
                                                 std::size_t offset, std::size_t bytesPerRow) {
    const auto layout = layOut(descriptor, offset, bytesPerRow);
    // Kernels access whole components, which some processors want aligned.
    const std::size_t alignment = bytesPerPixel(descriptor.format);
    if (!layout || descriptor.mipLevels != 1 || offset % alignment != 0 ||
        bytesPerRow % alignment != 0 || !memory || layout->end > memory->size() ||
        memory->bytes().empty())
        return nullptr;
    return std::shared_ptr<HostTexture>(
        new HostTexture(std::move(client), descriptor, *layout, std::move(memory)));
}

HostTexture::HostTexture(std::shared_ptr<ServiceClient> client, const TextureDescriptor& descriptor,
                         const protocol::TextureLayout& layout,
                         std::shared_ptr<SharedMemory> memory)
    : m_id{client->newId()}, m_descriptor(descriptor), m_layout(layout) {
    const protocol::RegisterTexture message{.texture = m_id,
                                            .length = memory->size(),
                                            .offset = layout.levels[0].offset,
                                            .bytesPerRow = layout.levels[0].bytesPerRow,
                                            .shape = shapeOf(descriptor)};
    m_registration = std::make_shared<Registration>(std::move(client), message, std::move(memory));
}

std::size_t HostTexture::rowBytes(std::uint32_t level, std::uint32_t slice,
                                  std::size_t callersBytes, std::size_t callersBytesPerRow) const {
    if (level >= m_descriptor.mipLevels || slice >= m_layout.levels[level].slices)
        return 0;
    const protocol::LevelLayout& layout = m_layout.levels[level];
    const std::size_t bytes = layout.width * bytesPerPixel(m_descriptor.format);
    const std::size_t rowsBeforeLast = layout.height - 1;
    const bool fits =
        callersBytesPerRow >= bytes && callersBytes >= bytes &&
        (rowsBeforeLast == 0 || (callersBytes - bytes) / rowsBeforeLast >= callersBytesPerRow);
    return fits ? bytes : 0;
}

bool HostTexture::replaceSlice(std::uint32_t level, std::uint32_t slice,
                               std::span<const std::byte> pixels, std::size_t bytesPerRow) {
    const std::size_t bytes = rowBytes(level, slice, pixels.size(), bytesPerRow);
    if (bytes == 0)
        return false;
    const protocol::LevelLayout& layout = m_layout.levels[level];
    std::byte* target =
        m_registration->memory().bytes().data() + layout.offset + slice * layout.bytesPerSlice;
    for (std::size_t y = 0; y < layout.height; ++y)
        std::memcpy(target + y * layout.bytesPerRow, pixels.data() + y * bytesPerRow, bytes);
    return true;
}

bool HostTexture::getSlice(std::uint32_t level, std::uint32_t slice, std::span<std::byte> pixels,
                           std::size_t bytesPerRow) const {
    const std::size_t bytes = rowBytes(level, slice, pixels.size(), bytesPerRow);
    if (bytes == 0)
        return false;
    const protocol::LevelLayout& layout = m_layout.levels[level];
    const std::byte* source =
        m_registration->memory().bytes().data() + layout.offset + slice * layout.bytesPerSlice;
    for (std::size_t y = 0; y < layout.height; ++y)
        std::memcpy(pixels.data() + y * bytesPerRow, source + y * layout.bytesPerRow, bytes);
    return true;
}

TextureRows HostTexture::rows(std::uint32_t level) const {
    if (level >= m_descriptor.mipLevels)
        return {};
    const protocol::LevelLayout& layout = m_layout.levels[level];
    const std::size_t length = (layout.height - 1) * layout.bytesPerRow +
                               layout.width * bytesPerPixel(m_descriptor.format);
    return {std::as_bytes(m_registration->memory().bytes()).subspan(layout.offset, length),
            layout.bytesPerRow};
}

} // namespace gpu::host
