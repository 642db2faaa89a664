// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The whole message loop of the service, with its threads, over a real socket. The input is what a
// console sends: for each packet two bytes of length, one that says whether memory comes with it,
// and the message. Only the compiler is an imitation: its kernels touch the first byte of all that
// is bound to them.
#include "compute/service/Server.h"
#include "fuzz/Fuzzing.h"
#include "tests/compute/service/OneKernelCompiler.h"

#include <sys/mman.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace protocol = compute::protocol;
namespace service = compute::service;
using fuzz::View;
using platform::FileDescriptor;

namespace {

constexpr std::size_t maxPackets = 32;
constexpr std::size_t memoryBytes = 1u << 16;

class TouchingKernel final : public compute::Kernel {
public:
    TouchingKernel() : Kernel(compute::KernelDescription{}) {}

    void run(const compute::Bindings& bindings, compute::Extent, compute::Extent, std::uint32_t,
             std::uint32_t) const override {
        for (std::byte* buffer : bindings.buffers)
            if (buffer != nullptr)
                *static_cast<volatile std::byte*>(buffer) = std::byte{1};
        for (const compute::TextureView* texture : bindings.textures)
            for (std::uint32_t i = 0; texture != nullptr && i < texture->levelCount; ++i)
                touchCorners(*texture, i);
    }

private:
    static void touchCorners(const compute::TextureView& texture, std::uint32_t index) {
        const auto& level = texture.levels[index];
        const auto& slices = texture.slices[index];
        static_cast<volatile std::byte*>(level.pixels)[0] = std::byte{2};
        static_cast<volatile std::byte*>(
            level.pixels)[(slices.count - 1) * slices.bytesPerSlice +
                          (level.height - 1) * level.bytesPerRow + level.width - 1] = std::byte{3};
    }
};

/// The question that the service answers by ending its process.
bool isLastQuestion(const std::optional<protocol::Request>& request) {
    return request && std::holds_alternative<protocol::ReportPlace>(*request);
}

bool isAnswered(const std::optional<protocol::Request>& request) {
    return request && (std::holds_alternative<protocol::CompileLibrary>(*request) ||
                       std::holds_alternative<protocol::MakePipeline>(*request) ||
                       std::holds_alternative<protocol::RunCommands>(*request));
}

FileDescriptor makeMemory() {
    FileDescriptor memory(::memfd_create("buffer", MFD_CLOEXEC));
    fuzz::require(::ftruncate(memory.get(), memoryBytes) == 0, "there is no memory");
    return memory;
}

/// False when the service is gone.
bool takeReply(protocol::Channel& console) {
    const auto received = console.receive(protocol::Channel::Descriptors::Drop, true);
    if (received.status == protocol::ReceiveStatus::Closed)
        return false;
    fuzz::require(received.status == protocol::ReceiveStatus::Message &&
                      protocol::decode<protocol::Reply>(received.bytes).has_value(),
                  "the service answers nonsense");
    return true;
}

/// Waits for each answer, so that an input always does the same.
void play(protocol::Channel& console, View rest) {
    bool isThere = takeReply(console);
    for (std::size_t i = 0; isThere && i < maxPackets && rest.size() >= 3; ++i) {
        const auto byte = [&](std::size_t at) { return std::to_integer<std::size_t>(rest[at]); };
        const std::size_t length = std::min(byte(0) | byte(1) << 8, rest.size() - 3);
        const FileDescriptor memory = (byte(2) & 1) != 0 ? makeMemory() : FileDescriptor();
        const View message = rest.subspan(3, length);
        rest = rest.subspan(3 + length);
        const auto request = protocol::decode<protocol::Request>(message);
        if (isLastQuestion(request))
            continue;
        if (request && std::holds_alternative<protocol::Finish>(*request)) {
            (void)console.send(message);
            break;
        }
        isThere =
            console.send(message, memory.get()) && (!isAnswered(request) || takeReply(console));
    }
    ::shutdown(console.descriptor(), SHUT_WR);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto ends = protocol::Channel::makePair();
    fuzz::require(ends.hasValue(), "there is no socket");
    protocol::Channel console(std::move(ends->first));
    protocol::Channel channel(std::move(ends->second));
    test::OneKernelCompiler<TouchingKernel> compiler;
    protocol::StatusPage page{};
    const auto server = service::Server::create(channel, compiler, page);
    fuzz::require(server.hasValue(), "the service does not start");
    std::thread player([&] { play(console, fuzz::viewOf(data, size)); });
    static_cast<void>((*server)->serve());
    ::shutdown(channel.descriptor(), SHUT_RDWR);
    player.join();
    return 0;
}
