// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/Server.h"

#include "compute/service/CodeMemory.h"

namespace compute::service {

using platform::Error;
using platform::FileDescriptor;
using platform::Result;
using protocol::ReceiveStatus;

namespace {
template <class... F>
struct Overloaded : F... {
    using F::operator()...;
};
template <class... F>
Overloaded(F...) -> Overloaded<F...>;
} // namespace

Result<std::unique_ptr<Server>> Server::create(protocol::Channel& channel, Compiler& compiler,
                                               protocol::StatusPage& page) {
    std::unique_ptr<Server> server(new Server(channel, compiler));
    server->m_executor = SL42_TRY(Executor::create(server->m_replies, page, server->m_device));
    return server;
}

Result<void> Server::serve() {
    m_replies.send(protocol::Ready{protocol::protocolVersion, CompilePool::threadCount(),
                                   m_device.name().substr(0, protocol::maxNameBytes),
                                   m_device.driverKey().substr(0, protocol::maxNameBytes)});
    while (!m_isFinished) {
        protocol::Received received =
            m_channel.receive(protocol::Channel::Descriptors::Accept, true);
        if (received.status == ReceiveStatus::Closed)
            return {};
        if (received.status != ReceiveStatus::Message ||
            !protocol::decodeInto(m_request, received.bytes))
            return Error{"The console sent a malformed message"};
        SL42_TRY_VOID(handle(m_request, std::move(received.descriptor)));
    }
    return {};
}

Result<void> Server::handle(protocol::Request& request, FileDescriptor memory) {
    return std::visit(Overloaded{
        [&](const protocol::RegisterBuffer& m) { return m_resources.add(m, memory); },
        [&](const protocol::RegisterTexture& m) { return m_resources.add(m, memory); },
        [&](const protocol::ReleaseBuffer& m) -> Result<void> {
            m_resources.remove(m.buffer);
            return {};
        },
        [&](const protocol::ReleaseTexture& m) -> Result<void> {
            m_resources.remove(m.texture);
            return {};
        },
        [&](const protocol::ReleaseLibrary& m) -> Result<void> {
            m_libraries.remove(m.library);
            return {};
        },
        [&](const protocol::CancelRequest& m) -> Result<void> {
            m_compilePool.cancel(m.request);
            return {};
        },
        [&](const protocol::ReleasePipeline& m) -> Result<void> {
            m_pipelines.remove(m.pipeline);
            return {};
        },
        [&](protocol::RunCommands& m) -> Result<void> {
            resolve(m, m_resources, m_pipelines, m_job);
            m_executor->add(m_job);
            return {};
        },
        [&](const protocol::ReportPlace& m) -> Result<void> {
            m_device.writeBack(); // while there is time
            reportPlaceOf(m.job);
            return {};
        },
        [&](protocol::MakePipeline& m) -> Result<void> {
            m_compilePool.add(std::move(m), CodeMemory::map(memory));
            return {};
        },
        [&](const protocol::Finish&) -> Result<void> {
            m_executor->finishAll();
            m_isFinished = true;
            return {};
        },
        [&]<class T>(T& question) -> Result<void>
            requires std::constructible_from<CompilePool::Question, T>
        {
            m_compilePool.add(std::move(question));
            return {};
        },
        },
        request);
}

} // namespace compute::service
