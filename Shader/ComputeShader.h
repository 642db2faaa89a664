// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The form in which every stage of the console holds a compiled kernel.
#pragma once

#include "gpu/Device.h"

#include <functional>
#include <memory>
#include <string>

namespace starloom {

/// One kernel's pipeline state. Stages make their own encoders, bind their own arguments and choose
/// their own dispatch sizes.
class ComputeShader {
public:
    using Made = gpu::Made<ComputeShader>;

    /// Labels the function with its own name and starts compiling it. `made` gets the shader or the
    /// device's own message, on the thread and under the conditions of
    /// gpu::Device::makeComputePipelineState().
    [[nodiscard]] static gpu::Pending
    create(gpu::Device& device, const std::shared_ptr<gpu::Function>& function, Made made);
    /// The same from the function's name and constants. Where the library has no such function,
    /// `made` is called before this returns.
    [[nodiscard]] static gpu::Pending create(gpu::Device& device, const std::string& shaderName,
                                             gpu::Library& library,
                                             const gpu::FunctionConstantValues& functionConstants,
                                             Made made);

    const std::string& shaderName() const { return m_shaderName; }
    /// "ComputeEnc: " and the kernel's name.
    const std::string& label() const { return m_label; }
    /// Never null.
    const std::shared_ptr<gpu::ComputePipelineState>& pipelineState() const {
        return m_pipelineState;
    }
    /// True once the kernel has hung or faulted; it is not run any more.
    bool isStopped() const { return m_pipelineState->isStopped(); }

private:
    ComputeShader(std::string shaderName, std::shared_ptr<gpu::ComputePipelineState> pipelineState);

    std::string m_shaderName;
    std::shared_ptr<gpu::ComputePipelineState> m_pipelineState;
    std::string m_label;
};

} // namespace starloom
