// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/engine/CPU.h"

namespace starloom {

void CPU::run(gpu::CommandBuffer& commandBuffer, const RenderData& renderData) const {
    if (!shader || shader->isStopped())
        return;
    const auto encoder = commandBuffer.makeComputeCommandEncoder();
    if (!encoder)
        return;
    encoder->setLabel(shader->label());
    encoder->setComputePipelineState(shader->pipelineState());
    renderData.addToEncoder(*encoder, 0);
    encoder->dispatchThreads({coreCount, 1, 1}, {64, 1, 1});
    encoder->endEncoding();
}

} // namespace starloom
