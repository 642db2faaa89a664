// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Memory of another process or of the graphics driver, which this one reads pictures from.
#pragma once

#include "platform/base/FileDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace platform {

class MappedBuffer {
public:
    enum class Kind { Memory, DmaBuf };

    /// Maps what lies in the file from `offset` on, `length` bytes at most. Keeps a descriptor of
    /// its own. Null when there is nothing to map.
    static std::unique_ptr<const MappedBuffer> create(int file, std::uint32_t offset,
                                                      std::size_t length, Kind kind);
    ~MappedBuffer();
    MappedBuffer(const MappedBuffer&) = delete;
    MappedBuffer& operator=(const MappedBuffer&) = delete;

    /// To be read between beginRead() and endRead().
    std::span<const std::byte> bytes() const { return m_bytes; }
    /// Waits until a graphics device has written what it writes. False when the bytes cannot be
    /// read: the other process may have cut off the file, whose missing pages would end this one.
    bool beginRead() const;
    void endRead() const;

private:
    MappedBuffer(FileDescriptor file, Kind kind, std::span<std::byte> mapping, std::size_t offset);

    bool sync(std::uint64_t flags) const;

    FileDescriptor m_file;
    Kind m_kind;
    std::span<std::byte> m_mapping;
    std::span<const std::byte> m_bytes;
    std::size_t m_end; ///< in the file
};

} // namespace platform
