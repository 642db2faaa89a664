// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The pipeline as a whole: what it refuses, and what it leaves behind.
#include "compute/kernel/Canonical.h"

#include "compute/kernel/HostTarget.h"
#include "tests/compute/kernel/ProgramText.h"

#include <gtest/gtest.h>
#include <llvm/IR/Verifier.h>
#include <llvm/Support/raw_ostream.h>

namespace {

using namespace compute::kernel;

class CanonicalTests : public testing::Test {
protected:
    static void SetUpTestSuite() { initialiseHostTarget(); }
};

TEST_F(CanonicalTests, OneFunctionIsLeft) {
    const Program program = tests::makeOneDimensional(R"(
        %value = call spir_func float @twice(float 2.0)
        store float %value, ptr %out
        ret void)",
                                                      R"(
        define spir_func float @twice(float %v) { %r = fadd float %v, %v ret float %r }
        define spir_func void @unused() { call spir_func void @missing() ret void }
        declare spir_func void @missing())");
    auto kernel = canonicalise(program, "k", {});
    ASSERT_TRUE(kernel) << kernel.error().message;
    EXPECT_FALSE(llvm::verifyModule(*kernel->module, &llvm::errs()));
    unsigned defined = 0;
    for (const llvm::Function& function : *kernel->module)
        defined += !function.isDeclaration();
    EXPECT_EQ(defined, 1u);
    EXPECT_NE(kernel->module->getFunction(kernel->symbol), nullptr);
}

} // namespace
