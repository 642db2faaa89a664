// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/SimdgroupMemory.h"

namespace compute::spirv {

using kernel::GroupOperation;
using Builder = llvm::IRBuilder<>;

llvm::Function* SimdgroupMemory::barrier() {
    llvm::FunctionCallee callee = m_lowering.module.getOrInsertFunction(
        "__sl42_threadgroup_barrier", llvm::Type::getVoidTy(m_lowering.module.getContext()));
    auto* function = llvm::cast<llvm::Function>(callee.getCallee());
    function->setConvergent();
    function->addFnAttr(llvm::Attribute::NoMerge);
    return function;
}

void SimdgroupMemory::makeMemory(Builder& builder) {
    if (m_hasMemory)
        return;
    m_hasMemory = true;
    m_values = static_cast<unsigned>(m_lowering.variables.size());
    m_present = m_values + 1;
    const Variable variable{.storage = Variable::Storage::Workgroup,
                            .element = builder.getInt32Ty(),
                            .isSizedByThreads = true,
                            .values = {}};
    m_lowering.variables.push_back(variable);
    m_lowering.variables.push_back(variable);
}

llvm::Value* SimdgroupMemory::read(Builder& builder, unsigned variable, llvm::Value* index) {
    return builder.CreateCall(m_lowering.function(ShaderFunction{.operation = ShaderOperation::Read,
                                                                 .variable = variable}),
                              {index});
}

void SimdgroupMemory::write(Builder& builder, unsigned variable, llvm::Value* index,
                            llvm::Value* value) {
    builder.CreateCall(m_lowering.function(ShaderFunction{.operation = ShaderOperation::Write,
                                                          .variable = variable}),
                       {index, value});
}

llvm::Value* SimdgroupMemory::add(Builder& builder, const Collective& collective,
                                  llvm::Value* value, llvm::Value* lane) {
    if (collective.operation == GroupOperation::SimdgroupBarrier) {
        builder.CreateCall(barrier());
        return nullptr;
    }
    makeMemory(builder);
    llvm::Value* own = builder.CreateCall(m_lowering.function(ShaderOperation::LocalIndex));
    write(builder, m_values, own, value);
    write(builder, m_present, own, builder.getInt32(1));
    builder.CreateCall(barrier());
    llvm::Value* result = exchanged(builder, collective, own, lane);
    builder.CreateCall(barrier());
    write(builder, m_present, own, builder.getInt32(0));
    return result;
}

llvm::Value* SimdgroupMemory::exchanged(Builder& builder, const Collective& collective,
                                        llvm::Value* own, llvm::Value* lane) {
    const unsigned lanes = collective.lanes;
    llvm::Value* first = builder.CreateAnd(own, ~(lanes - 1));
    const auto valueOf = [&](llvm::Value* number) {
        return read(builder, m_values, builder.CreateOr(first, number));
    };
    const auto isPresent = [&](llvm::Value* number) {
        return builder.CreateIsNotNull(read(builder, m_present, builder.CreateOr(first, number)));
    };
    State state{builder.getInt32(0)};
    switch (collective.operation) {
    case GroupOperation::Shuffle:
    case GroupOperation::Broadcast:
        return valueOf(builder.CreateAnd(lane, lanes - 1));
    case GroupOperation::Ballot:
        addLoop(builder, lanes, state, [&](llvm::Value* number, State& bits) {
            llvm::Value* bit = builder.CreateShl(valueOf(number), number);
            bits[0] =
                builder.CreateSelect(isPresent(number), builder.CreateOr(bits[0], bit), bits[0]);
        });
        return state[0];
    case GroupOperation::First:
        addLoop(builder, lanes, state, [&](llvm::Value* turn, State& values) {
            llvm::Value* number = builder.CreateSub(builder.getInt32(lanes - 1), turn);
            values[0] = builder.CreateSelect(isPresent(number), valueOf(number), values[0]);
        });
        return state[0];
    default:
        return combineAll(builder, collective, builder.CreateAnd(own, lanes - 1),
                          [&](Builder&, llvm::Value* number) {
                              return Contribution{valueOf(number), isPresent(number)};
                          });
    }
}

} // namespace compute::spirv
