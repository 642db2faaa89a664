// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a program's attributes say, and the promises about the code that comes with it.
#include "compute/metal/Frontend.h"

#include <gtest/gtest.h>
#include <llvm/IR/InstrTypes.h>
#include <llvm/IR/Instructions.h>
#include <llvm/IR/Verifier.h>
#include <llvm/Support/raw_ostream.h>

namespace {

using namespace compute;
using namespace compute::kernel;

Program compileOrFail(const std::string& source) {
    auto program =
        compute::metal::compile("#include <metal_stdlib>\nusing namespace metal;\n" + source);
    EXPECT_TRUE(program) << (program ? "" : program.error().message);
    return program ? std::move(*program) : Program{};
}

std::string describe(const KernelDeclaration& kernel) {
    std::string text = kernel.name + ":";
    for (const Parameter& each : kernel.parameters)
        text += " " + each.name + "=" + std::to_string(int(each.kind)) + "/" +
                std::to_string(each.index) + "/" + std::to_string(each.components) + "x" +
                std::to_string(each.componentBytes);
    return text;
}

TEST(Reflection, ReadsParametersAndGivesFreeIndices) {
    const Program program = compileOrFail(
        "struct Uniforms { float time; };\n"
        "kernel void first(device float4* out [[buffer(1 + 1)]], constant Uniforms& u,\n"
        "                  texture2d<float> picture [[texture(3)]], device int* next, sampler s,\n"
        "                  uint2 at [[thread_position_in_grid]], ushort3 n [[threads_per_grid]],\n"
        "                  uint lane [[thread_index_in_threadgroup]]) {}\n"
        "namespace inner { [[kernel]] void second(device float* o [[buffer(0)]]) {} }\n"
        "static kernel void third(constant float* table) {}\n"
        "void helper(device float* o) {}\n");
    ASSERT_EQ(program.kernels.size(), 3u);
    EXPECT_EQ(describe(program.kernels[0]),
              "first: out=0/2/1x4 u=0/0/1x4 picture=1/3/1x4 next=0/1/1x4 s=2/0/1x4 at=4/0/2x4 "
              "n=5/0/3x2 lane=10/0/1x4");
    EXPECT_EQ(describe(program.kernels[1]), "inner::second: o=0/0/1x4");
    EXPECT_EQ(describe(program.kernels[2]), "third: table=0/0/1x4");
    for (const KernelDeclaration& kernel : program.kernels) {
        const llvm::Function* function = program.module->getFunction(kernel.symbol);
        ASSERT_NE(function, nullptr) << kernel.name;
        EXPECT_FALSE(function->isDeclaration()) << kernel.name;
        EXPECT_EQ(function->arg_size(), kernel.parameters.size()) << kernel.name;
    }
}

TEST(Reflection, SaysWhichKernelsCannotRunAndWhy) {
    const Program program =
        compileOrFail("#include <metal_stdlib>\n"
                      "float slope(float x) { return metal::dfdx(x); }\n"
                      "kernel void a(device float* o) { o[0] = slope(1); }\n"
                      "kernel void b(threadgroup float* s [[threadgroup(0)]]) { s[0] = 1; }\n"
                      "kernel void c(uint n [[grid_size]]) {}\n"
                      "float sum(thread float* s) { return s[0]; }\n"
                      "kernel void d(device float* o) { o[0] = sum(o); }\n"
                      "kernel void e(metal::raytracing::instance_acceleration_structure s) {}\n"
                      "kernel void f(device uint* o) {\n"
                      "    metal::raytracing::intersection_query<> q;\n"
                      "    o[0] = q.next(); }\n");
    ASSERT_EQ(program.kernels.size(), 6u);
    EXPECT_EQ(program.kernels[0].unsupported, "derivatives cannot run here");
    EXPECT_EQ(program.kernels[1].unsupported, "");
    EXPECT_EQ(program.kernels[2].unsupported, "'grid_size' is not supported");
    EXPECT_EQ(program.kernels[3].unsupported, "");
    EXPECT_EQ(program.kernels[4].unsupported, "ray tracing cannot run here");
    EXPECT_EQ(program.kernels[4].unsupportedAt, "program_source:10:66");
    EXPECT_EQ(program.kernels[5].unsupported, "ray tracing cannot run here");
    EXPECT_EQ(program.kernels[5].unsupportedAt, "program_source:13:5");
}

TEST(Module, KeepsItsPromises) {
    const Program program = compileOrFail(
        "struct Big { float a[8]; };\n"
        "float sum(Big b) { return b.a[0]; }\n"
        "int open(int x) { switch (x) { case 1: return 3; } }\n"
        "kernel void k(device Big* in, device float* o, uint2 at [[thread_position_in_grid]]) {\n"
        "    o[at.x] = sum(in[at.y]) * 0.1 + open(int(at.x)) + sin(o[1]);\n"
        "}\n");
    ASSERT_TRUE(program.module);
    EXPECT_FALSE(llvm::verifyModule(*program.module, &llvm::errs()));
    EXPECT_TRUE(program.module->getTargetTriple().starts_with("spir64"));
    for (const llvm::Function& function : *program.module) {
        EXPECT_TRUE(!function.isDeclaration() || function.isIntrinsic())
            << function.getName().str();
        EXPECT_FALSE(function.hasFnAttribute(llvm::Attribute::NoInline));
        for (const llvm::Argument& argument : function.args())
            EXPECT_FALSE(argument.hasAttribute(llvm::Attribute::Dereferenceable));
        for (const llvm::BasicBlock& block : function)
            for (const llvm::Instruction& instruction : block) {
                EXPECT_FALSE(instruction.getType()->isDoubleTy());
                EXPECT_FALSE(llvm::isa<llvm::UnreachableInst>(instruction));
                if (const auto* call = llvm::dyn_cast<llvm::CallBase>(&instruction))
                    EXPECT_EQ(call->getCallingConv(), llvm::CallingConv::C);
            }
    }
    const llvm::Function* kernel = program.module->getFunction(program.kernels.at(0).symbol);
    EXPECT_TRUE(kernel->getArg(0)->getType()->isPointerTy());
    EXPECT_TRUE(kernel->hasParamAttribute(2, llvm::Attribute::ByVal));
}

} // namespace
