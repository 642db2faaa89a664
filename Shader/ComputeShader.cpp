// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "Shader/ComputeShader.h"

#include <utility>

namespace starloom {

gpu::Result<std::unique_ptr<ComputeShader>>
ComputeShader::create(gpu::Device& device, const std::shared_ptr<gpu::Function>& function) {
    function->setLabel(function->name());
    auto pipelineState = SL42_TRY(device.makeComputePipelineState(function));
    return std::unique_ptr<ComputeShader>(
        new ComputeShader(function->name(), std::move(pipelineState)));
}

ComputeShader::ComputeShader(std::string shaderName,
                             std::shared_ptr<gpu::ComputePipelineState> pipelineState)
    : m_shaderName(std::move(shaderName)),
      m_pipelineState(std::move(pipelineState)),
      m_label("ComputeEnc: " + m_shaderName) {}

} // namespace starloom
