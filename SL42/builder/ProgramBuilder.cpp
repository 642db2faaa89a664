// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/builder/ProgramBuilder.h"

#include "SL42/prelude/ShaderStrings.h"

namespace starloom {

// Editors trim the last line end: a comment or directive there would take the tail's first line,
// the end of the class, with it.
static bool swallowsWhatFollows(std::string_view program) {
    const std::string_view lastLine = program.substr(program.rfind('\n') + 1);
    return lastLine.starts_with('#') || lastLine.find("//") != std::string_view::npos;
}

std::string assembleProgram(std::string_view source, const PreprocessedSource& preprocessed) {
    const std::string& header = SharedShaderStrings::standardProcessingHeader();
    const std::string_view tail = GPUShaderStrings::kernelTail();
    std::string text;
    text.reserve(header.size() + source.size() + preprocessed.additions.size() + tail.size() + 1);
    text.append(header).append(source).append(preprocessed.additions);
    if (swallowsWhatFollows(text))
        text += '\n';
    text.append(tail);
    return text;
}

// The modes of a machine that was just reset, for drawing functions called outside of fx().
static gpu::FunctionConstantValues neutralModes() {
    gpu::FunctionConstantValues values;
    values.setChar(0, 0);
    values.setChar(1, 0);
    return values;
}

static std::future<CompiledShader> failure(std::string message) {
    return std::async(std::launch::deferred,
                      [message = std::move(message)] { return CompiledShader{message, nullptr}; });
}

std::future<CompiledShader> compileShaderAsync(gpu::Device& device, const LibraryResult& library,
                                               std::string_view functionName, platform::Log& log) {
    const std::string name(functionName);
    if (!library)
        return failure(compilationFailed(library));
    const auto function = (*library)->makeFunction(name, neutralModes());
    if (!function)
        return failure("Couldn't find " + name + " function\n");
    auto pending = ComputeShader::createAsync(device, *function);
    return std::async(std::launch::deferred, [name, &log, pending = std::move(pending)]() mutable {
        auto shader = pending.get();
        if (shader)
            return CompiledShader{"Done.\n", std::move(*shader)};
        log.line(shader.error().message);
        return CompiledShader{"Failed to create " + name + " compute pipeline state\n", nullptr};
    });
}

CompiledShader compileShader(gpu::Device& device, const LibraryResult& library,
                             std::string_view functionName, platform::Log& log) {
    return compileShaderAsync(device, library, functionName, log).get();
}

} // namespace starloom
