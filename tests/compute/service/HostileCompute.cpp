// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Not a service: answers the console with whatever SL42_HOSTILE names.
#include "compute/protocol/Channel.h"

#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

using namespace compute::protocol;

namespace {

using Bytes = std::vector<std::byte>;

template <class T>
Bytes reply(const T& message) {
    Bytes bytes;
    encodeAs<Reply>(message, bytes);
    return bytes;
}

Channel& channel() {
    static Channel it{platform::FileDescriptor(serviceSocket)};
    return it;
}

void send(const Bytes& bytes) {
    (void)channel().send(bytes);
}

RequestId questionIn(const Request& request) {
    if (const auto* compile = std::get_if<CompileLibrary>(&request))
        return compile->request;
    if (const auto* make = std::get_if<MakePipeline>(&request))
        return make->request;
    return {};
}

/// A well-formed answer to a question about compiling.
LibraryCompiled compiled(RequestId id) {
    LibraryCompiled answer{.request = id, .succeeded = true, .message = {}, .kernels = {}};
    answer.kernels.push_back({std::string("count"), {}});
    return answer;
}

void answerCompiling(const std::function<Bytes(RequestId)>& answer) {
    send(reply(Ready{protocolVersion, 2}));
    while (true) {
        const auto received = channel().receive(Channel::Descriptors::Accept, true);
        if (received.status != ReceiveStatus::Message)
            return;
        const auto request = decode<Request>(received.bytes);
        if (request && questionIn(*request).value != 0)
            send(answer(questionIn(*request)));
    }
}

void waitForEver() {
    while (true)
        ::pause();
}

const std::map<std::string, std::function<void()>> behaviours = {
    {"exit", [] {}},
    {"close",
     [] {
         ::shutdown(serviceSocket, SHUT_RDWR);
         waitForEver();
     }},
    {"other-version",
     [] {
         send(reply(Ready{protocolVersion + 1, 2}));
         waitForEver();
     }},
    {"garbage",
     [] {
         send(Bytes(100, std::byte{0xA5}));
         waitForEver();
     }},
    {"empty-packet",
     [] {
         send({});
         waitForEver();
     }},
    {"twice-ready",
     [] {
         send(reply(Ready{protocolVersion, 2}));
         send(reply(Ready{protocolVersion, 2}));
         waitForEver();
     }},
    {"oversized",
     [] {
         (void)::send(serviceSocket, Bytes(maxInlineMessage + 2).data(), maxInlineMessage + 2, 0);
         waitForEver();
     }},
    {"truncated",
     [] {
         answerCompiling([](RequestId id) {
             auto bytes = reply(compiled(id));
             bytes.resize(bytes.size() / 2);
             return bytes;
         });
     }},
    {"trailing",
     [] {
         answerCompiling([](RequestId id) {
             auto bytes = reply(compiled(id));
             bytes.push_back({});
             return bytes;
         });
     }},
    {"other-id",
     [] { answerCompiling([](RequestId id) { return reply(compiled({id.value + 1})); }); }},
    {"other-kind",
     [] {
         answerCompiling([](RequestId id) {
             return reply(FunctionChecked{.request = id, .succeeded = true, .message = {}});
         });
     }},
    {"unknown-job",
     [] {
         answerCompiling([](RequestId) {
             return reply(JobDone{.job = {99}, .succeeded = true, .message = {}});
         });
     }},
    {"huge-count",
     [] {
         answerCompiling([](RequestId id) {
             auto bytes = reply(compiled(id));
             for (std::size_t i = 10; i < 14; ++i)
                 bytes[i] = std::byte{0xFF};
             return bytes;
         });
     }},
    {"flood",
     [] {
         answerCompiling([](RequestId id) {
             for (int i = 0; i < 1000; ++i)
                 send(reply(compiled(id)));
             return reply(compiled(id));
         });
     }},
};

} // namespace

int main() {
    const char* name = std::getenv("SL42_HOSTILE");
    const auto found = behaviours.find(name != nullptr ? name : "");
    if (found == behaviours.end())
        return 1;
    found->second();
}
