// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/host/code/CodeArena.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <linux/membarrier.h>
#include <string>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace compute::host {

using platform::Error;
using platform::FileDescriptor;
using platform::Lock;
using platform::Result;

namespace {

/// Room for hundreds of large programs.
constexpr std::size_t bytesOfProcess = std::size_t{256} << 20;
/// A line of the cache: no block shares one with a neighbour that may be running.
constexpr std::size_t granularity = 64;
/// Higher than the numbers that the system gives to new descriptors, to tell the two apart.
constexpr int lowestNumber = 64;

Error failed(const std::string& what) {
    return Error{"Cannot " + what + " memory for machine code: " + std::strerror(errno)};
}

FileDescriptor makeObject(std::size_t bytes) {
    // Older systems refuse this flag, and their headers lack it; newer systems may require it.
    constexpr unsigned cannotBeStarted = 8;
    constexpr unsigned flags = MFD_CLOEXEC | MFD_ALLOW_SEALING;
    FileDescriptor object(::memfd_create("code", flags | cannotBeStarted));
    if (!object)
        object.reset(::memfd_create("code", flags));
    if (!object || ::ftruncate(object.get(), static_cast<off_t>(bytes)) != 0 ||
        ::fcntl(object.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0)
        return {};
    return FileDescriptor(::fcntl(object.get(), F_DUPFD_CLOEXEC, lowestNumber));
}

/// Memory that is mapped through a read-only descriptor cannot become writable later.
std::byte* mapForGood(const FileDescriptor& object, std::size_t bytes) {
    const std::string path = "/proc/self/fd/" + std::to_string(object.get());
    const FileDescriptor reader(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!reader)
        return nullptr;
    void* memory = ::mmap(nullptr, bytes, PROT_READ, MAP_SHARED, reader.get(), 0);
    if (memory == MAP_FAILED)
        return nullptr;
    if (::mprotect(memory, bytes / 2, PROT_READ | PROT_EXEC) != 0) {
        ::munmap(memory, bytes);
        return nullptr;
    }
    return static_cast<std::byte*>(memory);
}

std::size_t roundUp(std::size_t value, std::size_t unit) {
    return (value + unit - 1) / unit * unit;
}

} // namespace

Result<std::unique_ptr<CodeArena>> CodeArena::create(std::size_t bytes) {
    const auto pageBytes = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    bytes = roundUp(bytes, 2 * pageBytes);
    FileDescriptor object = makeObject(bytes);
    if (!object)
        return failed("make");
    const std::byte* begin = mapForGood(object, bytes);
    if (begin == nullptr)
        return failed("map");
    // It may fail: write() says why the barrier is not essential.
    (void)::syscall(SYS_membarrier, MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED_SYNC_CORE, 0, 0);
    return std::unique_ptr<CodeArena>(new CodeArena(std::move(object), begin, bytes));
}

Result<CodeArena*> CodeArena::ofProcess() {
    // Never destroyed, because kernels may still be running when the process ends.
    static const auto& made = *new Result<std::unique_ptr<CodeArena>>(create(bytesOfProcess));
    if (!made)
        return made.error();
    return made->get();
}

CodeArena::CodeArena(FileDescriptor writer, const std::byte* begin, std::size_t bytes)
    : m_writer(std::move(writer)), m_begin(begin), m_bytes(bytes) {
    m_free = {{0, bytes / 2}, {bytes / 2, bytes / 2}};
}

CodeArena::~CodeArena() {
    ::munmap(const_cast<std::byte*>(m_begin), m_bytes);
}

std::optional<CodeArena::Block> CodeArena::take(Kind kind, std::size_t bytes,
                                                std::size_t alignment) {
    if (bytes == 0 || bytes > m_bytes)
        return std::nullopt;
    const std::size_t unit = std::max(alignment, granularity);
    const std::size_t needed = roundUp(bytes, granularity);
    const std::size_t half = m_bytes / 2;
    const Lock lock(m_mutex);
    // The lowest gap that fits, so that used blocks stay close together.
    const auto begin = kind == Kind::Code ? m_free.begin() : m_free.lower_bound(half);
    const auto end = kind == Kind::Code ? m_free.lower_bound(half) : m_free.end();
    for (auto gap = begin; gap != end; ++gap) {
        const auto [gapBegin, gapBytes] = *gap;
        const std::size_t offset = roundUp(gapBegin, unit);
        const std::size_t skipped = offset - gapBegin;
        if (gapBytes < skipped + needed)
            continue;
        m_free.erase(gap);
        if (skipped > 0)
            m_free.emplace(gapBegin, skipped);
        if (gapBytes > skipped + needed)
            m_free.emplace(offset + needed, gapBytes - skipped - needed);
        return Block(*this, offset, needed);
    }
    return std::nullopt;
}

void CodeArena::give(std::size_t offset, std::size_t bytes) {
    const Lock lock(m_mutex);
    const std::size_t half = m_bytes / 2;
    auto next = m_free.lower_bound(offset);
    // Gaps of the two halves are never merged.
    if (next != m_free.end() && offset + bytes == next->first && next->first != half) {
        bytes += next->second;
        next = m_free.erase(next);
    }
    if (next != m_free.begin() && offset != half) {
        const auto before = std::prev(next);
        if (before->first + before->second == offset) {
            before->second += bytes;
            return;
        }
    }
    m_free.emplace(offset, bytes);
}

Result<void> CodeArena::write(const Block& block, std::span<const std::byte> bytes) {
    auto position = static_cast<off_t>(block.m_offset);
    while (!bytes.empty()) {
        const ssize_t written = ::pwrite(m_writer.get(), bytes.data(), bytes.size(), position);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return failed("fill");
        bytes = bytes.subspan(static_cast<std::size_t>(written));
        position += written;
    }
    // Other cores may have prefetched the old contents. If the call fails, they drop these when
    // they next enter or leave the system, which they do before they are given this code to run.
    (void)::syscall(SYS_membarrier, MEMBARRIER_CMD_PRIVATE_EXPEDITED_SYNC_CORE, 0, 0);
    return {};
}

CodeArena::Block::~Block() {
    if (m_arena != nullptr)
        m_arena->give(m_offset, m_bytes);
}

} // namespace compute::host
