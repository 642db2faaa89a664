// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Executable memory, and what generated code may call.
#include "compute/host/code/MachineCode.h"
#include "compute/host/code/RuntimeFunctions.h"
#include "compute/target/HostTarget.h"
#include "tests/compute/host/CompiledText.h"

#include <gtest/gtest.h>
#include <llvm/ADT/SmallString.h>
#include <llvm/AsmParser/Parser.h>
#include <llvm/IR/LegacyPassManager.h>
#include <llvm/Support/SourceMgr.h>
#include <llvm/Support/raw_ostream.h>

#include <numeric>

namespace {

using namespace compute;

/// An object file made from intermediate code, past all our checks.
llvm::SmallString<0> makeObject(const char* text) {
    llvm::LLVMContext context;
    llvm::SMDiagnostic diagnostic;
    auto module = llvm::parseAssemblyString(text, diagnostic, context);
    const auto target = tests::hostTarget().takeMachine();
    module->setDataLayout(target->createDataLayout());
    llvm::SmallString<0> object;
    llvm::raw_svector_ostream stream(object);
    llvm::legacy::PassManager passes;
    target->addPassesToEmitFile(passes, stream, nullptr, llvm::CodeGenFileType::ObjectFile);
    passes.run(*module);
    return object;
}

TEST(MachineCodeTests, OnlyListedFunctionsCanBeCalled) {
    constexpr std::array<std::string_view, 1> symbols = {"tile"};
    const auto refused = makeObject("declare i32 @system(ptr)\n"
                                    "define void @tile(ptr %a) {\n"
                                    "%r = call i32 @system(ptr %a)\nret void }");
    auto failed = host::MachineCode::link({refused.str(), "test"}, symbols);
    ASSERT_FALSE(failed);
    EXPECT_NE(failed.error().message.find("system"), std::string::npos) << failed.error().message;
}

TEST(MachineCodeTests, RoomOfKernelsIsUsedAgain) {
    const char* body = "store i32 1, ptr %out\nret void";
    const auto addressOf = [](const auto& block) { return block->begin(); };
    host::CodeArena& arena = **host::CodeArena::ofProcess();
    {
        const auto warm = tests::compile(tests::makeOneDimensional(body));
    }
    const auto* free = addressOf(arena.take(host::CodeArena::Kind::Code, 1, 1));
    {
        std::vector<std::shared_ptr<Kernel>> kernels;
        kernels.reserve(5);
        for (int i = 0; i < 5; ++i)
            kernels.push_back(tests::compile(tests::makeOneDimensional(body)));
        std::vector<std::uint32_t> out(1);
        kernels.back()->run(tests::bind(out), {}, {});
        EXPECT_EQ(out[0], 1u);
        EXPECT_GT(addressOf(arena.take(host::CodeArena::Kind::Code, 1, 1)), free);
    }
    EXPECT_EQ(addressOf(arena.take(host::CodeArena::Kind::Code, 1, 1)), free);
}

TEST(MachineCodeTests, LargeCopiesCallTheList) {
    const auto compiled =
        tests::compile(tests::programOf("struct Large { uint words[2048]; };"
                                        "kernel void k(device Large* out) { out[0] = out[1]; }"));
    ASSERT_TRUE(compiled);
    std::vector<std::uint32_t> out(4096);
    std::iota(out.begin(), out.end(), 0u);
    compiled->run(tests::bind(out), {}, {});
    EXPECT_EQ(out[0], 2048u);
    EXPECT_EQ(out[2047], 4095u);
}

} // namespace
