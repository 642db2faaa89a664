// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Changes to the scalar kernel before it is widened: which they make, and which they must not.
#include "compute/simd/transform/UniformConditions.h"
#include "compute/simd/transform/UniformDivisors.h"
#include "tests/compute/simd/KernelText.h"

#include <gtest/gtest.h>
#include <llvm/IR/Verifier.h>

namespace {

using namespace compute::simd;
using tests::Analysed;
using tests::KernelText;

TEST(TransformTests, UniformTermsOfAConditionAreTestedFirst) {
    const std::string skipIf = "br i1 %c, label %end, label %then";
    const std::string skipUnless = "br i1 %c, label %then, label %end";
    const std::pair<std::string, bool> cases[] = {
        {"%c = or i1 %column, %row\n" + skipIf, true},
        {"%c = and i1 %row, %column\n" + skipUnless, true},
        {"%c = select i1 %row, i1 %column, i1 false\n" + skipUnless, true},
        {"%c = and i1 %column, %row\n" + skipIf, false}, // neither decides alone
        {"%d = icmp eq i32 %x, 7\n%c = or i1 %column, %d\n" + skipIf, false},
        {"%d = icmp eq i32 %y, 7\n%c = or i1 %row, %d\n" + skipIf, false}};
    for (const auto& [condition, isSplit] : cases) {
        KernelText kernel(R"(
        entry:
            %out = load ptr, ptr %bindings
            %square = mul i32 %x, %x
            %column = icmp ugt i32 %square, 99
            %row = icmp ugt i32 %y, 3
        )" + condition + R"(
        then:
            store i32 %square, ptr %out
            br label %end
        end:
            ret void)");
        const Analysed found(kernel);
        EXPECT_EQ(splitUniformConditions(kernel.function(), *found.uniformity, found.dominators,
                                         found.loops),
                  isSplit)
            << condition;
        EXPECT_FALSE(llvm::verifyModule(kernel.module(), &llvm::errs())) << condition;
        auto* first = llvm::cast<llvm::BranchInst>(kernel.block("entry")->getTerminator());
        EXPECT_EQ(first->getCondition() == kernel.value("row"), isSplit) << condition;
        auto* square = llvm::cast<llvm::Instruction>(kernel.value("square"));
        EXPECT_EQ(square->getParent() != kernel.block("entry"), isSplit) << condition;
    }
}

TEST(TransformTests, UniformDivisorsBecomeReciprocals) {
    KernelText kernel(R"(
        %size = load float, ptr %grid
        %f = uitofp i32 %x to float
        %allowed = fdiv arcp float %f, %size
        %exact = fdiv float %f, %size
        %varying = fdiv arcp float %size, %f
        %sum = fadd float %allowed, 1.0
        ret void)");
    const Analysed found(kernel);
    EXPECT_TRUE(divideByReciprocals(kernel.function(), *found.uniformity));
    for (const char* kept : {"exact", "varying"})
        EXPECT_EQ(llvm::cast<llvm::Instruction>(kernel.value(kept))->getOpcode(),
                  llvm::Instruction::FDiv)
            << kept;
    const auto* sum = llvm::cast<llvm::Instruction>(kernel.value("sum"));
    EXPECT_TRUE(llvm::isa<llvm::SelectInst>(sum->getOperand(0))) << "corrected unless infinite";
    EXPECT_EQ(kernel.text().find("fmul arcp"), std::string::npos) << "not to be rearranged";
}

} // namespace
