// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/Job.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
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
                           const std::string& verb, const std::string& what = {}) {
    CommandBufferError error{code, subject(job, pipeline) + " " + verb,
                             pipeline != nullptr ? pipeline->function : std::string()};
    error.what = what;
    return error;
}

/// What a kernel did, to stand behind its name and behind the line that did it.
struct Deed {
    const char* verb;
    const char* what;
};

Deed deedOf(protocol::FaultKind kind) {
    switch (kind) {
    case protocol::FaultKind::Memory:
        return {"accessed memory outside its buffers", "reached outside of memory"};
    case protocol::FaultKind::Stack:
        return {"needs more stack than there is", "needs more stack than there is"};
    case protocol::FaultKind::Arithmetic:
    case protocol::FaultKind::Instruction:
        return {"carried out an operation that the processor refuses",
                "carried out an operation that the processor refuses"};
    case protocol::FaultKind::DeviceLost:
        return {"made the graphics device stop", "made the graphics device stop"};
    case protocol::FaultKind::None:
    case protocol::FaultKind::Abort:
    case protocol::FaultKind::Asked:
    case protocol::FaultKind::Time:
    case protocol::FaultKind::HeapMemory:
        break;
    }
    return {"ended the compute service", "ended the compute service"};
}

constexpr const char* inLoop = "still in this loop";

} // namespace

double plausibleTime(double milliseconds) {
    constexpr double hour = 3'600'000;
    return std::clamp(milliseconds, 0.0, hour);
}

std::string inSeconds(std::chrono::milliseconds time) {
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%g s", static_cast<double>(time.count()) / 1000);
    return seconds;
}

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
    if (sentEmpty)
        return nullptr;
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
    if (job.lacksWhatItNeeds())
        return CommandBufferError{
            Code::NotCarriedOut, job.displayName() + ": an earlier command buffer failed", {}};
    if (job.recordingError)
        return job.recordingError;
    const auto stopped = std::ranges::find_if(job.pipelines, isStopped);
    if (stopped == job.pipelines.end())
        return std::nullopt;
    return errorOf(Code::PipelineStopped, job, stopped->get(), "was stopped after an error");
}

CommandBufferError endedError(const Job& job) {
    return {Code::Ended, job.displayName() + ": was ended, since its result is not needed", {}};
}

CommandBufferError noProgressError(const Job& job, const Pipeline* pipeline) {
    return errorOf(Code::TimeLimit, job, pipeline, "made no progress", "made no progress");
}

CommandBufferError timeLimitError(const Job& job, const Pipeline* pipeline,
                                  std::chrono::milliseconds limit) {
    return errorOf(Code::TimeLimit, job, pipeline, "ran longer than " + inSeconds(limit),
                   std::string(inLoop) + " after " + inSeconds(limit));
}

CommandBufferError faultError(const Job& job, const Pipeline* pipeline, protocol::FaultKind kind) {
    const Deed deed = deedOf(kind);
    return errorOf(Code::KernelFault, job, pipeline, deed.verb, deed.what);
}

void addPlace(CommandBufferError& error, const LastWords& words) {
    // A claim like all of it; no text has more lines than bytes.
    for (const std::uint32_t line : words.lines)
        if (line > 0 && line <= protocol::maxSourceBytes)
            error.lines.push_back(line);
    if (error.code == Code::TimeLimit && !words.isLoop && error.what.starts_with(inLoop))
        error.what.replace(0, std::strlen(inLoop), "still at work here");
    if (error.code != Code::KernelFault ||
        words.faultKind != static_cast<std::uint32_t>(protocol::FaultKind::Memory))
        return;
    if (words.faultAccess == static_cast<std::uint32_t>(protocol::FaultAccess::Read))
        error.what = "read outside of memory";
    if (words.faultAccess == static_cast<std::uint32_t>(protocol::FaultAccess::Write))
        error.what = "wrote outside of memory";
}

CommandBufferError serviceLostError(const Job& job, const std::string& reason) {
    return {Code::ServiceLost, job.displayName() + ": " + reason, {}};
}

} // namespace gpu::host
