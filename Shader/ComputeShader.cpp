// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "Shader/ComputeShader.h"

#include <utility>

namespace starloom {

gpu::Pending ComputeShader::create(gpu::Device& device,
                                   const std::shared_ptr<gpu::Function>& function, Made made) {
    function->setLabel(function->name());
    return device.makeComputePipelineState(
        function,
        [name = function->name(), made = std::move(made)](
            const gpu::Result<std::shared_ptr<gpu::ComputePipelineState>>& pipelineState) {
            if (!pipelineState)
                return made(pipelineState.error());
            made(std::shared_ptr<ComputeShader>(new ComputeShader(name, *pipelineState)));
        });
}

gpu::Pending ComputeShader::create(gpu::Device& device, const std::string& shaderName,
                                   gpu::Library& library,
                                   const gpu::FunctionConstantValues& functionConstants,
                                   Made made) {
    const auto function = library.makeFunction(shaderName, functionConstants);
    if (function)
        return create(device, *function, std::move(made));
    made(function.error());
    return nullptr;
}

ComputeShader::ComputeShader(std::string shaderName,
                             std::shared_ptr<gpu::ComputePipelineState> pipelineState)
    : m_shaderName(std::move(shaderName)),
      m_pipelineState(std::move(pipelineState)),
      m_label("ComputeEnc: " + m_shaderName) {}

} // namespace starloom
