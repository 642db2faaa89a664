// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/emit/FunctionEmitter.h"

#include "compute/kernel/GroupOperations.h"
#include "compute/spirv/emit/Contraction.h"
#include "compute/spirv/emit/Opcodes.h"

#include <llvm/ADT/PostOrderIterator.h>

namespace compute::spirv {
namespace {

using spv::Op;

/// Values that are others under another name, since pointers are numbers here.
const llvm::Value* behind(const llvm::Value& value, const Features& features) {
    if (llvm::isa<llvm::FreezeInst, llvm::IntToPtrInst>(value))
        return llvm::cast<llvm::Instruction>(value).getOperand(0);
    if (const auto* cast = llvm::dyn_cast<llvm::BitCastInst>(&value)) {
        const bool isHalf = cast->getSrcTy()->isHalfTy() || cast->getDestTy()->isHalfTy();
        return cast->getSrcTy() == cast->getDestTy() || (isHalf && !features.float16)
                   ? cast->getOperand(0)
                   : nullptr;
    }
    return nullptr;
}

unsigned constantOf(const llvm::Value& value) {
    return static_cast<unsigned>(llvm::cast<llvm::ConstantInt>(value).getZExtValue());
}

constexpr std::uint32_t deviceScope = numberOf(spv::Scope::Device);

} // namespace

FunctionEmitter::FunctionEmitter(ModuleEmitter& module, const llvm::Function& function)
    : m_module(module),
      m_code(module.code()),
      m_function(function),
      m_dominators(const_cast<llvm::Function&>(function)),
      m_loops(m_dominators) {}

platform::Result<void> FunctionEmitter::run() {
    addBegin();
    const llvm::ReversePostOrderTraversal order(&m_function);
    bool isFirst = true;
    for (const llvm::BasicBlock* block : order) {
        addWords(Op::OpLabel, {idOf(*block)});
        if (std::exchange(isFirst, false))
            addVariables();
        for (const llvm::Instruction& instruction : *block) {
            if (instruction.isTerminator()) {
                addMerge(*block);
                addTerminator(instruction);
            } else if (!addInstruction(instruction)) {
                return platform::Error{
                    "kernel '" + std::string(m_module.lowering().name) +
                    "' needs what graphics devices do not have: " + nameOf(instruction)};
            }
        }
    }
    addWords(Op::OpFunctionEnd, {});
    return {};
}

Id FunctionEmitter::idOf(const llvm::Value& value) {
    if (const llvm::Value* other = behind(value, m_module.lowering().features))
        return idOf(*other);
    if (const auto* constant = llvm::dyn_cast<llvm::Constant>(&value))
        return m_module.constant(*constant);
    Id& id = m_ids[&value];
    if (id == 0)
        id = m_code.newId();
    return id;
}

void FunctionEmitter::addWords(spv::Op operation, llvm::ArrayRef<std::uint32_t> operands) {
    m_code.add(Assembler::Functions, operation, std::span(operands.data(), operands.size()));
}

Id FunctionEmitter::add(spv::Op operation, Id type, llvm::ArrayRef<std::uint32_t> operands) {
    const Id id = m_code.newId();
    Operands all{type, id};
    all.append(operands.begin(), operands.end());
    addWords(operation, all);
    return id;
}

void FunctionEmitter::define(const llvm::Value& value, spv::Op operation,
                             llvm::ArrayRef<std::uint32_t> operands) {
    Operands all{typeOf(value), idOf(value)};
    all.append(operands.begin(), operands.end());
    addWords(operation, all);
}

// The frame

void FunctionEmitter::addBegin() {
    const Id result = m_module.typeOf(m_function.getReturnType());
    std::vector<std::uint32_t> signature{result};
    for (const llvm::Argument& argument : m_function.args())
        signature.push_back(typeOf(argument));
    const Id type = m_code.functionType(signature);
    const Id id = m_module.functionId(m_function);
    m_code.name(id, {m_function.getName().data(), m_function.getName().size()});
    addWords(Op::OpFunction, {result, id, 0, type});
    for (const llvm::Argument& argument : m_function.args())
        addWords(Op::OpFunctionParameter, {typeOf(argument), idOf(argument)});
}

void FunctionEmitter::addVariables() {
    llvm::SmallSetVector<unsigned, 8> used;
    for (const llvm::BasicBlock& block : m_function)
        for (const llvm::Instruction& instruction : block)
            switch (const ShaderFunction what = m_module.lowering().operationOf(instruction);
                    what.operation) {
            case ShaderOperation::Read:
            case ShaderOperation::Write:
                used.insert(what.variable);
                break;
            default:
                break;
            }
    for (const unsigned number : used)
        if (m_module.lowering().variables[number].storage == Variable::Storage::Function)
            addWords(Op::OpVariable,
                     {m_code.pointer(spv::StorageClass::Function, m_module.arrayType(number)),
                      m_module.variable(number), numberOf(spv::StorageClass::Function)});
}

void FunctionEmitter::addMerge(const llvm::BasicBlock& block) {
    const auto* branch = llvm::dyn_cast<llvm::BranchInst>(block.getTerminator());
    if (branch == nullptr)
        return;
    const llvm::Loop* loop = m_loops.getLoopFor(&block);
    if (loop != nullptr && loop->getHeader() == &block) {
        addWords(Op::OpLoopMerge,
                 {idOf(*loop->getUniqueExitBlock()), idOf(*loop->getLoopLatch()), 0});
    } else if (const llvm::BasicBlock* join = m_module.lowering().joins.lookup(&block)) {
        addWords(Op::OpSelectionMerge, {idOf(*join), 0});
    }
}

void FunctionEmitter::addTerminator(const llvm::Instruction& terminator) {
    if (const auto* branch = llvm::dyn_cast<llvm::BranchInst>(&terminator)) {
        if (branch->isConditional())
            addWords(Op::OpBranchConditional,
                     {idOf(*branch->getCondition()), idOf(*branch->getSuccessor(0)),
                      idOf(*branch->getSuccessor(1))});
        else
            addWords(Op::OpBranch, {idOf(*branch->getSuccessor(0))});
    } else if (const auto* end = llvm::dyn_cast<llvm::ReturnInst>(&terminator)) {
        if (end->getReturnValue() != nullptr)
            addWords(Op::OpReturnValue, {idOf(*end->getReturnValue())});
        else
            addWords(Op::OpReturn, {});
    } else {
        addWords(Op::OpUnreachable, {});
    }
}

void FunctionEmitter::addPhi(const llvm::PHINode& phi) {
    Operands operands;
    for (unsigned i = 0; i < phi.getNumIncomingValues(); ++i) {
        operands.push_back(idOf(*phi.getIncomingValue(i)));
        operands.push_back(idOf(*phi.getIncomingBlock(i)));
    }
    define(phi, Op::OpPhi, operands);
}

// Instructions

bool FunctionEmitter::addInstruction(const llvm::Instruction& instruction) {
    if (behind(instruction, m_module.lowering().features) != nullptr)
        return true;
    if (const auto* phi = llvm::dyn_cast<llvm::PHINode>(&instruction))
        return addPhi(*phi), true;
    if (const auto* operation = llvm::dyn_cast<llvm::BinaryOperator>(&instruction))
        return addBinary(*operation);
    if (const auto* compare = llvm::dyn_cast<llvm::CmpInst>(&instruction))
        return addComparison(*compare);
    if (const auto* cast = llvm::dyn_cast<llvm::CastInst>(&instruction))
        return addCast(*cast);
    if (const auto* call = llvm::dyn_cast<llvm::CallInst>(&instruction))
        return addCall(*call);
    if (const auto* load = llvm::dyn_cast<llvm::LoadInst>(&instruction))
        return addLoad(*load), true;
    if (const auto* store = llvm::dyn_cast<llvm::StoreInst>(&instruction))
        return addStore(*store), true;
    if (const auto* atomic = llvm::dyn_cast<llvm::AtomicRMWInst>(&instruction))
        return addAtomic(*atomic);
    if (const auto* part = llvm::dyn_cast<llvm::ExtractValueInst>(&instruction)) {
        Operands operands{idOf(*part->getAggregateOperand())};
        operands.append(part->idx_begin(), part->idx_end());
        return define(*part, Op::OpCompositeExtract, operands), true;
    }
    if (const auto* whole = llvm::dyn_cast<llvm::InsertValueInst>(&instruction)) {
        Operands operands{idOf(*whole->getInsertedValueOperand()),
                          idOf(*whole->getAggregateOperand())};
        operands.append(whole->idx_begin(), whole->idx_end());
        return define(*whole, Op::OpCompositeInsert, operands), true;
    }
    if (const auto* part = llvm::dyn_cast<llvm::ExtractElementInst>(&instruction))
        return define(*part, Op::OpCompositeExtract,
                      {idOf(*part->getVectorOperand()), constantOf(*part->getIndexOperand())}),
               true;
    if (const auto* whole = llvm::dyn_cast<llvm::InsertElementInst>(&instruction))
        return addVector(*whole), true;
    if (const auto* select = llvm::dyn_cast<llvm::SelectInst>(&instruction))
        return define(*select, Op::OpSelect,
                      {idOf(*select->getCondition()), idOf(*select->getTrueValue()),
                       idOf(*select->getFalseValue())}),
               true;
    if (instruction.getOpcode() == llvm::Instruction::FNeg)
        return define(instruction, Op::OpFNegate, {idOf(*instruction.getOperand(0))}), true;
    if (const auto* fence = llvm::dyn_cast<llvm::FenceInst>(&instruction))
        return addWords(Op::OpMemoryBarrier,
                        {m_code.word(deviceScope), semantics(fence->getOrdering())}),
               true;
    return false;
}

/// Of a chain of insertions that gives all elements, the last one is the vector.
void FunctionEmitter::addVector(const llvm::InsertElementInst& last) {
    if (last.hasOneUse() && llvm::isa<llvm::InsertElementInst>(last.user_back()))
        return;
    Operands elements(llvm::cast<llvm::FixedVectorType>(last.getType())->getNumElements());
    for (const auto* insertion = &last; insertion != nullptr;
         insertion = llvm::dyn_cast<llvm::InsertElementInst>(insertion->getOperand(0)))
        elements[constantOf(*insertion->getOperand(2))] = idOf(*insertion->getOperand(1));
    define(last, Op::OpCompositeConstruct, elements);
}

void FunctionEmitter::addContracted(const llvm::BinaryOperator& sum,
                                    const llvm::BinaryOperator& product) {
    const auto negated = [&](Id value) { return add(Op::OpFNegate, typeOf(sum), {value}); };
    const bool isFirst = sum.getOperand(0) == &product;
    const bool isDifference = sum.getOpcode() == llvm::Instruction::FSub;
    Id factor = idOf(*product.getOperand(0));
    Id other = idOf(*sum.getOperand(isFirst ? 1 : 0));
    if (isDifference && isFirst)
        other = negated(other);
    else if (isDifference)
        factor = negated(factor);
    defineMathematics(sum, GLSLstd450Fma, {factor, idOf(*product.getOperand(1)), other});
}

bool FunctionEmitter::addBinary(const llvm::BinaryOperator& operation) {
    if (isContracted(operation))
        return true;
    if (const llvm::BinaryOperator* product = contractedProduct(operation))
        return addContracted(operation, *product), true;
    const auto opcode = opcodeOf(operation);
    if (!opcode)
        return false;
    define(operation, *opcode, {idOf(*operation.getOperand(0)), idOf(*operation.getOperand(1))});
    // Without it, drivers may reorder and fuse as if the program had allowed that.
    if (llvm::isa<llvm::FPMathOperator>(operation) && !operation.hasAllowContract())
        m_code.decorate(idOf(operation), spv::Decoration::NoContraction);
    return true;
}

bool FunctionEmitter::addComparison(const llvm::CmpInst& compare) {
    const Id first = idOf(*compare.getOperand(0));
    const Id second = idOf(*compare.getOperand(1));
    const auto opcode = opcodeOf(compare);
    if (opcode)
        return define(compare, *opcode, {first, second}), true;
    const auto predicate = compare.getPredicate();
    if (predicate != llvm::CmpInst::FCMP_ORD && predicate != llvm::CmpInst::FCMP_UNO)
        return false;
    const Id truth = m_code.boolean();
    const Id none = add(Op::OpIsNan, truth, {first});
    const Id either = llvm::isa<llvm::Constant>(compare.getOperand(1)) || first == second
                          ? none
                          : add(Op::OpLogicalOr, truth, {none, add(Op::OpIsNan, truth, {second})});
    if (predicate == llvm::CmpInst::FCMP_UNO)
        define(compare, Op::OpCopyObject, {either});
    else
        define(compare, Op::OpLogicalNot, {either});
    return true;
}

bool FunctionEmitter::addCast(const llvm::CastInst& cast) {
    const Id operand = idOf(*cast.getOperand(0));
    const bool isTruth = cast.getSrcTy()->isIntegerTy(1);
    const auto chosen = [&](const llvm::Constant* yes) {
        define(cast, Op::OpSelect,
               {operand, m_module.constant(*yes),
                m_module.constant(*llvm::Constant::getNullValue(cast.getDestTy()))});
        return true;
    };
    const auto converted = [&](Op operation) { return define(cast, operation, {operand}), true; };
    switch (cast.getOpcode()) {
    case llvm::Instruction::ZExt:
        return isTruth ? chosen(llvm::ConstantInt::get(cast.getDestTy(), 1))
                       : converted(Op::OpUConvert);
    case llvm::Instruction::SExt:
        return isTruth ? chosen(llvm::Constant::getAllOnesValue(cast.getDestTy()))
                       : converted(Op::OpSConvert);
    case llvm::Instruction::Trunc: {
        if (!cast.getDestTy()->isIntegerTy(1))
            return converted(Op::OpUConvert);
        const auto* one = llvm::ConstantInt::get(cast.getSrcTy(), 1);
        const Id bit = add(Op::OpBitwiseAnd, m_module.typeOf(cast.getSrcTy()),
                           {operand, m_module.constant(*one)});
        define(cast, Op::OpIEqual, {bit, m_module.constant(*one)});
        return true;
    }
    case llvm::Instruction::UIToFP:
        return isTruth ? chosen(llvm::ConstantFP::get(cast.getDestTy(), 1))
                       : converted(Op::OpConvertUToF);
    case llvm::Instruction::SIToFP:
        return isTruth ? chosen(llvm::ConstantFP::get(cast.getDestTy(), -1))
                       : converted(Op::OpConvertSToF);
    case llvm::Instruction::FPToUI:
        return converted(Op::OpConvertFToU);
    case llvm::Instruction::FPToSI:
        return converted(Op::OpConvertFToS);
    case llvm::Instruction::FPTrunc:
    case llvm::Instruction::FPExt:
        return converted(Op::OpFConvert);
    case llvm::Instruction::BitCast:
        return converted(Op::OpBitcast);
    default:
        return false;
    }
}

// Calls

bool FunctionEmitter::addCall(const llvm::CallInst& call) {
    if (const auto* intrinsic = llvm::dyn_cast<llvm::IntrinsicInst>(&call))
        return addIntrinsic(*intrinsic);
    if (const ShaderFunction what = m_module.lowering().operationOf(call);
        what.operation != ShaderOperation::None)
        return addShaderFunction(call, what);
    if (kernel::groupOperation(call) == kernel::GroupOperation::ThreadgroupBarrier)
        return addBarrier(spv::Scope::Workgroup), true;
    const llvm::Function* callee = call.getCalledFunction();
    if (callee == nullptr || callee->isDeclaration())
        return false;
    Operands operands{m_module.functionId(*callee)};
    for (const llvm::Use& argument : call.args())
        operands.push_back(idOf(*argument));
    define(call, Op::OpFunctionCall, operands);
    return true;
}

void FunctionEmitter::addBarrier(spv::Scope scope) {
    const Id threads = m_code.word(numberOf(scope));
    addWords(Op::OpControlBarrier,
             {threads, threads, semantics(llvm::AtomicOrdering::AcquireRelease)});
}

Id FunctionEmitter::mathematics(Id type, GLSLstd450 function, llvm::ArrayRef<Id> operands) {
    Operands all{m_code.mathematics(), numberOf(function)};
    all.append(operands.begin(), operands.end());
    return add(Op::OpExtInst, type, all);
}

void FunctionEmitter::defineMathematics(const llvm::Value& value, GLSLstd450 function,
                                        llvm::ArrayRef<Id> operands) {
    Operands all{m_code.mathematics(), numberOf(function)};
    all.append(operands.begin(), operands.end());
    define(value, Op::OpExtInst, all);
}

bool FunctionEmitter::addIntrinsic(const llvm::IntrinsicInst& call) {
    Operands operands;
    for (const llvm::Use& argument : call.args())
        operands.push_back(idOf(*argument));
    const auto isWord = [&] { return call.getType()->isIntegerTy(32); };
    if (const auto function = mathematicsOf(call.getIntrinsicID()))
        return defineMathematics(call, *function, operands), true;
    switch (call.getIntrinsicID()) {
    case llvm::Intrinsic::canonicalize:
        return define(call, Op::OpCopyObject, operands), true;
    case llvm::Intrinsic::abs:
        return defineMathematics(call, GLSLstd450SAbs, {operands[0]}), true;
    case llvm::Intrinsic::ctpop:
        return isWord() && (define(call, Op::OpBitCount, operands), true);
    case llvm::Intrinsic::bitreverse:
        return isWord() && (define(call, Op::OpBitReverse, operands), true);
    case llvm::Intrinsic::ctlz: {
        // The number of the highest bit is ~0 when there is none: 31 - ~0 is 32.
        if (!isWord())
            return false;
        const Id highest = mathematics(typeOf(call), GLSLstd450FindUMsb, {operands[0]});
        return define(call, Op::OpISub, {m_code.word(31), highest}), true;
    }
    case llvm::Intrinsic::cttz: {
        if (!isWord())
            return false;
        const Id lowest = mathematics(typeOf(call), GLSLstd450FindILsb, {operands[0]});
        return defineMathematics(call, GLSLstd450UMin, {lowest, m_code.word(32)}), true;
    }
    default:
        return false;
    }
}

} // namespace compute::spirv
