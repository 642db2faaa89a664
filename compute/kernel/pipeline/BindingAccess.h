// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Which of its buffers and textures a kernel reads and writes, so that the console need not run it
// again when nothing that it reads has changed.
#pragma once

#include "compute/kernel/Program.h"

#include <llvm/IR/Module.h>

namespace compute::kernel {

/// Sets the access of each parameter as the code of `kernel`, a canonical function, and the
/// functions that it calls allow. Where an address may lead anywhere, every parameter counts as
/// read and written.
void findAccesses(const llvm::Function& kernel, std::vector<Parameter>& parameters);

} // namespace compute::kernel
