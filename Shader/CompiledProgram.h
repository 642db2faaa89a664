// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What comes out of a program's text: its kernels, and what there is to say about them. It lies
// below both the builder, which makes it, and the machine, which runs it.
#pragma once

#include "Shader/ComputeShader.h"
#include "Shader/ShaderVariants.h"

#include <cstddef>
#include <memory>
#include <string>

namespace starloom {

struct CompiledProgram {
    /// What the compile log says.
    std::string log;
    /// What else the compiler says, in its own form: warnings, and why a stage has no kernel.
    std::string remarks;
    /// Whether every stage that the program has got its kernel.
    bool isComplete = true;
    /// The program itself, and how many lines stand before it in the text that the device compiled.
    std::string source;
    std::size_t linesBefore = 0;
    /// Null where the program has no such stage, or it failed.
    std::shared_ptr<ComputeShader> cpu;
    std::shared_ptr<ShaderVariants> video;
    std::shared_ptr<ComputeShader> audio;
};

} // namespace starloom
