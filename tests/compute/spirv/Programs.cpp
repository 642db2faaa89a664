// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/compute/spirv/Programs.h"

#include "compute/metal/Frontend.h"
#include "compute/spirv/Validation.h"

#include <cstring>
#include <stdexcept>

namespace tests {

using namespace compute;

namespace {

template <class T>
T orThrow(platform::Result<T> result) {
    if (!result)
        throw std::runtime_error(result.error().message);
    return *std::move(result);
}

} // namespace

kernel::Program programOf(const std::string& text) {
    return orThrow(metal::compile("#include <metal_stdlib>\nusing namespace metal;\n" + text));
}

spirv::Shader shaderOf(const std::string& text, const spirv::Features& features) {
    auto made = orThrow(spirv::translate(programOf(text), "k", {}, features,
                                         *kernel::CompilerOptions::fromEnvironment()));
    if (const auto valid = spirv::validate(made.shader.words); !valid)
        throw std::runtime_error(valid.error().message);
    return std::move(made.shader);
}

std::string assemblyOf(const std::string& text, const spirv::Features& features) {
    return spirv::disassemble(shaderOf(text, features).words);
}

ShaderRunner& device() {
    static const std::unique_ptr<ShaderRunner> runner = orThrow(ShaderRunner::create());
    return *runner;
}

void runShader(const std::string& text, std::vector<std::vector<std::uint32_t>*> buffers,
               std::uint32_t threads, std::uint32_t group) {
    runShader(shaderOf(text, device().features()), std::move(buffers), threads, group);
}

void runShader(const spirv::Shader& shader, std::vector<std::vector<std::uint32_t>*> buffers,
               std::uint32_t threads, std::uint32_t group) {
    ShaderRunner& runner = device();
    runner.reset();
    ShaderRunner::Arguments arguments;
    std::vector<ShaderRunner::Piece> pieces;
    for (const std::vector<std::uint32_t>* buffer : buffers) {
        pieces.push_back(runner.allocate(buffer->size() * sizeof(std::uint32_t)));
        std::memcpy(pieces.back().bytes.data(), buffer->data(), pieces.back().bytes.size());
        arguments.bindings[pieces.size() - 1] = pieces.back().record();
        arguments.memory.push_back(pieces.back().record());
    }
    const auto done = runner.run(shader, arguments, {.width = threads}, {.width = group});
    if (!done)
        throw std::runtime_error(done.error().message);
    for (std::size_t i = 0; i < buffers.size(); ++i)
        std::memcpy(buffers[i]->data(), pieces[i].bytes.data(), pieces[i].bytes.size());
}

} // namespace tests
