// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/Programs.h"

#include "gpu/host/ServiceClient.h"

namespace gpu::host {

namespace protocol = compute::protocol;

Program::Program(std::shared_ptr<ServiceClient> serviceClient, std::string text)
    : client(std::move(serviceClient)), id{client->newId()}, source(std::move(text)) {}

Program::~Program() {
    client->release(protocol::ReleaseLibrary{id});
}

Pipeline::Pipeline(std::shared_ptr<Program> itsProgram, std::string functionName,
                   protocol::Constants functionConstants)
    : program(std::move(itsProgram)),
      id{program->client->newId()},
      function(std::move(functionName)),
      constants(std::move(functionConstants)) {}

Pipeline::~Pipeline() {
    program->client->release(protocol::ReleasePipeline{id});
}

} // namespace gpu::host
