// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/portal/StreamBuffers.h"

#include <spa/buffer/meta.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <span>
#include <utility>

namespace platform {

namespace {

constexpr std::size_t bytesPerPixel = 4;

/// The other process can write to memory that says where a picture lies: looked at once, what was
/// checked is what is used.
template <class T>
T readOnce(const T& shared) {
    return const_cast<const volatile T&>(shared);
}

PictureClaim claimOf(const spa_chunk& chunk) {
    return {readOnce(chunk.offset), readOnce(chunk.size), readOnce(chunk.stride)};
}

std::optional<CropClaim> cropOf(const spa_buffer* buffer) {
    const auto* region = static_cast<const spa_meta_region*>(
        spa_buffer_find_meta_data(buffer, SPA_META_VideoCrop, sizeof(spa_meta_region)));
    if (region == nullptr)
        return std::nullopt;
    const spa_region& shared = region->region;
    return CropClaim{readOnce(shared.position.x), readOnce(shared.position.y),
                     readOnce(shared.size.width), readOnce(shared.size.height)};
}

/// Empty chunks are sent when only the mouse pointer has moved.
bool isWorthless(const spa_buffer* buffer) {
    const auto* header = static_cast<const spa_meta_header*>(
        spa_buffer_find_meta_data(buffer, SPA_META_Header, sizeof(spa_meta_header)));
    if (header != nullptr && (readOnce(header->flags) & SPA_META_HEADER_FLAG_CORRUPTED) != 0)
        return true;
    const auto flags = static_cast<std::uint32_t>(readOnce(buffer->datas[0].chunk->flags));
    return (flags & (SPA_CHUNK_FLAG_CORRUPTED | SPA_CHUNK_FLAG_EMPTY)) != 0;
}

void swapRedAndBlue(std::span<std::byte> pixels) {
    for (std::size_t pixel = 0; pixel < pixels.size(); pixel += bytesPerPixel)
        std::swap(pixels[pixel], pixels[pixel + 2]);
}

} // namespace

void StreamBuffers::add(pw_buffer* buffer) {
    Buffer added{buffer, nullptr};
    if (buffer->buffer->n_datas > 0) {
        const spa_data& data = buffer->buffer->datas[0];
        const auto file = static_cast<int>(data.fd);
        // Some desktops do not fill in the size of a dma-buf: it is that of the file.
        if (data.type == SPA_DATA_DmaBuf)
            added.memory =
                MappedBuffer::create(file, data.mapoffset, SIZE_MAX, MappedBuffer::Kind::DmaBuf);
        else if (data.type == SPA_DATA_MemFd)
            added.memory = MappedBuffer::create(file, data.mapoffset, data.maxsize,
                                                MappedBuffer::Kind::Memory);
    }
    m_buffers.push_back(std::move(added));
}

void StreamBuffers::remove(pw_buffer* buffer) {
    std::erase_if(m_buffers, [=](const Buffer& known) { return known.handle == buffer; });
}

const MappedBuffer* StreamBuffers::memoryOf(pw_buffer* buffer) const {
    const auto known = std::ranges::find(m_buffers, buffer, &Buffer::handle);
    return known != m_buffers.end() ? known->memory.get() : nullptr;
}

std::optional<PictureLayout> StreamBuffers::layoutIn(pw_buffer* buffer,
                                                     const PictureFormat& format) const {
    const MappedBuffer* memory = memoryOf(buffer);
    if (memory == nullptr || isWorthless(buffer->buffer))
        return std::nullopt;
    const PictureClaim claim = claimOf(*buffer->buffer->datas[0].chunk);
    if (claim.size == 0)
        return std::nullopt;
    return checkedLayout(format, claim, cropOf(buffer->buffer), memory->bytes().size());
}

bool StreamBuffers::read(pw_buffer* buffer, const PictureFormat& format,
                         const PictureLayout& layout, OwnPicture& picture) {
    const MappedBuffer* memory = memoryOf(buffer);
    if (memory == nullptr || !memory->beginRead())
        return false;
    const std::size_t row = layout.width * bytesPerPixel;
    picture.pixels.resize(layout.height * row);
    for (std::size_t y = 0; y < layout.height; ++y)
        std::memcpy(&picture.pixels[y * row],
                    &memory->bytes()[layout.offset + y * layout.bytesPerRow], row);
    memory->endRead();
    if (format.isRedFirst)
        swapRedAndBlue(picture.pixels);
    picture.width = layout.width;
    picture.height = layout.height;
    picture.scale = scaleOf(layout);
    return true;
}

/// The desktop says only at the start how large the window is in points, so the first picture
/// counts. Scales are multiples of 1/120, as in the protocol for fractional ones.
double StreamBuffers::scaleOf(const PictureLayout& layout) {
    if (!m_scale) {
        const double ratio =
            m_widthInPoints == 0 ? 1 : static_cast<double>(layout.width) / m_widthInPoints;
        const bool isPlausible = ratio >= 1 && ratio <= 8;
        m_scale = isPlausible ? std::round(ratio * 120) / 120 : 1;
    }
    return *m_scale;
}

} // namespace platform
