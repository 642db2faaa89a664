// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The front end of the shading language: program text in, intermediate code and reflection out.
// It reads nothing but its argument; the language's own library comes from memory.
#pragma once

#include "compute/kernel/Program.h"
#include "platform/base/Result.h"

#include <cstddef>
#include <stop_token>
#include <string_view>

namespace compute::metal {

/// Of the stack that compileOnThisThread() needs.
std::size_t neededStackBytes();

/// Compiles one text. The error is everything that the compiler printed, with positions
/// `program_source:LINE:COLUMN:`, the source line and a caret. Safe to call from several threads.
/// When it is to stop, it does so with an error at one of the next tokens or templates.
platform::Result<kernel::Program> compileOnThisThread(std::string_view source,
                                                      const std::stop_token& stop = {});

/// The same, on a thread of its own with a stack that is large enough.
platform::Result<kernel::Program> compile(std::string_view source,
                                          const std::stop_token& stop = {});

/// Loads what the first compilation would otherwise have to: called once before the service locks
/// itself down, so that the first program compiles as quickly as the second.
void warmUp();

} // namespace compute::metal
