// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Packets of the socket between console and service, as either side receives them: with and without
// a memory object, which may be sealed, too short, or no memory at all. The first byte says which,
// the second how long the memory is.
#include "compute/protocol/Channel.h"
#include "fuzz/Fuzzing.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

namespace protocol = compute::protocol;
using fuzz::View;
using platform::FileDescriptor;
using protocol::ReceiveStatus;

namespace {

enum Companion : std::uint8_t { HasDescriptor = 1, IsMemory = 2, IsSealed = 4, IsWanted = 8 };

FileDescriptor companionOf(std::uint8_t kind, std::uint8_t length) {
    if ((kind & HasDescriptor) == 0)
        return {};
    if ((kind & IsMemory) == 0)
        return FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    FileDescriptor memory(::memfd_create("message", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    fuzz::require(::ftruncate(memory.get(), length) == 0, "there is no memory");
    if ((kind & IsSealed) != 0)
        ::fcntl(memory.get(), F_ADD_SEALS, F_SEAL_WRITE | F_SEAL_SHRINK | F_SEAL_GROW);
    return memory;
}

void send(int socket, View packet, const FileDescriptor& companion) {
    iovec part{const_cast<std::byte*>(packet.data()), packet.size()};
    alignas(cmsghdr) std::byte control[CMSG_SPACE(sizeof(int))]{};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (companion) {
        const int number = companion.get();
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        cmsghdr* header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof number);
        std::memcpy(CMSG_DATA(header), &number, sizeof number);
    }
    fuzz::require(::sendmsg(socket, &message, MSG_NOSIGNAL) >= 0, "the packet cannot be sent");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    static auto ends = protocol::Channel::makePair();
    static protocol::Channel channel(std::move(ends->second));
    const View packet = fuzz::viewOf(data, size).subspan(2);
    const FileDescriptor companion = companionOf(data[0], data[1]);
    send(ends->first.get(), packet, companion);
    const auto wanted = (data[0] & IsWanted) != 0 ? protocol::Channel::Descriptors::Accept
                                                  : protocol::Channel::Descriptors::Drop;
    const auto received = channel.receive(wanted, false);
    fuzz::require(received.status != ReceiveStatus::Nothing, "a packet was lost");
    fuzz::require(!received.descriptor || wanted == protocol::Channel::Descriptors::Accept,
                  "a descriptor was not dropped");
    const std::vector<std::byte> readable(received.bytes.begin(), received.bytes.end());
    fuzz::require(readable.size() <= std::max(packet.size(), std::size_t{255}),
                  "a message is longer than what was sent");
    return 0;
}
