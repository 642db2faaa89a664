// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/portal/MappedBuffer.h"

#include <fcntl.h>
#include <linux/dma-buf.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace platform {
namespace {

/// Seeking is the one way that also tells the size of a dma-buf. Nobody reads these files.
std::size_t sizeOf(int file) {
    const off_t end = ::lseek(file, 0, SEEK_END);
    return end > 0 ? static_cast<std::size_t>(end) : 0;
}

std::size_t pageSize() {
    return static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

} // namespace

std::unique_ptr<const MappedBuffer> MappedBuffer::create(int file, std::uint32_t offset,
                                                         std::size_t length, Kind kind) {
    FileDescriptor own(::fcntl(file, F_DUPFD_CLOEXEC, 0));
    const std::size_t fileSize = own ? sizeOf(own.get()) : 0;
    if (offset >= fileSize || length == 0)
        return nullptr;
    const std::size_t skipped = offset % pageSize(); // a mapping starts with a page
    const std::size_t size = skipped + std::min(length, fileSize - offset);
    const auto start = static_cast<off_t>(offset - skipped);
    void* mapping = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, own.get(), start);
    if (mapping == MAP_FAILED)
        return nullptr;
    return std::unique_ptr<const MappedBuffer>(
        new MappedBuffer(std::move(own), kind, {static_cast<std::byte*>(mapping), size}, offset));
}

MappedBuffer::MappedBuffer(FileDescriptor file, Kind kind, std::span<std::byte> mapping,
                           std::size_t offset)
    : m_file(std::move(file)),
      m_kind(kind),
      m_mapping(mapping),
      m_bytes(mapping.subspan(offset % pageSize())),
      m_end(offset + m_bytes.size()) {}

MappedBuffer::~MappedBuffer() {
    ::munmap(m_mapping.data(), m_mapping.size());
}

bool MappedBuffer::beginRead() const {
    if (m_kind == Kind::DmaBuf)
        return sync(DMA_BUF_SYNC_START | DMA_BUF_SYNC_READ);
    return sizeOf(m_file.get()) >= m_end;
}

void MappedBuffer::endRead() const {
    if (m_kind == Kind::DmaBuf)
        sync(DMA_BUF_SYNC_END | DMA_BUF_SYNC_READ);
}

bool MappedBuffer::sync(std::uint64_t flags) const {
    dma_buf_sync request{.flags = flags};
    int result = 0;
    do {
        result = ::ioctl(m_file.get(), DMA_BUF_IOCTL_SYNC, &request);
    } while (result != 0 && (errno == EINTR || errno == EAGAIN));
    return result == 0;
}

} // namespace platform
