// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Not a service: answers the console with whatever SL42_HOSTILE names.
#include "compute/protocol/Channel.h"
#include "compute/protocol/CodeRecord.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <sys/mman.h>
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
PipelineMade made(RequestId id) {
    return {.request = id, .succeeded = true, .message = {}, .parameters = {}, .fingerprint = {}};
}

LibraryCompiled compiled(RequestId id) {
    LibraryCompiled answer{
        .request = id, .succeeded = true, .message = {}, .kernels = {}, .constants = {}};
    answer.kernels.push_back({std::string("count"), {}, {}});
    return answer;
}

/// Calls `serve` for every message that arrives.
template <class Serve>
void serveEach(Serve serve) {
    send(reply(Ready{protocolVersion, 2, {}, {}}));
    while (true) {
        const auto received = channel().receive(Channel::Descriptors::Accept, true);
        if (received.status != ReceiveStatus::Message)
            return;
        if (const auto request = decode<Request>(received.bytes))
            serve(*request);
    }
}

/// Calls `answer` for every question about compiling.
void answerCompiling(const std::function<void(RequestId)>& answer) {
    serveEach([&](const Request& request) {
        if (questionIn(request).value != 0)
            answer(questionIn(request));
    });
}

/// Gives every question about compiling its answer with these bytes changed.
void answerWith(void (*change)(Bytes&)) {
    answerCompiling([change](RequestId id) {
        Bytes bytes = reply(compiled(id));
        change(bytes);
        send(bytes);
    });
}

/// Claims that whatever was asked for has been made, or that it has failed, and that what is to run
/// has run. Nothing is true.
void lie(bool succeeded) {
    serveEach([succeeded](const Request& request) {
        if (const auto* compile = std::get_if<CompileLibrary>(&request)) {
            LibraryCompiled answer = compiled(compile->request);
            answer.succeeded = succeeded;
            answer.message = std::string("a lie\n");
            answer.frontEndMilliseconds = -1e300;
            send(reply(answer));
        } else if (const auto* make = std::get_if<MakePipeline>(&request)) {
            PipelineMade answer = made(make->request);
            answer.succeeded = succeeded;
            answer.message = std::string("a lie\n");
            answer.fingerprint = {make->request.value, ~0ull};
            answer.optimiserMilliseconds = 1e300;
            send(reply(answer));
        } else if (const auto* run = std::get_if<RunCommands>(&request)) {
            send(reply(JobDone{run->job, succeeded, std::string(1000, 'x'), 1e300}));
        }
    });
}

/// So many runs lie, as the file counts them; later ones are the service that is named.
void lieForAWhile(bool succeeded) {
    const char* const file = std::getenv("SL42_HOSTILE_RUNS");
    const char* const service = std::getenv("SL42_HOSTILE_THEN");
    if (file == nullptr || service == nullptr)
        return;
    int left = 0;
    std::ifstream(file) >> left;
    if (left > 0) {
        std::ofstream(file) << left - 1;
        return lie(succeeded);
    }
    ::execl(service, service, nullptr);
}

/// Writes into the memory that comes with a pipeline, as SL42_HOSTILE_RECORD says: a record that is
/// longer than the memory, one as long as it but damaged, one of nothing, or one in order.
void scribbleInto(int memory) {
    constexpr std::uint64_t lengths[] = {~0ull, ~0ull - sizeof(CodeRecord) + 1,
                                         codeMemoryBytes - sizeof(CodeRecord) + 1,
                                         codeMemoryBytes - sizeof(CodeRecord), 0};
    const char* number = std::getenv("SL42_HOSTILE_RECORD");
    const auto which = static_cast<std::size_t>(number != nullptr ? std::atoi(number) : 0);
    void* mapping = ::mmap(nullptr, codeMemoryBytes, PROT_READ | PROT_WRITE, MAP_SHARED, memory, 0);
    if (mapping == MAP_FAILED)
        ::_exit(2);
    std::memset(mapping, 0xA5, codeMemoryBytes);
    const std::span bytes(static_cast<std::byte*>(mapping), codeMemoryBytes);
    if (which >= std::size(lengths)) {
        (void)writeRecord(bytes, {}, bytes.subspan(sizeof(CodeRecord)));
        return;
    }
    const CodeRecord record{
        .mark = codeRecordMark, .checksum = 1, .shader = {}, .length = lengths[which]};
    std::memcpy(mapping, &record, sizeof record);
}

void scribble() {
    send(reply(Ready{protocolVersion, 2, {}, std::string("driver")}));
    while (true) {
        const auto received = channel().receive(Channel::Descriptors::Accept, true);
        const auto request = received.status == ReceiveStatus::Message
                                 ? decode<Request>(received.bytes)
                                 : std::nullopt;
        if (!request)
            return;
        if (const auto* make = std::get_if<MakePipeline>(&*request)) {
            scribbleInto(received.descriptor.get());
            send(reply(made(make->request)));
        } else if (std::holds_alternative<CompileLibrary>(*request)) {
            send(reply(compiled(questionIn(*request))));
        }
    }
}

void waitForEver() {
    while (true)
        ::pause();
}

void sendAndWait(std::initializer_list<Bytes> messages) {
    for (const Bytes& message : messages)
        send(message);
    waitForEver();
}

void closeAndWait() {
    ::shutdown(serviceSocket, SHUT_RDWR);
    waitForEver();
}

void sendTooMuchAtOnce() {
    (void)::send(serviceSocket, Bytes(maxInlineMessage + 2).data(), maxInlineMessage + 2, 0);
    waitForEver();
}

void flood(RequestId id) {
    for (int i = 0; i < 1001; ++i)
        send(reply(compiled(id)));
}

const std::map<std::string, std::function<void()>> behaviours = {
    {"exit", [] {}},
    {"close", closeAndWait},
    {"other-version", [] { sendAndWait({reply(Ready{protocolVersion + 1, 2, {}, {}})}); }},
    {"garbage", [] { sendAndWait({Bytes(100, std::byte{0xA5})}); }},
    {"empty-packet", [] { sendAndWait({Bytes()}); }},
    {"twice-ready",
     [] {
         sendAndWait(
             {reply(Ready{protocolVersion, 2, {}, {}}), reply(Ready{protocolVersion, 2, {}, {}})});
     }},
    {"oversized", sendTooMuchAtOnce},
    {"truncated", [] { answerWith([](Bytes& bytes) { bytes.resize(bytes.size() / 2); }); }},
    {"trailing", [] { answerWith([](Bytes& bytes) { bytes.push_back({}); }); }},
    {"huge-count",
     [] { answerWith([](Bytes& bytes) { std::fill_n(&bytes[10], 4, std::byte{0xFF}); }); }},
    {"other-id",
     [] { answerCompiling([](RequestId id) { send(reply(compiled({id.value + 1}))); }); }},
    {"other-kind", [] { answerCompiling([](RequestId id) { send(reply(made(id))); }); }},
    {"unknown-job",
     [] { answerCompiling([](RequestId) { send(reply(JobDone{{99}, true, {}})); }); }},
    {"lie-success", [] { lieForAWhile(true); }},
    {"lie-failure", [] { lieForAWhile(false); }},
    {"scribble", scribble},
    {"never", [] { answerCompiling([](RequestId) {}); }},
    {"flood", [] { answerCompiling(flood); }},
};

} // namespace

int main() {
    const char* name = std::getenv("SL42_HOSTILE");
    const auto found = behaviours.find(name != nullptr ? name : "");
    if (found == behaviours.end())
        return 1;
    found->second();
}
