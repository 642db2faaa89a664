// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One function of a lowered kernel, instruction by instruction. Its control flow has the shape that
// Structurise.h promises; the merge instructions that say so are found again here.
#pragma once

#include "compute/spirv/emit/ModuleEmitter.h"

#include <llvm/Analysis/LoopInfo.h>
#include <llvm/IR/Dominators.h>
#include <llvm/IR/Instructions.h>
#include <llvm/IR/IntrinsicInst.h>

#include <optional>

namespace compute::spirv {

class FunctionEmitter {
public:
    FunctionEmitter(ModuleEmitter& module, const llvm::Function& function);

    platform::Result<void> run();

private:
    using Operands = llvm::SmallVector<std::uint32_t, 8>;

    Id idOf(const llvm::Value& value);
    Id typeOf(const llvm::Value& value) { return m_module.typeOf(value.getType()); }
    /// An instruction with a result of its own.
    Id add(spv::Op operation, Id type, llvm::ArrayRef<std::uint32_t> operands);
    /// The instruction that gives the value.
    void define(const llvm::Value& value, spv::Op operation,
                llvm::ArrayRef<std::uint32_t> operands);
    void addWords(spv::Op operation, llvm::ArrayRef<std::uint32_t> operands);

    void addBegin();
    void addVariables();
    void addBlock(const llvm::BasicBlock& block);
    void addMerge(const llvm::BasicBlock& block);
    /// False if there is no counterpart.
    bool addInstruction(const llvm::Instruction& instruction);
    void addVector(const llvm::InsertElementInst& last);
    bool addBinary(const llvm::BinaryOperator& operation);
    void addContracted(const llvm::BinaryOperator& sum, const llvm::BinaryOperator& product);
    bool addComparison(const llvm::CmpInst& compare);
    bool addCast(const llvm::CastInst& cast);
    bool addCall(const llvm::CallInst& call);
    bool addIntrinsic(const llvm::IntrinsicInst& call);
    bool addShaderFunction(const llvm::CallInst& call, const ShaderFunction& what);
    void addAtomics64(const llvm::Type& type);
    bool addAtomic(const llvm::AtomicRMWInst& atomic);
    bool addUpdate(const llvm::Value& result, llvm::AtomicRMWInst::BinOp operation, Id pointer,
                   Id value, Id scope, llvm::AtomicOrdering ordering);
    void addLoad(const llvm::LoadInst& load);
    void addStore(const llvm::StoreInst& store);
    void addBarrier(spv::Scope scope);
    bool addSubgroupOperation(const llvm::CallInst& call, const ShaderFunction& what);
    void defineSubgroupOperation(const llvm::CallInst& call, spv::Capability capability,
                                 spv::Op operation, std::optional<spv::GroupOperation> kind = {});
    void addTerminator(const llvm::Instruction& terminator);
    void addPhi(const llvm::PHINode& phi);

    /// GLSL.std.450.
    Id mathematics(Id type, GLSLstd450 function, llvm::ArrayRef<Id> operands);
    void defineMathematics(const llvm::Value& value, GLSLstd450 function,
                           llvm::ArrayRef<Id> operands);
    Id pointerTo(const llvm::Value& address, llvm::Type* type);
    Id elementPointer(unsigned variable, Id index);
    /// To a number in a buffer that has a descriptor.
    Id viewPointer(unsigned view, const llvm::Value& index, const llvm::Value* component);
    void defineMember(const llvm::Value& value, unsigned member);
    void defineBuiltIn(const llvm::Value& value, spv::BuiltIn which, const llvm::Value* axis);
    Id semantics(llvm::AtomicOrdering ordering);

    ModuleEmitter& m_module;
    Assembler& m_code;
    const llvm::Function& m_function;
    llvm::DominatorTree m_dominators;
    llvm::LoopInfo m_loops;
    llvm::DenseMap<const llvm::Value*, Id> m_ids;
};

} // namespace compute::spirv
