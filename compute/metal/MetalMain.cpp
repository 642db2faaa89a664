// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Developers' tool: starloom-metal FILE prints what the compiler says about a text; with --ir also
// the kernels and the intermediate code, with --time how long a warm compilation takes.
#include "compute/metal/Frontend.h"

#include <llvm/Support/Format.h>
#include <llvm/Support/raw_ostream.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

std::string parameterLine(const compute::kernel::Parameter& parameter) {
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

double medianMilliseconds(const std::string& source) {
    std::vector<double> times;
    for (int i = 0; i < 21; ++i) {
        const auto start = std::chrono::steady_clock::now();
        (void)compute::metal::compile(source);
        const std::chrono::duration<double, std::milli> taken =
            std::chrono::steady_clock::now() - start;
        times.push_back(taken.count());
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
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
        llvm::outs() << llvm::format("%.1f ms\n", medianMilliseconds(source));
    return program ? 0 : 1;
}
