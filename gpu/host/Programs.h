// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Program texts and machine code as the service holds them, with all that is needed to make them
// again in a new run of the service.
#pragma once

#include "compute/protocol/Protocol.h"
#include "gpu/Types.h"
#include "gpu/host/TrackRecord.h"

#include <atomic>
#include <memory>
#include <string>

namespace gpu::host {

class KeptPipeline; // KeptPipelines.h
class ServiceClient;

/// A text that compiled (or is about to). Immutable once it has been compiled.
struct Program {
    Program(std::shared_ptr<ServiceClient> serviceClient, std::string text);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    const std::shared_ptr<ServiceClient> client;
    const compute::protocol::LibraryId id;
    const std::string source;
    std::vector<std::string> functionNames;
    compute::protocol::Kernels kernels;
    compute::protocol::ConstantDeclarations constants;
    std::string warnings;
    CompileTimes times;
    /// The runs of the service that have it, or were asked to; for the client, under its lock.
    std::uint64_t compiledIn = 0;
    std::uint64_t askedIn = 0;
    /// Of compiling the text; likewise.
    Suspicion suspicion;
};

/// One function with its constants. Immutable once built, but for `stopped`.
struct Pipeline {
    Pipeline(std::shared_ptr<Program> itsProgram, std::string functionName,
             compute::protocol::Constants functionConstants);
    ~Pipeline();
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;

    const std::shared_ptr<Program> program;
    const compute::protocol::PipelineId id;
    const std::string function;
    const compute::protocol::Constants constants;
    compute::protocol::Parameters parameters;
    Fingerprint fingerprint{};
    CompileTimes times;
    /// Never to be run again.
    std::atomic<bool> stopped = false;
    /// The runs of the service that have it, or were asked to; for the client, under its lock.
    std::uint64_t builtIn = 0;
    std::uint64_t askedIn = 0;
    /// What drivers have made of it; likewise.
    std::shared_ptr<KeptPipeline> kept;
    /// How running it has gone, and what is thought of making it; likewise.
    TrackRecord record;
    Suspicion suspicion;
};

} // namespace gpu::host
