// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The buffers of a PipeWire stream: mapped when they are added, looked at when they come back full.
#pragma once

#include "platform/capture/portal/Delivery.h"
#include "platform/capture/portal/MappedBuffer.h"
#include "platform/capture/portal/PictureLayout.h"

#include <pipewire/stream.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace platform {

/// One thread.
class StreamBuffers {
public:
    /// The width of the window in points, 0 when the desktop does not say.
    explicit StreamBuffers(std::uint32_t widthInPoints) : m_widthInPoints(widthInPoints) {}

    void add(pw_buffer* buffer);
    void remove(pw_buffer* buffer);

    /// Where the picture lies that the desktop has put into a buffer; none when it is no picture,
    /// or not a whole one.
    std::optional<PictureLayout> layoutIn(pw_buffer* buffer, const PictureFormat& format) const;
    /// Copies it. False when it cannot be read.
    bool read(pw_buffer* buffer, const PictureFormat& format, const PictureLayout& layout,
              OwnPicture& picture);

private:
    struct Buffer {
        pw_buffer* handle;
        std::unique_ptr<const MappedBuffer> memory;
    };

    const MappedBuffer* memoryOf(pw_buffer* buffer) const;
    double scaleOf(const PictureLayout& layout);

    std::vector<Buffer> m_buffers;
    const std::uint32_t m_widthInPoints;
    std::optional<double> m_scale; ///< once there has been a picture
};

} // namespace platform
