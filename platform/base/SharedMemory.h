// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Anonymous memory that can be shared with another process by passing its descriptor (a memfd).
// It is the only way in which the console and the compute service exchange bulk data.
#pragma once

#include "platform/base/FileDescriptor.h"
#include "platform/base/Result.h"

#include <cstddef>
#include <memory>
#include <span>
#include <string>

namespace platform {

/// A memory object of fixed size (sealed against resizing), zero-filled at birth.
/// The descriptor lives as long as the object; the mapping is made on first use of bytes().
class SharedMemory {
public:
    /// `name` is for humans reading /proc. Fails when the system has no memory to give.
    static Result<std::shared_ptr<SharedMemory>> create(std::size_t size, const std::string& name);
    ~SharedMemory();
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    std::size_t size() const { return m_size; }
    int descriptor() const { return m_descriptor.get(); }
    /// The memory as this process sees it, readable and writable; page aligned. Empty when the
    /// mapping fails. Call it first from one thread.
    std::span<std::byte> bytes();

private:
    SharedMemory(FileDescriptor descriptor, std::size_t size);

    FileDescriptor m_descriptor;
    std::size_t m_size;
    std::byte* m_mapping = nullptr;
};

} // namespace platform
