// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A committed command buffer on its way through the service.
#pragma once

#include "gpu/CommandBuffer.h"
#include "gpu/host/Programs.h"
#include "gpu/host/Registration.h"
#include "gpu/host/ServiceProcess.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory_resource>
#include <optional>

namespace gpu::host {

/// How a command buffer ends, for those that need it; outlives it, and holds on to nothing.
struct Fate {
    /// Known before it has ended where it was recorded wrongly or lacks a kernel.
    std::atomic<bool> failed = false;
};

struct Outcome {
    std::optional<CommandBufferError> error;
    double milliseconds = 0;
};

struct Job {
    /// The lists take their memory from there.
    Job(std::pmr::memory_resource* memory, std::shared_ptr<Fate> itsFate)
        : fate(std::move(itsFate)),
          message{.job = {}, .commands{memory}, .bindings{memory}, .bytes{memory}},
          pipelines(memory),
          registrations(memory) {}

    std::string label;
    const std::shared_ptr<Fate> fate;
    /// Of an earlier one, without which this one is not carried out; null when there is none.
    std::shared_ptr<const Fate> needs;
    /// Holds when the device's is shorter.
    std::chrono::milliseconds timeLimit{0};
    compute::protocol::RunCommands message;
    /// One for each command; null for blits.
    std::pmr::vector<std::shared_ptr<Pipeline>> pipelines;
    /// Everything that the commands refer to.
    std::pmr::vector<std::shared_ptr<Registration>> registrations;
    /// Found while recording; the commands before it are carried out.
    std::optional<CommandBufferError> recordingError;
    /// Called once with the outcome, on the callback thread.
    std::function<void(Outcome)> completed;
    Outcome outcome;
    /// For each command that was sent, its index in `message`; empty when all were.
    std::vector<std::uint32_t> sentCommands;
    unsigned timesSent = 0;
    /// Whether it was sent without commands, since what it needs has failed.
    bool sentEmpty = false;
    /// The service made no progress with it, once.
    bool stalled = false;

    bool lacksWhatItNeeds() const { return needs && needs->failed; }
    bool usesStoppedPipeline() const;
    /// The message without the dispatches of stopped pipelines. Sets sentCommands.
    compute::protocol::RunCommands messageWithoutStopped();
    /// The pipeline of the command that the service says it was at; null for a blit or nonsense.
    std::shared_ptr<Pipeline> pipelineAt(std::uint32_t sentCommand) const;
    /// Null when it consists of blits.
    std::shared_ptr<Pipeline> firstPipeline() const;
    /// Its label, for messages.
    std::string displayName() const { return label.empty() ? "Command buffer" : label; }
};

/// The error of a job that succeeded as far as the service is concerned.
std::optional<CommandBufferError> errorAfterSuccess(const Job& job);

/// Of a job after which the others go on, and nobody is to blame.
CommandBufferError endedError(const Job& job);
CommandBufferError noProgressError(const Job& job, const Pipeline* pipeline);
CommandBufferError timeLimitError(const Job& job, const Pipeline* pipeline,
                                  std::chrono::milliseconds limit);
CommandBufferError faultError(const Job& job, const Pipeline* pipeline,
                              compute::protocol::FaultKind kind);
/// Adds what the service says about where in the program's text it happened.
void addPlace(CommandBufferError& error, const LastWords& words);
/// Of milliseconds that the service names: from none to an hour.
double plausibleTime(double milliseconds);
/// "0.5 s".
std::string inSeconds(std::chrono::milliseconds time);
CommandBufferError serviceLostError(const Job& job, const std::string& reason);

} // namespace gpu::host
