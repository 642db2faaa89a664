// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The list of all functions of this process that a kernel's machine code may call. The code
// generator adds these calls by itself, for large copies and for instructions that the processor
// lacks; a kernel cannot name them.
#pragma once

#include <string_view>

namespace compute::host {

/// The address of a function in the list; null for all others.
void* runtimeFunction(std::string_view symbol);

} // namespace compute::host
