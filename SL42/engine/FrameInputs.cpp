// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/engine/FrameInputs.h"

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
    if (argument.kind != gpu::ParameterKind::Buffer)
        return !writes(argument.access);
    if (argument.index == bankIndex || argument.access == gpu::Access::None)
        return true;
    return !writes(argument.access) &&
           ((argument.index >= timeIndex && argument.index <= sampleRateIndex) ||
            isInput(argument));
}

std::optional<FrameInputs> inputsSeen(FrameInputs all) {
    FrameInputs seen{.video = std::move(all.video), .registers = std::move(all.registers)};
    if (!seen.video)
        return seen;
    for (const gpu::Argument& argument : seen.video->pipelineState()->arguments()) {
        if (!repeats(argument))
            return std::nullopt;
        if (argument.kind != gpu::ParameterKind::Buffer || !reads(argument.access))
            continue;
        if (argument.index == timeIndex)
            seen.time = all.time;
        else if (argument.index == sampleIndex)
            seen.sample = all.sample;
        else if (isInput(argument))
            seen.input = all.input;
    }
    return seen;
}

} // namespace starloom
