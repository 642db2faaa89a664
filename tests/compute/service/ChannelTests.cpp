// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/protocol/Channel.h"
#include "platform/base/SharedMemory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <sys/socket.h>

using namespace compute::protocol;
using Bytes = std::vector<std::byte>;

namespace {

class ChannelTest : public ::testing::Test {
protected:
    ChannelTest() : m_pair(*Channel::makePair()) {}

    static std::size_t openDescriptors() {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return static_cast<std::size_t>(std::distance(begin(all), end(all)));
    }

    std::pair<platform::FileDescriptor, platform::FileDescriptor> m_pair;
    Channel console{std::move(m_pair.first)};
    Channel service{std::move(m_pair.second)};
};

TEST_F(ChannelTest, LongMessagesArriveWholeAndLeaveNothingBehind) {
    const std::size_t before = openDescriptors();
    for (const std::size_t size :
         {std::size_t{1}, maxInlineMessage, maxInlineMessage + 1, std::size_t{10} << 20}) {
        Bytes message(size);
        for (std::size_t i = 0; i < size; ++i)
            message[i] = static_cast<std::byte>(i * 7);
        ASSERT_TRUE(console.send(message));
        const auto received = service.receive(Channel::Descriptors::Accept, true);
        ASSERT_EQ(received.status, ReceiveStatus::Message);
        EXPECT_TRUE(std::ranges::equal(received.bytes, message)) << size;
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ChannelTest, DescriptorsReachOnlyWhoAcceptsThem) {
    const auto memory = *platform::SharedMemory::create(4096, "test");
    const Bytes message(4);
    ASSERT_TRUE(console.send(message, memory->descriptor()));
    EXPECT_TRUE(service.receive(Channel::Descriptors::Accept, true).descriptor);

    const std::size_t before = openDescriptors();
    ASSERT_TRUE(service.send(message, memory->descriptor()));
    const auto received = console.receive(Channel::Descriptors::Drop, true);
    EXPECT_EQ(received.status, ReceiveStatus::Malformed);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ChannelTest, MemoryThatCouldStillChangeIsRefused) {
    const auto memory = *platform::SharedMemory::create(4096, "test");
    // What sendInMemory would send, but over memory that its sender can go on writing to.
    Bytes packet(9);
    packet[0] = std::byte{1};
    const std::uint64_t size = 4096;
    std::memcpy(packet.data() + 1, &size, sizeof size);
    iovec part{packet.data(), packet.size()};
    alignas(cmsghdr) std::byte control[CMSG_SPACE(sizeof(int))]{};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof control;
    cmsghdr* rights = CMSG_FIRSTHDR(&header);
    rights->cmsg_level = SOL_SOCKET;
    rights->cmsg_type = SCM_RIGHTS;
    rights->cmsg_len = CMSG_LEN(sizeof(int));
    const int descriptor = memory->descriptor();
    std::memcpy(CMSG_DATA(rights), &descriptor, sizeof descriptor);
    ASSERT_EQ(::sendmsg(console.descriptor(), &header, 0), 9);
    EXPECT_EQ(service.receive(Channel::Descriptors::Accept, true).status, ReceiveStatus::Malformed);
}

} // namespace
