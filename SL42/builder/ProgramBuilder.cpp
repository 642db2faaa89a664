// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/builder/ProgramBuilder.h"

#include "SL42/prelude/ShaderStrings.h"

namespace starloom {

std::string assembleProgram(std::string_view source, const PreprocessedSource& preprocessed) {
    const std::string& header = SharedShaderStrings::standardProcessingHeader();
    const std::string_view tail = GPUShaderStrings::kernelTail();
    std::string text;
    text.reserve(header.size() + source.size() + preprocessed.additions.size() + tail.size());
    text.append(header).append(source).append(preprocessed.additions).append(tail);
    return text;
}

// The modes of a machine that was just reset, for drawing functions called outside of fx().
static gpu::FunctionConstantValues neutralModes() {
    gpu::FunctionConstantValues values;
    values.setChar(0, 0);
    values.setChar(1, 0);
    return values;
}

CompiledShader compileShader(gpu::Device& device, const LibraryResult& library,
                             std::string_view functionName, platform::Log& log) {
    const std::string name(functionName);
    if (!library)
        return {compilationFailed(library), nullptr};
    const auto function = (*library)->makeFunction(name, neutralModes());
    if (!function)
        return {"Couldn't find " + name + " function\n", nullptr};
    auto shader = ComputeShader::create(device, *function);
    if (!shader) {
        log.line(shader.error().message);
        return {"Failed to create " + name + " compute pipeline state\n", nullptr};
    }
    return {"Done.\n", std::move(*shader)};
}

} // namespace starloom
