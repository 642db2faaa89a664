// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The memory that kernels' machine code runs from: a memory object that is mapped once, before the
// process locks itself down, and never again. The mapping allows reading and running; the contents
// change only by writing to a descriptor. So no page is both writable and executable, and no page
// ever has to become executable.
#pragma once

#include "platform/base/FileDescriptor.h"
#include "platform/base/Mutex.h"
#include "platform/base/Result.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <utility>

namespace compute::host {

/// Thread-safe.
class CodeArena {
public:
    /// Code can be run and read, constants can be read only.
    enum class Kind : std::uint8_t { Code, Constants };
    class Block;

    /// Reserves half of the bytes for code and half for constants; pages take up memory once they
    /// are written.
    static platform::Result<std::unique_ptr<CodeArena>> create(std::size_t bytes);
    /// The arena of this process, created on the first call and never destroyed.
    static platform::Result<CodeArena*> ofProcess();
    ~CodeArena();
    CodeArena(const CodeArena&) = delete;
    CodeArena& operator=(const CodeArena&) = delete;

    /// Allocates a block with undefined contents. None when there is no room.
    std::optional<Block> take(Kind kind, std::size_t bytes, std::size_t alignment);
    /// Writes `bytes` to the beginning of the block. All threads see them on return.
    platform::Result<void> write(const Block& block, std::span<const std::byte> bytes);

    /// The descriptor that the memory is written through. Its number is higher than those that the
    /// system gives to new descriptors.
    int writer() const { return m_writer.get(); }
    /// The whole mapping.
    std::span<const std::byte> memory() const { return {m_begin, m_bytes}; }

private:
    CodeArena(platform::FileDescriptor writer, const std::byte* begin, std::size_t bytes);
    void give(std::size_t offset, std::size_t bytes);

    platform::FileDescriptor m_writer;
    const std::byte* m_begin;
    std::size_t m_bytes;
    platform::Mutex m_mutex;
    /// Offset to length, no two adjacent.
    std::map<std::size_t, std::size_t> m_free SL42_GUARDED_BY(m_mutex);
};

/// Frees its memory on destruction. The arena must outlive it.
class CodeArena::Block {
public:
    Block(Block&& other) noexcept
        : m_arena(std::exchange(other.m_arena, nullptr)),
          m_offset(other.m_offset),
          m_bytes(other.m_bytes) {}
    Block& operator=(Block&&) = delete;
    ~Block();

    const std::byte* begin() const { return m_arena->m_begin + m_offset; }

private:
    friend class CodeArena;
    Block(CodeArena& arena, std::size_t offset, std::size_t bytes)
        : m_arena(&arena), m_offset(offset), m_bytes(bytes) {}

    CodeArena* m_arena;
    std::size_t m_offset;
    std::size_t m_bytes;
};

} // namespace compute::host
