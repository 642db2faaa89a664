// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "Shader/ComputeShader.h"

#include <utility>

namespace starloom {

gpu::Result<std::unique_ptr<ComputeShader>>
ComputeShader::create(gpu::Device& device, const std::shared_ptr<gpu::Function>& function) {
    return createAsync(device, function).get();
}

std::future<gpu::Result<std::unique_ptr<ComputeShader>>>
ComputeShader::createAsync(gpu::Device& device, const std::shared_ptr<gpu::Function>& function) {
    function->setLabel(function->name());
    return std::async(std::launch::deferred,
                      [name = function->name(),
                       pending = device.makeComputePipelineStateAsync(
                           function)]() mutable -> gpu::Result<std::unique_ptr<ComputeShader>> {
                          auto pipelineState = SL42_TRY(pending.get());
                          return std::unique_ptr<ComputeShader>(
                              new ComputeShader(name, std::move(pipelineState)));
                      });
}

ComputeShader::ComputeShader(std::string shaderName,
                             std::shared_ptr<gpu::ComputePipelineState> pipelineState)
    : m_shaderName(std::move(shaderName)),
      m_pipelineState(std::move(pipelineState)),
      m_label("ComputeEnc: " + m_shaderName) {}

} // namespace starloom
