// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/engine/CPU.h"

namespace starloom {

std::shared_ptr<ComputeShader> CPU::run(gpu::CommandBuffer& commandBuffer,
                                        const RenderData& renderData) const {
    auto current = shader.current();
    const auto encoder = current ? commandBuffer.makeComputeCommandEncoder() : nullptr;
    if (!encoder)
        return nullptr;
    encoder->setLabel(current->label());
    encoder->setComputePipelineState(current->pipelineState());
    renderData.addToEncoder(*encoder, 0);
    encoder->dispatchThreads({coreCount, 1, 1}, {64, 1, 1});
    encoder->endEncoding();
    return current;
}

} // namespace starloom
