// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/protocol/Channel.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace compute::protocol {

using platform::Error;
using platform::FileDescriptor;
using platform::Result;

namespace {

// The first byte of every packet says where its message is.
constexpr std::byte messageInPacket{0};
constexpr std::byte messageInMemory{1};

constexpr std::size_t maxMemoryMessage = maxSourceBytes + (1u << 20);
constexpr int requiredSeals = F_SEAL_WRITE | F_SEAL_SHRINK | F_SEAL_GROW;

bool sendPacket(int socket, std::span<const std::byte> head, std::span<const std::byte> body,
                std::span<const int> descriptors) {
    iovec parts[2] = {{const_cast<std::byte*>(head.data()), head.size()},
                      {const_cast<std::byte*>(body.data()), body.size()}};
    alignas(cmsghdr) std::byte control[CMSG_SPACE(sizeof(int))]{};
    msghdr packet{};
    packet.msg_iov = parts;
    packet.msg_iovlen = 2;
    if (!descriptors.empty()) {
        packet.msg_control = control;
        packet.msg_controllen = sizeof control;
        cmsghdr* header = CMSG_FIRSTHDR(&packet);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(header), descriptors.data(), sizeof(int));
    }
    ssize_t sent = -1;
    do
        sent = ::sendmsg(socket, &packet, MSG_NOSIGNAL);
    while (sent < 0 && errno == EINTR);
    return sent == static_cast<ssize_t>(head.size() + body.size());
}

/// The first descriptor of the packet; any others are closed.
FileDescriptor takeDescriptor(msghdr& packet) {
    FileDescriptor first;
    for (cmsghdr* header = CMSG_FIRSTHDR(&packet); header != nullptr;
         header = CMSG_NXTHDR(&packet, header)) {
        if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS)
            continue;
        const std::size_t count = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (std::size_t i = 0; i < count; ++i) {
            int number = -1;
            std::memcpy(&number, CMSG_DATA(header) + i * sizeof(int), sizeof number);
            FileDescriptor descriptor(number);
            if (!first)
                first = std::move(descriptor);
        }
    }
    return first;
}

bool writeAll(int descriptor, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

} // namespace

Channel::Channel(FileDescriptor socket)
    : m_socket(std::move(socket)), m_incoming(maxInlineMessage + 1) {}

Result<std::pair<FileDescriptor, FileDescriptor>> Channel::makePair() {
    int ends[2] = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
        return Error{std::string("Cannot make a socket: ") + std::strerror(errno)};
    for (const int end : ends) {
        const int size = 4 * static_cast<int>(maxInlineMessage);
        (void)::setsockopt(end, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    }
    return std::pair(FileDescriptor(ends[0]), FileDescriptor(ends[1]));
}

void Channel::setSendTimeout(std::chrono::milliseconds timeout) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(timeout);
    const timeval value{seconds.count(), std::chrono::microseconds(timeout - seconds).count()};
    (void)::setsockopt(m_socket.get(), SOL_SOCKET, SO_SNDTIMEO, &value, sizeof value);
}

bool Channel::send(std::span<const std::byte> message, int descriptor) {
    if (message.size() > maxInlineMessage)
        return sendInMemory(message, descriptor);
    return sendPacket(m_socket.get(), {&messageInPacket, 1}, message,
                      {&descriptor, descriptor >= 0 ? 1u : 0u});
}

bool Channel::sendInMemory(std::span<const std::byte> message, int descriptor) {
    // One descriptor fits a packet, and nothing long needs another one beside it.
    if (descriptor >= 0 || message.size() > maxMemoryMessage)
        return false;
    const FileDescriptor memory(::memfd_create("message", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (!memory || !writeAll(memory.get(), message) ||
        ::fcntl(memory.get(), F_ADD_SEALS, requiredSeals) != 0)
        return false;
    const std::uint64_t size = message.size();
    const int number = memory.get();
    return sendPacket(m_socket.get(), {&messageInMemory, 1}, std::as_bytes(std::span(&size, 1)),
                      {&number, 1});
}

Received Channel::receive(Descriptors descriptors, bool wait) {
    iovec part{m_incoming.data(), m_incoming.size()};
    alignas(cmsghdr) std::byte control[CMSG_SPACE(4 * sizeof(int))];
    msghdr packet{};
    packet.msg_iov = &part;
    packet.msg_iovlen = 1;
    if (descriptors == Descriptors::Accept) {
        packet.msg_control = control;
        packet.msg_controllen = sizeof control;
    }
    ssize_t size = -1;
    do
        size = ::recvmsg(m_socket.get(), &packet, MSG_CMSG_CLOEXEC | (wait ? 0 : MSG_DONTWAIT));
    while (size < 0 && errno == EINTR);
    if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
        return {ReceiveStatus::Nothing, {}, {}};
    if (size <= 0)
        return {ReceiveStatus::Closed, {}, {}};

    FileDescriptor descriptor;
    if (descriptors == Descriptors::Accept)
        descriptor = takeDescriptor(packet);
    if ((packet.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0)
        return {ReceiveStatus::Malformed, {}, {}};
    const std::span<const std::byte> bytes(m_incoming.data(), static_cast<std::size_t>(size));
    if (bytes[0] == messageInPacket)
        return {ReceiveStatus::Message, bytes.subspan(1), std::move(descriptor)};
    std::uint64_t memorySize = 0;
    if (bytes[0] != messageInMemory || bytes.size() != 1 + sizeof memorySize || !descriptor)
        return {ReceiveStatus::Malformed, {}, {}};
    std::memcpy(&memorySize, bytes.data() + 1, sizeof memorySize);
    return unpackMemory(std::move(descriptor), memorySize);
}

Received Channel::unpackMemory(FileDescriptor memory, std::size_t size) {
    const off_t actualSize = ::lseek(memory.get(), 0, SEEK_END);
    const int seals = ::fcntl(memory.get(), F_GET_SEALS);
    if (seals < 0 || (seals & requiredSeals) != requiredSeals || size == 0 ||
        size > maxMemoryMessage || actualSize < 0 || static_cast<std::uint64_t>(actualSize) != size)
        return {ReceiveStatus::Malformed, {}, {}};
    void* mapping = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, memory.get(), 0);
    if (mapping == MAP_FAILED)
        return {ReceiveStatus::Malformed, {}, {}};
    const auto* bytes = static_cast<const std::byte*>(mapping);
    m_longMessage.assign(bytes, bytes + size);
    ::munmap(mapping, size);
    return {ReceiveStatus::Message, m_longMessage, {}};
}

} // namespace compute::protocol
