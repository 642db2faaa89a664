// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/LowerSimdgroups.h"

#include "compute/kernel/GroupOperations.h"

#include <llvm/IR/InstIterator.h>

#include <functional>
#include <limits>

namespace compute::spirv {
namespace {

using kernel::Combination;
using kernel::GroupOperation;
using Builder = llvm::IRBuilder<>;

/// What a combination begins with.
std::uint32_t neutralBits(Combination combination) {
    switch (combination) {
    case Combination::Add:
    case Combination::UnsignedMax:
    case Combination::Or:
    case Combination::Xor:
        return 0;
    case Combination::Multiply:
        return 1;
    case Combination::SignedMin:
        return 0x7fffffff;
    case Combination::SignedMax:
        return 0x80000000;
    case Combination::UnsignedMin:
    case Combination::And:
        return 0xffffffff;
    case Combination::FloatAdd:
        return 0x80000000; // -0
    case Combination::FloatMultiply:
        return 0x3f800000;
    case Combination::FloatMin:
        return 0x7f800000;
    case Combination::FloatMax:
        return 0xff800000;
    }
    return 0;
}

/// Of 32 bits, which are those of floats for the combinations of these.
llvm::Value* combined(Builder& builder, Combination combination, llvm::Value* a, llvm::Value* b) {
    if (combination < Combination::FloatAdd)
        return kernel::combine(builder, combination, a, b);
    llvm::Type* real = builder.getFloatTy();
    return builder.CreateBitCast(kernel::combine(builder, combination,
                                                 builder.CreateBitCast(a, real),
                                                 builder.CreateBitCast(b, real)),
                                 builder.getInt32Ty());
}

/// Makes the functions that stand for group operations, and the memory that they use.
class Simdgroups {
public:
    explicit Simdgroups(Lowering& lowering) : m_lowering(lowering) {}

    void replace(llvm::CallInst& call) {
        Builder builder(&call);
        const GroupOperation operation = kernel::groupOperation(call);
        const auto argument = [&](unsigned index) { return call.getArgOperand(index); };
        llvm::Value* result = nullptr;
        switch (operation) {
        case GroupOperation::None:
        case GroupOperation::ThreadgroupBarrier:
            return;
        case GroupOperation::SimdgroupBarrier:
            builder.CreateCall(barrier());
            break;
        case GroupOperation::Lane:
            result = builder.CreateAnd(local(builder), kernel::simdgroupThreads - 1);
            break;
        case GroupOperation::Ballot:
            result = builder.CreateCall(
                collective(
                    "ballot", kernel::simdgroupThreads,
                    [](Builder& b, const Step& step) {
                        llvm::Value* bit = b.CreateShl(step.value, step.number);
                        return b.CreateOr(step.sum, bit);
                    },
                    0),
                {builder.CreateZExt(argument(0), builder.getInt32Ty()), builder.getInt32(0)});
            break;
        case GroupOperation::First:
            result =
                builder.CreateCall(collective(
                                       "first", kernel::simdgroupThreads,
                                       [](Builder&, const Step& step) { return step.value; }, 0,
                                       /*isDescending=*/true),
                                   {argument(0), builder.getInt32(0)});
            break;
        case GroupOperation::Shuffle:
        case GroupOperation::Broadcast:
            result = builder.CreateCall(shuffle(), {argument(0), argument(1)});
            break;
        case GroupOperation::Reduce:
            result =
                builder.CreateCall(combination(call, false), {argument(0), builder.getInt32(0)});
            break;
        case GroupOperation::Scan:
            result = builder.CreateCall(
                combination(call, true),
                {argument(0), builder.CreateZExtOrTrunc(argument(3), builder.getInt32Ty())});
            break;
        }
        if (result != nullptr)
            call.replaceAllUsesWith(result);
        call.eraseFromParent();
    }

private:
    struct Step {
        llvm::Value* sum;
        llvm::Value* value;   ///< of the thread at hand
        llvm::Value* number;  ///< its number in the group of `width` threads
        llvm::Value* own;     ///< that of the thread which computes
        llvm::Value* setting; ///< the function's second argument
    };
    using Combine = std::function<llvm::Value*(Builder&, const Step&)>;

    llvm::Function* barrier() {
        llvm::FunctionCallee callee = m_lowering.module.getOrInsertFunction(
            "__sl42_threadgroup_barrier", llvm::Type::getVoidTy(m_lowering.module.getContext()));
        auto* function = llvm::cast<llvm::Function>(callee.getCallee());
        function->setConvergent();
        function->addFnAttr(llvm::Attribute::NoMerge);
        return function;
    }

    llvm::Value* local(Builder& builder) {
        return builder.CreateCall(m_lowering.function(ShaderOperation::LocalIndex));
    }

    void makeMemory(Builder& builder) {
        if (m_hasMemory)
            return;
        m_hasMemory = true;
        m_values = static_cast<unsigned>(m_lowering.variables.size());
        m_present = m_values + 1;
        const Variable variable{.storage = Variable::Storage::Workgroup,
                                .element = builder.getInt32Ty(),
                                .count = kernel::maxGroupThreads,
                                .isSizedByArguments = false,
                                .values = {}};
        m_lowering.variables.push_back(variable);
        m_lowering.variables.push_back(variable);
    }

    llvm::Value* read(Builder& builder, unsigned variable, llvm::Value* index) {
        return builder.CreateCall(m_lowering.function(ShaderFunction{
                                      .operation = ShaderOperation::Read, .variable = variable}),
                                  {index});
    }
    void write(Builder& builder, unsigned variable, llvm::Value* index, llvm::Value* value) {
        builder.CreateCall(m_lowering.function(ShaderFunction{.operation = ShaderOperation::Write,
                                                              .variable = variable}),
                           {index, value});
    }

    /// A function of a value and a setting; null if there is one of that name already.
    llvm::Function* declared(const std::string& name) {
        llvm::Type* word = llvm::Type::getInt32Ty(m_lowering.module.getContext());
        auto* made =
            llvm::Function::Create(llvm::FunctionType::get(word, {word, word}, false),
                                   llvm::GlobalValue::InternalLinkage, name, m_lowering.module);
        made->setConvergent();
        made->setDoesNotThrow();
        made->addFnAttr(llvm::Attribute::NoInline);
        return made;
    }

    llvm::Function* shuffle() {
        const std::string name = "sl42.simd.shuffle";
        if (llvm::Function* known = m_lowering.module.getFunction(name))
            return known;
        llvm::Function* made = declared(name);
        Builder builder(llvm::BasicBlock::Create(made->getContext(), "", made));
        makeMemory(builder);
        llvm::Value* own = local(builder);
        write(builder, m_values, own, made->getArg(0));
        builder.CreateCall(barrier());
        llvm::Value* other =
            builder.CreateOr(builder.CreateAnd(own, ~(kernel::simdgroupThreads - 1)),
                             builder.CreateAnd(made->getArg(1), kernel::simdgroupThreads - 1));
        llvm::Value* value = read(builder, m_values, other);
        builder.CreateCall(barrier());
        builder.CreateRet(value);
        return made;
    }

    llvm::Function* combination(llvm::CallInst& call, bool isScan) {
        const auto which = static_cast<Combination>(kernel::constantArgument(call, 1, 0));
        const auto width =
            static_cast<unsigned>(kernel::constantArgument(call, 2, kernel::simdgroupThreads));
        const std::string name = (isScan ? "scan." : "reduce.") +
                                 std::to_string(static_cast<unsigned>(which)) + "." +
                                 std::to_string(width);
        return collective(
            name, width,
            [which, isScan](Builder& builder, const Step& step) {
                llvm::Value* next = combined(builder, which, step.sum, step.value);
                if (!isScan)
                    return next;
                // Exclusive: those before; inclusive: the own value, too.
                llvm::Value* isBefore =
                    builder.CreateICmpULT(builder.CreateAdd(step.number, step.setting),
                                          builder.CreateAdd(step.own, builder.getInt32(1)));
                return builder.CreateSelect(isBefore, next, step.sum);
            },
            neutralBits(which));
    }

    /// A function that goes through the threads which take part.
    llvm::Function* collective(const std::string& operation, unsigned width, const Combine& combine,
                               std::uint32_t initial, bool isDescending = false) {
        const std::string name = "sl42.simd." + operation;
        if (llvm::Function* known = m_lowering.module.getFunction(name))
            return known;
        llvm::Function* made = declared(name);
        llvm::LLVMContext& context = made->getContext();
        auto* entry = llvm::BasicBlock::Create(context, "", made);
        auto* loop = llvm::BasicBlock::Create(context, "threads", made);
        auto* end = llvm::BasicBlock::Create(context, "end", made);
        Builder builder(entry);
        makeMemory(builder);
        llvm::Value* own = local(builder);
        write(builder, m_values, own, made->getArg(0));
        write(builder, m_present, own, builder.getInt32(1));
        builder.CreateCall(barrier());
        llvm::Value* first = builder.CreateAnd(own, ~(width - 1));
        builder.CreateBr(loop);

        builder.SetInsertPoint(loop);
        llvm::PHINode* count = builder.CreatePHI(builder.getInt32Ty(), 2);
        llvm::PHINode* sum = builder.CreatePHI(builder.getInt32Ty(), 2);
        llvm::Value* number =
            isDescending ? builder.CreateSub(builder.getInt32(width - 1), count) : count;
        llvm::Value* thread = builder.CreateAdd(first, number);
        llvm::Value* next = combine(builder, {.sum = sum,
                                              .value = read(builder, m_values, thread),
                                              .number = number,
                                              .own = builder.CreateAnd(own, width - 1),
                                              .setting = made->getArg(1)});
        llvm::Value* isPresent = builder.CreateIsNotNull(read(builder, m_present, thread));
        next = builder.CreateSelect(isPresent, next, sum);
        llvm::Value* done = builder.CreateAdd(count, builder.getInt32(1));
        builder.CreateCondBr(builder.CreateICmpULT(done, builder.getInt32(width)), loop, end);
        count->addIncoming(builder.getInt32(0), entry);
        count->addIncoming(done, loop);
        sum->addIncoming(builder.getInt32(initial), entry);
        sum->addIncoming(next, loop);

        builder.SetInsertPoint(end);
        builder.CreateCall(barrier());
        write(builder, m_present, own, builder.getInt32(0));
        builder.CreateRet(next);
        return made;
    }

    Lowering& m_lowering;
    bool m_hasMemory = false;
    unsigned m_values = 0;
    unsigned m_present = 0;
};

} // namespace

platform::Result<void> lowerSimdgroups(Lowering& lowering) {
    llvm::SmallVector<llvm::CallInst*> calls;
    for (llvm::Function& function : lowering.module)
        for (llvm::Instruction& instruction : llvm::instructions(function))
            if (kernel::groupOperation(instruction) != GroupOperation::None)
                calls.push_back(llvm::cast<llvm::CallInst>(&instruction));
    Simdgroups groups(lowering);
    for (llvm::CallInst* call : calls)
        groups.replace(*call);
    return {};
}

} // namespace compute::spirv
