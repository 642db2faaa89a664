// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Every function of this process that machine code of a kernel may call. The code generator adds
// such calls by itself, for large copies and for what the processor lacks; a kernel cannot name
// any.
#pragma once

#include <string_view>

namespace compute::host {

/// Address of a function in the list; null for all others.
void* runtimeFunction(std::string_view symbol);

} // namespace compute::host
