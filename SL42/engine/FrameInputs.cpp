// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/engine/FrameInputs.h"

#include <algorithm>
#include <utility>

namespace starloom {

// The order of RenderData::addToEncoder().
static constexpr std::uint32_t timeIndex = 2;
static constexpr std::uint32_t sampleIndex = 3;
static constexpr std::uint32_t sampleRateIndex = 4;
static constexpr std::uint32_t bankIndex = 5; // cleared before, and each pixel reads its own
static constexpr std::uint32_t firstInputIndex = 8;
static constexpr std::uint32_t lastInputIndex = 10;

static bool isInput(const gpu::Argument& argument) {
    return argument.index >= firstInputIndex && argument.index <= lastInputIndex;
}

static bool repeats(const gpu::Argument& argument) {
    if (argument.kind != gpu::ArgumentKind::Buffer)
        return !writes(argument.access);
    if (argument.index == bankIndex || argument.access == gpu::Access::None)
        return true;
    return !writes(argument.access) &&
           ((argument.index >= timeIndex && argument.index <= sampleRateIndex) ||
            isInput(argument));
}

std::optional<FrameInputs> inputsOf(std::shared_ptr<ComputeShader> video, const RenderData& data,
                                    std::uint64_t input) {
    FrameInputs inputs{.video = std::move(video), .registers = data.machine.registers};
    if (!inputs.video)
        return inputs;
    for (const gpu::Argument& argument : inputs.video->pipelineState()->arguments()) {
        if (!repeats(argument))
            return std::nullopt;
        if (argument.kind != gpu::ArgumentKind::Buffer || !reads(argument.access))
            continue;
        if (argument.index == timeIndex)
            inputs.time = data.time;
        else if (argument.index == sampleIndex)
            inputs.sample = data.sample;
        else if (isInput(argument))
            inputs.input = input;
    }
    return inputs;
}

} // namespace starloom
