// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Developers' tool: starloom-metal FILE prints what the compiler says about a text; with --ir also
// the kernels and the intermediate code, with --time the processor time of a warm compilation.
#include "compute/metal/Frontend.h"

#include <llvm/Support/Format.h>
#include <llvm/Support/raw_ostream.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>

namespace {

std::string parameterLine(const compute::Parameter& parameter) {
    return "  " + parameter.name + ": kind " + std::to_string(int(parameter.kind)) + ", index " +
           std::to_string(parameter.index) + ", " + std::to_string(parameter.components) + " x " +
           std::to_string(parameter.componentBytes) + " bytes\n";
}

void printProgram(const compute::kernel::Program& program) {
    for (const auto& kernel : program.kernels) {
        llvm::outs() << "; kernel " << kernel.name << " = @" << kernel.symbol << "\n";
        for (const auto& parameter : kernel.parameters)
            llvm::outs() << ";" << parameterLine(parameter);
        if (!kernel.unsupported.empty())
            llvm::outs() << ";  cannot run: " << kernel.unsupported << "\n";
    }
    for (const auto& constant : program.constants)
        llvm::outs() << "; constant " << constant.name << " = @" << constant.symbol << ", index "
                     << constant.index << ", type " << int(constant.type) << "\n";
    program.module->print(llvm::outs(), nullptr);
}

/// Processor time, so that other work on the machine does not count.
double leastMilliseconds(const std::string& source) {
    double least = 1e9;
    for (int i = 0; i < 21; ++i) {
        const std::clock_t start = std::clock();
        (void)compute::metal::compile(source);
        least = std::min(least, 1000.0 * double(std::clock() - start) / CLOCKS_PER_SEC);
    }
    return least;
}

} // namespace

int main(int argc, char** argv) {
    const bool wantsIr = argc == 3 && std::strcmp(argv[1], "--ir") == 0;
    const bool wantsTime = argc == 3 && std::strcmp(argv[1], "--time") == 0;
    std::ifstream file(argc > 1 ? argv[argc - 1] : "", std::ios::binary);
    if (!file || (argc == 3 && !wantsIr && !wantsTime)) {
        llvm::errs() << "usage: starloom-metal [--ir | --time] FILE\n";
        return 2;
    }
    const std::string source{std::istreambuf_iterator<char>(file), {}};
    auto program = compute::metal::compile(source);
    llvm::errs() << (program ? program->warnings : program.error().message);
    if (program && wantsIr)
        printProgram(*program);
    if (wantsTime)
        llvm::outs() << llvm::format("%.1f ms\n", leastMilliseconds(source));
    return program ? 0 : 1;
}
