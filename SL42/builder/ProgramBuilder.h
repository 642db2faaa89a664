// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// From a program to the text that the device compiles, and from that text to one kernel.
#pragma once

#include "SL42/builder/Preprocessor.h"
#include "SL42/engine/LibraryResult.h"
#include "Shader/ComputeShader.h"
#include "gpu/Device.h"
#include "platform/Log.h"

#include <future>
#include <memory>
#include <string>
#include <string_view>

namespace starloom {

/// The prelude, the program with its additions, and the kernels that call it. They begin on a line
/// of their own when the program ends in a comment.
std::string assembleProgram(std::string_view source, const PreprocessedSource& preprocessed);

struct CompiledShader {
    /// What the compile log says about it.
    std::string message;
    /// Null when it failed.
    std::unique_ptr<ComputeShader> shader;
};

/// Starts taking one kernel from a program's library, or from what became of it. The future's get()
/// waits for the kernel and tells `log` why it failed; both must still exist then.
std::future<CompiledShader> compileShaderAsync(gpu::Device& device, const LibraryResult& library,
                                               std::string_view functionName, platform::Log& log);
/// The same, waited for.
CompiledShader compileShader(gpu::Device& device, const LibraryResult& library,
                             std::string_view functionName, platform::Log& log);

} // namespace starloom
