// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What FunctionEmitter makes of what the threads of a subgroup do together.
#include "compute/spirv/emit/FunctionEmitter.h"

namespace compute::spirv {
namespace {

using kernel::Combination;
using spv::Capability;
using spv::Op;

/// Of integers.
std::optional<Op> opcodeOf(Combination combination) {
    switch (combination) {
    case Combination::Add:
        return Op::OpGroupNonUniformIAdd;
    case Combination::Multiply:
        return Op::OpGroupNonUniformIMul;
    case Combination::SignedMin:
        return Op::OpGroupNonUniformSMin;
    case Combination::SignedMax:
        return Op::OpGroupNonUniformSMax;
    case Combination::UnsignedMin:
        return Op::OpGroupNonUniformUMin;
    case Combination::UnsignedMax:
        return Op::OpGroupNonUniformUMax;
    case Combination::And:
        return Op::OpGroupNonUniformBitwiseAnd;
    case Combination::Or:
        return Op::OpGroupNonUniformBitwiseOr;
    case Combination::Xor:
        return Op::OpGroupNonUniformBitwiseXor;
    case Combination::FloatAdd:
    case Combination::FloatMultiply:
    case Combination::FloatMin:
    case Combination::FloatMax:
        break;
    }
    return std::nullopt;
}

} // namespace

void FunctionEmitter::defineSubgroupOperation(const llvm::CallInst& call, Capability capability,
                                              Op operation,
                                              std::optional<spv::GroupOperation> kind) {
    m_code.capability(capability);
    Operands operands{m_code.word(numberOf(spv::Scope::Subgroup))};
    if (kind)
        operands.push_back(numberOf(*kind));
    for (const llvm::Use& argument : call.args())
        operands.push_back(idOf(*argument));
    if (operation != Op::OpGroupNonUniformBallot)
        return define(call, operation, operands);
    const Id four = m_code.type(Op::OpTypeVector, {m_code.integer(32), 4});
    define(call, Op::OpCompositeExtract, {add(operation, four, operands), 0});
}

bool FunctionEmitter::addSubgroupOperation(const llvm::CallInst& call, const ShaderFunction& what) {
    m_code.capability(Capability::GroupNonUniform);
    m_module.requirements().subgroupThreads = m_module.lowering().features.subgroupThreads;
    const auto combine = [&](spv::GroupOperation kind) {
        const auto opcode = opcodeOf(what.combination);
        if (opcode)
            defineSubgroupOperation(call, Capability::GroupNonUniformArithmetic, *opcode, kind);
        return opcode.has_value();
    };
    switch (what.operation) {
    case ShaderOperation::HasSubgroups:
        define(call, Op::OpCopyObject, {m_module.hasSubgroups()});
        return true;
    case ShaderOperation::SubgroupNumber:
        return defineBuiltIn(call, spv::BuiltIn::SubgroupId, nullptr), true;
    case ShaderOperation::SubgroupLane:
        return defineBuiltIn(call, spv::BuiltIn::SubgroupLocalInvocationId, nullptr), true;
    case ShaderOperation::SubgroupBarrier:
        return addBarrier(spv::Scope::Subgroup), true;
    case ShaderOperation::SubgroupBallot:
        defineSubgroupOperation(call, Capability::GroupNonUniformBallot,
                                Op::OpGroupNonUniformBallot);
        return true;
    case ShaderOperation::SubgroupFirst:
        defineSubgroupOperation(call, Capability::GroupNonUniformBallot,
                                Op::OpGroupNonUniformBroadcastFirst);
        return true;
    case ShaderOperation::SubgroupShuffle:
        defineSubgroupOperation(call, Capability::GroupNonUniformShuffle,
                                Op::OpGroupNonUniformShuffle);
        return true;
    case ShaderOperation::SubgroupXor:
        defineSubgroupOperation(call, Capability::GroupNonUniformShuffle,
                                Op::OpGroupNonUniformShuffleXor);
        return true;
    case ShaderOperation::SubgroupReduce:
        return combine(spv::GroupOperation::Reduce);
    case ShaderOperation::SubgroupScan:
        return combine(spv::GroupOperation::InclusiveScan);
    case ShaderOperation::SubgroupBefore:
        return combine(spv::GroupOperation::ExclusiveScan);
    default:
        return false;
    }
}

} // namespace compute::spirv
