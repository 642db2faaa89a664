// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/ModuleText.h"

#include "compute/kernel/Dump.h"

#include <llvm/Support/raw_ostream.h>

namespace compute::kernel {

std::string moduleText(const llvm::Module& module) {
    std::string text;
    llvm::raw_string_ostream stream(text);
    module.print(stream, nullptr);
    return text;
}

void dumpModule(const Dump* dump, const llvm::Module& module, std::string_view kernel,
                unsigned number, std::string_view stage) {
    if (dump != nullptr)
        dump->write(kernel, number, stage, "ll", moduleText(module));
}

} // namespace compute::kernel
