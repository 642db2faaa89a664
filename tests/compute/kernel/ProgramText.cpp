// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/compute/kernel/ProgramText.h"

#include <llvm/AsmParser/Parser.h>
#include <llvm/IR/Verifier.h>
#include <llvm/Support/SourceMgr.h>

#include <cstdio>
#include <cstdlib>

namespace tests {

using namespace compute;
using namespace compute::kernel;

const target::HostTarget& hostTarget() {
    static const target::HostTarget target(CompilerOptions::fromEnvironment()->lanes);
    return target;
}

Program makeProgram(std::string_view text, std::vector<Parameter> parameters) {
    Program program;
    program.context = std::make_unique<llvm::LLVMContext>();
    llvm::SMDiagnostic diagnostic;
    program.module = llvm::parseAssemblyString(llvm::StringRef(text.data(), text.size()),
                                               diagnostic, *program.context);
    if (!program.module || llvm::verifyModule(*program.module, &llvm::errs())) {
        diagnostic.print("test", llvm::errs());
        std::abort();
    }
    program.kernels.push_back(
        {.name = "k", .symbol = "k", .parameters = std::move(parameters), .unsupported = {}});
    return program;
}

Parameter buffer(std::uint32_t index) {
    return {.name = "buffer", .kind = ParameterKind::Buffer, .index = index};
}

Parameter position() {
    return {.name = "position", .kind = ParameterKind::ThreadPositionInGrid};
}

Program makeOneDimensional(std::string_view body, std::string_view declarations) {
    const std::string text = std::string(declarations) +
                             "\ndefine spir_func void @k(ptr noundef %out, i32 noundef %x) {\n" +
                             std::string(body) + "\n}\n";
    return makeProgram(text, {buffer(0), position()});
}

std::string repeated(std::string_view text, unsigned count) {
    std::string result;
    for (unsigned i = 0; i < count; ++i)
        for (const char c : text) {
            if (c == '#' || c == '$')
                result += std::to_string(c == '#' ? i : i + 1);
            else
                result += c;
        }
    return result;
}

} // namespace tests
