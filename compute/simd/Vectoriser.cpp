// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/Vectoriser.h"

#include "compute/kernel/Calls.h"
#include "compute/kernel/GroupOperations.h"
#include "compute/kernel/KernelSignature.h"
#include "compute/simd/FunctionPlan.h"
#include "compute/simd/emit/WidenArithmetic.h"

#include <llvm/IR/InstIterator.h>
#include <llvm/Transforms/Utils/LCSSA.h>
#include <llvm/Transforms/Utils/LoopSimplify.h>
#include <llvm/Transforms/Utils/PromoteMemToReg.h>

namespace compute::simd {
namespace {

/// The limit for all lanes together. A scalar kernel has the same limit for its one thread, and the
/// stacks are sized for it.
constexpr std::uint64_t maxPrivateBytes = 1u << 20;
/// Regions may be nested this deeply: WidenControl recurses once for each level.
constexpr unsigned maxDepth = 2000;

const char* obstacle(const llvm::Instruction& instruction) {
    if (llvm::isa<llvm::CallBase>(instruction) || !instruction.mayReadOrWriteMemory())
        return arithmeticObstacle(instruction);
    if (llvm::isa<llvm::LoadInst, llvm::StoreInst, llvm::AtomicRMWInst, llvm::AtomicCmpXchgInst>(
            instruction))
        return arithmeticObstacle(instruction);
    return "an instruction with side effects";
}

platform::Result<void> checkInstructions(llvm::Function& function) {
    for (const llvm::Instruction& instruction : llvm::instructions(function)) {
        if (instruction.isTerminator() &&
            !llvm::isa<llvm::BranchInst, llvm::ReturnInst>(instruction))
            return platform::Error{"it has a terminator that is neither a branch nor a return"};
        if (const char* reason = obstacle(instruction))
            return platform::Error{std::string("it has ") + reason};
    }
    return {};
}

using Plans = std::vector<std::unique_ptr<const FunctionPlan>>;

/// A parameter is uniform when it is so at every call in the functions of `plans`; nothing is known
/// of the others.
ParameterStrides parametersOf(const llvm::Function& function, const Plans& plans) {
    ParameterStrides strides(function.arg_size(), 0);
    for (const auto& plan : plans)
        for (const llvm::Instruction& instruction : llvm::instructions(plan->function())) {
            const auto* call = llvm::dyn_cast<llvm::CallInst>(&instruction);
            if (call == nullptr || call->getCalledFunction() != &function)
                continue;
            for (unsigned i = 0; i < strides.size(); ++i)
                if (plan->stride(call->getArgOperand(i)) != 0)
                    strides[i] = std::nullopt;
        }
    return strides;
}

/// Ends the wide function: it returns the vector of what `function` returns at its only exit.
void returnResult(LaneBuilder& builder, WideValues& values, llvm::Function& function,
                  llvm::Function& wide) {
    llvm::Type* type = wide.getReturnType();
    const auto exit = llvm::find_if(function, [](const llvm::BasicBlock& block) {
        return llvm::isa<llvm::ReturnInst>(block.getTerminator());
    });
    if (exit == function.end() || type->isVoidTy()) {
        type->isVoidTy() ? builder.CreateRetVoid()
                         : builder.CreateRet(llvm::PoisonValue::get(type));
        return;
    }
    llvm::Value* result =
        values.wide(llvm::cast<llvm::ReturnInst>(exit->getTerminator())->getReturnValue());
    auto* made = llvm::dyn_cast<llvm::Instruction>(result);
    if (made == nullptr) {
        builder.CreateRet(result);
        return;
    }
    // The block that made the result need not dominate the place where the builder stands, so the
    // result passes through a variable, which becomes phis again at once.
    llvm::AllocaInst* variable = builder.variable(type, 1, llvm::Align(64));
    llvm::ReturnInst* leave = builder.CreateRet(builder.CreateLoad(type, variable));
    builder.SetInsertPoint(made->getParent(),
                           made->getInsertionPointAfterDef().value_or(made->getParent()->end()));
    builder.CreateStore(result, variable);
    builder.SetInsertPoint(leave);
    llvm::DominatorTree dominators(wide);
    llvm::PromoteMemToReg({variable}, dominators);
}

void fillWide(const FunctionPlan& plan, llvm::Function& wide, const WideCalls& calls,
              unsigned lanes, unsigned processorLanes) {
    llvm::LLVMContext& context = wide.getContext();
    auto* entry = llvm::BasicBlock::Create(context, "entry", &wide);
    auto* body = llvm::BasicBlock::Create(context, "body", &wide);
    LaneBuilder builder(*entry, lanes, processorLanes);
    WideValues values(builder, plan.strides(), *entry);
    builder.SetInsertPoint(entry);
    builder.CreateBr(body);
    builder.SetInsertPoint(body);
    for (const llvm::Argument& parameter : plan.function().args()) {
        llvm::Argument* passed = wide.getArg(parameter.getArgNo() + 1);
        if (plan.parameters()[parameter.getArgNo()] == 0)
            values.setScalar(&parameter, passed);
        else
            values.setWide(&parameter, passed);
    }
    plan.layOut(builder, values, calls, *entry, wide.getArg(0));
    returnResult(builder, values, plan.function(), wide);
}

/// Instructions of a kernel that is compiled quickly even with two vectors in flight, which take
/// half as long again to compile.
constexpr unsigned quickToCompile = 1000;

/// Whether the live values of several vectors fit into registers, and whether there is enough
/// arithmetic to hide the latency of one vector behind the others. The thresholds were measured on
/// some forty kernels: those beyond them, which mostly wait for memory, became slower.
bool gainsFromSeveral(const RegisterPressure& pressure) {
    constexpr unsigned registers = 32;
    constexpr unsigned littleArithmetic = 3;
    constexpr unsigned fewScattered = 3;
    constexpr unsigned arithmeticToHideOne = 18;
    return pressure.liveWords <= registers && pressure.arithmetic > littleArithmetic &&
           4 * pressure.wide <= pressure.arithmetic &&
           (pressure.scattered <= fewScattered ||
            arithmeticToHideOne * pressure.scattered <= pressure.arithmetic);
}

class KernelVectoriser final : public Vectoriser {
public:
    KernelVectoriser(llvm::Function& kernel, unsigned lanes) : m_processorLanes(lanes) {
        for (llvm::Function* function : kernel::callersFirst(&kernel))
            m_plans.push_back(std::make_unique<FunctionPlan>(
                *function, m_plans.empty() ? kernelParameters() : parametersOf(*function, m_plans),
                lanes));
    }

    platform::Result<void> chooseLanes(unsigned lanes, target::VectorsInFlight vectors) {
        for (const auto& plan : m_plans)
            if (plan->depth() > maxDepth)
                return platform::Error{"its control flow is nested too deeply"};
        if (privateBytes(lanes) > maxPrivateBytes)
            return platform::Error{"its private arrays are too large"};
        // A SIMD-group's threads are the lanes of one vector, whatever registers that takes.
        if (m_plans.front()->function().hasFnAttribute(kernel::simdgroupKernelAttribute)) {
            m_lanes = kernel::simdgroupThreads;
            if (privateBytes(m_lanes) > maxPrivateBytes)
                return platform::Error{"its private arrays are too large"};
            return {};
        }
        const bool takesMost = vectors.most > 1 &&
                               privateBytes(vectors.most * lanes) <= maxPrivateBytes &&
                               (vectors.fewest > 1 || gainsFromSeveralVectors());
        m_lanes = takesMost ? vectors.most * lanes : lanes;
        return {};
    }

    unsigned lanes() const override { return m_lanes; }

    llvm::BasicBlock& widen(const Frame& frame) override {
        WideCalls calls;
        std::vector<llvm::Function*> wide = {nullptr};
        for (std::size_t i = 1; i < m_plans.size(); ++i)
            wide.push_back(
                &calls.declare(m_plans[i]->function(), m_plans[i]->parameters(), m_lanes));
        for (std::size_t i = 1; i < m_plans.size(); ++i)
            fillWide(*m_plans[i], *wide[i], calls, m_lanes, m_processorLanes);
        return widenKernel(frame, calls);
    }

private:
    std::uint64_t privateBytes(unsigned lanes) const {
        std::uint64_t bytes = 0;
        for (const auto& plan : m_plans)
            bytes += plan->privateBytes(lanes);
        return bytes;
    }

    bool gainsFromSeveralVectors() const {
        unsigned instructions = 0;
        for (const auto& plan : m_plans)
            instructions += plan->function().getInstructionCount();
        return instructions <= quickToCompile && llvm::all_of(m_plans, [](const auto& plan) {
                   return gainsFromSeveral(plan->pressure());
               });
    }

    llvm::BasicBlock& widenKernel(const Frame& frame, const WideCalls& calls) {
        const FunctionPlan& plan = *m_plans.front();
        LaneBuilder builder(frame.entry, m_lanes, m_processorLanes);
        WideValues values(builder, plan.strides(), frame.entry);
        builder.SetInsertPoint(&frame.body);
        llvm::Argument* x = plan.function().getArg(kernel::XArgument);
        llvm::Value* positions = wideOfAffine(builder, values, &frame.x, 1);
        values.setScalar(x, &frame.x);
        values.setWide(x, positions);
        llvm::Value* everyThread = builder.CreateICmpULT(positions, values.wide(&frame.end));
        plan.layOut(builder, values, calls, frame.entry, everyThread);
        return *builder.GetInsertBlock();
    }

    unsigned m_processorLanes;
    unsigned m_lanes = 0;
    Plans m_plans; ///< of the kernel and of what it calls, callers first
};

} // namespace

bool isTemporary(const llvm::AllocaInst& variable) {
    return LaneBuilder::isTemporary(variable);
}

platform::Result<std::unique_ptr<Vectoriser>> Vectoriser::analyse(llvm::Function& kernel,
                                                                  kernel::Analyses& analyses,
                                                                  unsigned lanes,
                                                                  target::VectorsInFlight vectors) {
    llvm::FunctionPassManager passes;
    passes.addPass(llvm::LoopSimplifyPass());
    passes.addPass(llvm::LCSSAPass());
    const std::vector<llvm::Function*> functions = kernel::callersFirst(&kernel);
    for (llvm::Function* function : functions)
        SL42_TRY_VOID(checkInstructions(*function));
    for (llvm::Function* function : functions)
        analyses.run(passes, *function);
    auto made = std::make_unique<KernelVectoriser>(kernel, lanes);
    for (llvm::Function* function : functions)
        analyses.forget(*function);
    SL42_TRY_VOID(made->chooseLanes(lanes, vectors));
    return std::unique_ptr<Vectoriser>(std::move(made));
}

} // namespace compute::simd
