// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What is offered to the other end of a PipeWire stream, and what it has chosen.
#pragma once

#include "platform/capture/portal/PictureLayout.h"

#include <spa/pod/pod.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace platform {

/// Parameters in PipeWire's encoding. Movable.
class StreamParameters {
public:
    /// For pictures in plain memory first, then for those in dma-bufs. Every desktop can do the
    /// former. Of dma-bufs only those that need no graphics device to be read.
    static StreamParameters formats(unsigned picturesPerSecond);
    /// Buffers and metadata for a format.
    static StreamParameters buffers(const PictureFormat& format);

    /// Valid as long as this object is there and unchanged.
    std::vector<const spa_pod*> list() const;

private:
    template <class Fill>
    void add(std::uint32_t type, std::uint32_t id, Fill fill);
    void addFormat(unsigned picturesPerSecond, bool isDmaBuf);
    void addMetadata(std::uint32_t kind, int size);

    std::vector<std::vector<std::uint64_t>> m_encoded; ///< aligned as PipeWire wants it
};

/// None when it is not one of those that were offered.
std::optional<PictureFormat> parseFormat(const spa_pod* format);

} // namespace platform
