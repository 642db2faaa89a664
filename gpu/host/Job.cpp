// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/Job.h"

#include <algorithm>
#include <cstdio>
#include <span>

namespace gpu::host {

namespace protocol = compute::protocol;
using Code = CommandBufferError::Code;

namespace {

bool isStopped(const std::shared_ptr<Pipeline>& pipeline) {
    return pipeline && pipeline->stopped;
}

bool isKernel(const std::shared_ptr<Pipeline>& pipeline) {
    return pipeline != nullptr;
}

/// "Render: kernel 'video'".
std::string subject(const Job& job, const Pipeline* pipeline) {
    return job.displayName() + ": " +
           (pipeline != nullptr ? "kernel '" + pipeline->function + "'" : "a blit");
}

CommandBufferError errorOf(Code code, const Job& job, const Pipeline* pipeline,
                           const std::string& verb) {
    return {code, subject(job, pipeline) + " " + verb,
            pipeline != nullptr ? pipeline->function : std::string()};
}

const char* verbOf(protocol::FaultKind kind) {
    switch (kind) {
    case protocol::FaultKind::Memory:
        return "accessed memory outside its buffers";
    case protocol::FaultKind::Stack:
        return "needs more stack than there is";
    case protocol::FaultKind::Arithmetic:
    case protocol::FaultKind::Instruction:
        return "carried out an operation that the processor refuses";
    case protocol::FaultKind::None:
    case protocol::FaultKind::Abort:
        break;
    }
    return "ended the compute service";
}

} // namespace

bool Job::usesStoppedPipeline() const {
    return std::ranges::any_of(pipelines, isStopped);
}

protocol::RunCommands Job::messageWithoutStopped() {
    protocol::RunCommands filtered;
    filtered.job = message.job;
    filtered.bytes = message.bytes;
    sentCommands.clear();
    std::span<const protocol::Binding> bindings = message.bindings;
    for (std::uint32_t i = 0; i < message.commands.size(); ++i) {
        const auto* dispatch = std::get_if<protocol::Dispatch>(&message.commands[i]);
        const auto own = bindings.first(dispatch != nullptr ? dispatch->bindings : 0);
        bindings = bindings.subspan(own.size());
        if (isStopped(pipelines[i]))
            continue;
        filtered.commands.push_back(message.commands[i]);
        filtered.bindings.insert(filtered.bindings.end(), own.begin(), own.end());
        sentCommands.push_back(i);
    }
    return filtered;
}

std::shared_ptr<Pipeline> Job::pipelineAt(std::uint32_t sentCommand) const {
    std::uint32_t index = sentCommand;
    if (!sentCommands.empty() && index < sentCommands.size())
        index = sentCommands[index];
    return index < pipelines.size() ? pipelines[index] : nullptr;
}

std::shared_ptr<Pipeline> Job::firstPipeline() const {
    const auto found = std::ranges::find_if(pipelines, isKernel);
    return found == pipelines.end() ? nullptr : *found;
}

std::optional<CommandBufferError> errorAfterSuccess(const Job& job) {
    if (job.recordingError)
        return job.recordingError;
    const auto stopped = std::ranges::find_if(job.pipelines, isStopped);
    if (stopped == job.pipelines.end())
        return std::nullopt;
    return errorOf(Code::PipelineStopped, job, stopped->get(), "was stopped after an error");
}

CommandBufferError timeLimitError(const Job& job, const Pipeline* pipeline,
                                  std::chrono::milliseconds limit) {
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%g", static_cast<double>(limit.count()) / 1000);
    return errorOf(Code::TimeLimit, job, pipeline,
                   std::string("ran longer than ") + seconds + " s");
}

CommandBufferError faultError(const Job& job, const Pipeline* pipeline, protocol::FaultKind kind) {
    return errorOf(Code::KernelFault, job, pipeline, verbOf(kind));
}

CommandBufferError serviceLostError(const Job& job, const std::string& reason) {
    return {Code::ServiceLost, job.displayName() + ": " + reason, {}};
}

} // namespace gpu::host
