// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The message loop of the service.
#pragma once

#include "compute/service/Executor.h"

namespace compute::service {

class Server {
public:
    /// Starts the threads; reads nothing yet.
    static platform::Result<std::unique_ptr<Server>>
    create(protocol::Channel& channel, Compiler& compiler, protocol::StatusPage& page);

    /// Tells the console that all is ready and answers it until it goes away or needs no
    /// more (a success), or says something that makes no sense.
    platform::Result<void> serve();

private:
    Server(protocol::Channel& channel, Compiler& compiler)
        : m_channel(channel),
          m_replies(channel),
          m_device(compiler.device()),
          m_resources(m_device),
          m_compilePool(compiler, m_libraries, m_pipelines, m_replies) {}

    platform::Result<void> handle(protocol::Request& request, platform::FileDescriptor memory);

    protocol::Channel& m_channel;
    Replies m_replies;
    Device& m_device;
    Resources m_resources;
    Libraries m_libraries;
    Pipelines m_pipelines;
    CompilePool m_compilePool;
    std::unique_ptr<Executor> m_executor;
    bool m_isFinished = false; ///< nothing more comes
    // Filled again by each message, so that frames need no memory.
    protocol::Request m_request;
    Job m_job;
};

} // namespace compute::service
