// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/emit/FunctionEmitter.h"

#include "compute/kernel/GroupOperations.h"

#include <llvm/ADT/PostOrderIterator.h>
#include <llvm/Support/raw_ostream.h>

namespace compute::spirv {
namespace {

using spv::Op;

template <class T>
constexpr std::uint32_t numberOf(T value) {
    return static_cast<std::uint32_t>(value);
}

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

constexpr std::uint32_t deviceScope = numberOf(spv::Scope::Device);
constexpr std::uint32_t workgroupScope = numberOf(spv::Scope::Workgroup);

constexpr std::uint32_t sharedMemory = numberOf(spv::MemorySemanticsMask::UniformMemory) |
                                       numberOf(spv::MemorySemanticsMask::WorkgroupMemory);

} // namespace

FunctionEmitter::FunctionEmitter(ModuleEmitter& module, const llvm::Function& function)
    : m_module(module),
      m_code(module.code()),
      m_function(function),
      m_dominators(const_cast<llvm::Function&>(function)),
      m_postDominators(const_cast<llvm::Function&>(function)),
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
                std::string text;
                llvm::raw_string_ostream stream(text);
                instruction.print(stream);
                return platform::Error{"kernel '" + std::string(m_module.lowering().name) +
                                       "' needs what this device does not have:" + text};
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
        addWords(Op::OpLoopMerge, {idOf(*loop->getExitBlock()), idOf(*loop->getLoopLatch()), 0});
    } else if (branch->isConditional() && (loop == nullptr || loop->getLoopLatch() != &block)) {
        const auto* join = m_postDominators.getNode(&block)->getIDom();
        addWords(Op::OpSelectionMerge, {idOf(*join->getBlock()), 0});
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

bool FunctionEmitter::addBinary(const llvm::BinaryOperator& operation) {
    const bool isTruth = operation.getType()->isIntegerTy(1);
    const auto opcode = [&]() -> std::optional<Op> {
        switch (operation.getOpcode()) {
        case llvm::Instruction::Add:
            return isTruth ? Op::OpLogicalNotEqual : Op::OpIAdd;
        case llvm::Instruction::Sub:
            return isTruth ? Op::OpLogicalNotEqual : Op::OpISub;
        case llvm::Instruction::Mul:
            return isTruth ? Op::OpLogicalAnd : Op::OpIMul;
        case llvm::Instruction::UDiv:
            return Op::OpUDiv;
        case llvm::Instruction::SDiv:
            return Op::OpSDiv;
        case llvm::Instruction::URem:
            return Op::OpUMod;
        case llvm::Instruction::Shl:
            return Op::OpShiftLeftLogical;
        case llvm::Instruction::LShr:
            return Op::OpShiftRightLogical;
        case llvm::Instruction::AShr:
            return Op::OpShiftRightArithmetic;
        case llvm::Instruction::And:
            return isTruth ? Op::OpLogicalAnd : Op::OpBitwiseAnd;
        case llvm::Instruction::Or:
            return isTruth ? Op::OpLogicalOr : Op::OpBitwiseOr;
        case llvm::Instruction::Xor:
            return isTruth ? Op::OpLogicalNotEqual : Op::OpBitwiseXor;
        case llvm::Instruction::FAdd:
            return Op::OpFAdd;
        case llvm::Instruction::FSub:
            return Op::OpFSub;
        case llvm::Instruction::FMul:
            return Op::OpFMul;
        case llvm::Instruction::FDiv:
            return Op::OpFDiv;
        case llvm::Instruction::FRem:
            return Op::OpFRem;
        default:
            return std::nullopt;
        }
    }();
    if (!opcode)
        return false;
    define(operation, *opcode, {idOf(*operation.getOperand(0)), idOf(*operation.getOperand(1))});
    // Without it, drivers may reorder and fuse as if the program had allowed that.
    if (llvm::isa<llvm::FPMathOperator>(operation) && !operation.hasAllowContract())
        m_code.decorate(idOf(operation), spv::Decoration::NoContraction);
    return true;
}

bool FunctionEmitter::addComparison(const llvm::CmpInst& compare) {
    const bool isTruth = compare.getOperand(0)->getType()->isIntegerTy(1);
    const Id first = idOf(*compare.getOperand(0));
    const Id second = idOf(*compare.getOperand(1));
    const auto opcode = [&]() -> std::optional<Op> {
        switch (compare.getPredicate()) {
        case llvm::CmpInst::ICMP_EQ:
            return isTruth ? Op::OpLogicalEqual : Op::OpIEqual;
        case llvm::CmpInst::ICMP_NE:
            return isTruth ? Op::OpLogicalNotEqual : Op::OpINotEqual;
        case llvm::CmpInst::ICMP_UGT:
            return Op::OpUGreaterThan;
        case llvm::CmpInst::ICMP_UGE:
            return Op::OpUGreaterThanEqual;
        case llvm::CmpInst::ICMP_ULT:
            return Op::OpULessThan;
        case llvm::CmpInst::ICMP_ULE:
            return Op::OpULessThanEqual;
        case llvm::CmpInst::ICMP_SGT:
            return Op::OpSGreaterThan;
        case llvm::CmpInst::ICMP_SGE:
            return Op::OpSGreaterThanEqual;
        case llvm::CmpInst::ICMP_SLT:
            return Op::OpSLessThan;
        case llvm::CmpInst::ICMP_SLE:
            return Op::OpSLessThanEqual;
        case llvm::CmpInst::FCMP_OEQ:
            return Op::OpFOrdEqual;
        case llvm::CmpInst::FCMP_OGT:
            return Op::OpFOrdGreaterThan;
        case llvm::CmpInst::FCMP_OGE:
            return Op::OpFOrdGreaterThanEqual;
        case llvm::CmpInst::FCMP_OLT:
            return Op::OpFOrdLessThan;
        case llvm::CmpInst::FCMP_OLE:
            return Op::OpFOrdLessThanEqual;
        case llvm::CmpInst::FCMP_ONE:
            return Op::OpFOrdNotEqual;
        case llvm::CmpInst::FCMP_UEQ:
            return Op::OpFUnordEqual;
        case llvm::CmpInst::FCMP_UGT:
            return Op::OpFUnordGreaterThan;
        case llvm::CmpInst::FCMP_UGE:
            return Op::OpFUnordGreaterThanEqual;
        case llvm::CmpInst::FCMP_ULT:
            return Op::OpFUnordLessThan;
        case llvm::CmpInst::FCMP_ULE:
            return Op::OpFUnordLessThanEqual;
        case llvm::CmpInst::FCMP_UNE:
            return Op::OpFUnordNotEqual;
        default:
            return std::nullopt;
        }
    }();
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

// Memory

Id FunctionEmitter::pointerTo(const llvm::Value& address, llvm::Type* type) {
    const Id pointer =
        m_code.pointer(spv::StorageClass::PhysicalStorageBuffer, m_module.typeOf(type));
    return add(Op::OpConvertUToPtr, pointer, {idOf(address)});
}

void FunctionEmitter::addLoad(const llvm::LoadInst& load) {
    const Id pointer = pointerTo(*load.getPointerOperand(), load.getType());
    if (load.isAtomic()) {
        define(load, Op::OpAtomicLoad,
               {pointer, m_code.word(deviceScope), semantics(load.getOrdering())});
        return;
    }
    define(load, Op::OpLoad,
           {pointer,
            numberOf(spv::MemoryAccessMask::Aligned) |
                numberOf(spv::MemoryAccessMask::NonPrivatePointer),
            static_cast<std::uint32_t>(load.getAlign().value())});
}

void FunctionEmitter::addStore(const llvm::StoreInst& store) {
    const llvm::Value& value = *store.getValueOperand();
    const Id pointer = pointerTo(*store.getPointerOperand(), value.getType());
    if (store.isAtomic())
        addWords(Op::OpAtomicStore,
                 {pointer, m_code.word(deviceScope), semantics(store.getOrdering()), idOf(value)});
    else
        addWords(Op::OpStore, {pointer, idOf(value),
                               numberOf(spv::MemoryAccessMask::Aligned) |
                                   numberOf(spv::MemoryAccessMask::NonPrivatePointer),
                               static_cast<std::uint32_t>(store.getAlign().value())});
}

Id FunctionEmitter::semantics(llvm::AtomicOrdering ordering) {
    std::uint32_t bits = 0;
    switch (ordering) {
    case llvm::AtomicOrdering::NotAtomic:
    case llvm::AtomicOrdering::Unordered:
    case llvm::AtomicOrdering::Monotonic:
        break;
    case llvm::AtomicOrdering::Acquire:
        bits = numberOf(spv::MemorySemanticsMask::Acquire) |
               numberOf(spv::MemorySemanticsMask::MakeVisible) | sharedMemory;
        break;
    case llvm::AtomicOrdering::Release:
        bits = numberOf(spv::MemorySemanticsMask::Release) |
               numberOf(spv::MemorySemanticsMask::MakeAvailable) | sharedMemory;
        break;
    case llvm::AtomicOrdering::AcquireRelease:
    case llvm::AtomicOrdering::SequentiallyConsistent: // which Vulkan does not have
        bits = numberOf(spv::MemorySemanticsMask::AcquireRelease) |
               numberOf(spv::MemorySemanticsMask::MakeVisible) |
               numberOf(spv::MemorySemanticsMask::MakeAvailable) | sharedMemory;
        break;
    }
    return m_code.word(bits);
}

void FunctionEmitter::addAtomics64(const llvm::Type& type) {
    if (!type.isIntegerTy(64))
        return;
    m_code.capability(spv::Capability::Int64Atomics);
    m_module.requirements().int64Atomics = true;
}

bool FunctionEmitter::addUpdate(const llvm::Value& result, llvm::AtomicRMWInst::BinOp operation,
                                Id pointer, Id value, Id scope, llvm::AtomicOrdering ordering) {
    const auto opcode = [&]() -> std::optional<Op> {
        switch (operation) {
        case llvm::AtomicRMWInst::Xchg:
            return Op::OpAtomicExchange;
        case llvm::AtomicRMWInst::Add:
            return Op::OpAtomicIAdd;
        case llvm::AtomicRMWInst::Sub:
            return Op::OpAtomicISub;
        case llvm::AtomicRMWInst::And:
            return Op::OpAtomicAnd;
        case llvm::AtomicRMWInst::Or:
            return Op::OpAtomicOr;
        case llvm::AtomicRMWInst::Xor:
            return Op::OpAtomicXor;
        case llvm::AtomicRMWInst::Max:
            return Op::OpAtomicSMax;
        case llvm::AtomicRMWInst::Min:
            return Op::OpAtomicSMin;
        case llvm::AtomicRMWInst::UMax:
            return Op::OpAtomicUMax;
        case llvm::AtomicRMWInst::UMin:
            return Op::OpAtomicUMin;
        default:
            return std::nullopt;
        }
    }();
    if (!opcode)
        return false;
    addAtomics64(*result.getType());
    define(result, *opcode, {pointer, scope, semantics(ordering), value});
    return true;
}

bool FunctionEmitter::addAtomic(const llvm::AtomicRMWInst& atomic) {
    return addUpdate(atomic, atomic.getOperation(),
                     pointerTo(*atomic.getPointerOperand(), atomic.getType()),
                     idOf(*atomic.getValOperand()), m_code.word(deviceScope), atomic.getOrdering());
}

Id FunctionEmitter::elementPointer(unsigned variable, Id index) {
    return add(Op::OpAccessChain, m_module.elementPointerType(variable),
               {m_module.variable(variable), index});
}

// Calls

bool FunctionEmitter::addCall(const llvm::CallInst& call) {
    if (const auto* intrinsic = llvm::dyn_cast<llvm::IntrinsicInst>(&call))
        return addIntrinsic(*intrinsic);
    if (const ShaderFunction what = m_module.lowering().operationOf(call);
        what.operation != ShaderOperation::None)
        return addShaderFunction(call, what);
    if (kernel::groupOperation(call) == kernel::GroupOperation::ThreadgroupBarrier)
        return addBarrier(), true;
    const llvm::Function* callee = call.getCalledFunction();
    if (callee == nullptr || callee->isDeclaration())
        return false;
    Operands operands{m_module.functionId(*callee)};
    for (const llvm::Use& argument : call.args())
        operands.push_back(idOf(*argument));
    define(call, Op::OpFunctionCall, operands);
    return true;
}

void FunctionEmitter::addBarrier() {
    addWords(Op::OpControlBarrier, {m_code.word(workgroupScope), m_code.word(workgroupScope),
                                    semantics(llvm::AtomicOrdering::AcquireRelease)});
}

void FunctionEmitter::defineMember(const llvm::Value& value, unsigned member) {
    const Id pointer =
        add(Op::OpAccessChain, m_code.pointer(spv::StorageClass::PushConstant, typeOf(value)),
            {m_module.pushConstants(), m_code.word(member)});
    define(value, Op::OpLoad, {pointer});
}

void FunctionEmitter::defineBuiltIn(const llvm::Value& value, spv::BuiltIn which,
                                    const llvm::Value* axis) {
    const Id variable = m_module.builtIn(which, axis != nullptr);
    if (axis == nullptr)
        return define(value, Op::OpLoad, {variable});
    const Id pointer =
        add(Op::OpAccessChain, m_code.pointer(spv::StorageClass::Input, m_code.integer(32)),
            {variable, idOf(*axis)});
    define(value, Op::OpLoad, {pointer});
}

bool FunctionEmitter::addShaderFunction(const llvm::CallInst& call, const ShaderFunction& what) {
    const auto argument = [&](unsigned index) { return call.getArgOperand(index); };
    const auto element = [&] { return elementPointer(what.variable, idOf(*argument(0))); };
    switch (what.operation) {
    case ShaderOperation::None:
        return false;
    case ShaderOperation::Read:
    case ShaderOperation::Write: {
        const bool isGroups =
            m_module.lowering().variables[what.variable].storage == Variable::Storage::Workgroup;
        Operands operands{element()};
        if (what.operation == ShaderOperation::Write)
            operands.push_back(idOf(*argument(1)));
        if (isGroups)
            operands.push_back(numberOf(spv::MemoryAccessMask::NonPrivatePointer));
        if (what.operation == ShaderOperation::Write)
            addWords(Op::OpStore, operands);
        else
            define(call, Op::OpLoad, operands);
        return true;
    }
    case ShaderOperation::Atomic:
        return addUpdate(call, static_cast<llvm::AtomicRMWInst::BinOp>(what.atomic), element(),
                         idOf(*argument(1)), m_code.word(workgroupScope),
                         llvm::AtomicOrdering::Monotonic);
    case ShaderOperation::CompareExchange:
        define(call, Op::OpAtomicCompareExchange,
               {element(), m_code.word(workgroupScope), m_code.word(0), m_code.word(0),
                idOf(*argument(2)), idOf(*argument(1))});
        return true;
    case ShaderOperation::ExchangeAt: {
        addAtomics64(*call.getType());
        const Id pointer = pointerTo(*argument(0), call.getType());
        define(call, Op::OpAtomicCompareExchange,
               {pointer, m_code.word(deviceScope),
                semantics(static_cast<llvm::AtomicOrdering>(what.atomic)),
                semantics(llvm::AtomicOrdering::Monotonic), idOf(*argument(2)),
                idOf(*argument(1))});
        return true;
    }
    case ShaderOperation::Length:
        define(call, Op::OpCopyObject, {m_module.lengthConstant(what.variable)});
        return true;
    case ShaderOperation::BindingsAddress:
        return defineMember(call, 0), true;
    case ShaderOperation::GridAddress:
        return defineMember(call, 1), true;
    case ShaderOperation::MemoryAddress:
        m_module.followPointers();
        return defineMember(call, 2), true;
    case ShaderOperation::Begin:
        return defineMember(call, 3), true;
    case ShaderOperation::End:
        return defineMember(call, 4), true;
    case ShaderOperation::GlobalId:
        return defineBuiltIn(call, spv::BuiltIn::GlobalInvocationId, argument(0)), true;
    case ShaderOperation::WorkgroupId:
        return defineBuiltIn(call, spv::BuiltIn::WorkgroupId, argument(0)), true;
    case ShaderOperation::WorkgroupCount:
        return defineBuiltIn(call, spv::BuiltIn::NumWorkgroups, argument(0)), true;
    case ShaderOperation::LocalIndex:
        return defineBuiltIn(call, spv::BuiltIn::LocalInvocationIndex, nullptr), true;
    case ShaderOperation::Always:
        define(call, Op::OpCopyObject, {m_code.constant(Op::OpConstantTrue, m_code.boolean())});
        return true;
    }
    return false;
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
    const auto math = [&](GLSLstd450 function) {
        return defineMathematics(call, function, operands), true;
    };
    switch (call.getIntrinsicID()) {
    case llvm::Intrinsic::fabs:
        return math(GLSLstd450FAbs);
    case llvm::Intrinsic::floor:
        return math(GLSLstd450Floor);
    case llvm::Intrinsic::ceil:
        return math(GLSLstd450Ceil);
    case llvm::Intrinsic::trunc:
        return math(GLSLstd450Trunc);
    case llvm::Intrinsic::rint:
    case llvm::Intrinsic::nearbyint:
    case llvm::Intrinsic::roundeven:
        return math(GLSLstd450RoundEven);
    case llvm::Intrinsic::sqrt:
        return math(GLSLstd450Sqrt);
    case llvm::Intrinsic::minnum:
        return math(GLSLstd450NMin);
    case llvm::Intrinsic::maxnum:
        return math(GLSLstd450NMax);
    case llvm::Intrinsic::fma:
        return math(GLSLstd450Fma);
    case llvm::Intrinsic::canonicalize:
        return define(call, Op::OpCopyObject, operands), true;
    case llvm::Intrinsic::umin:
        return math(GLSLstd450UMin);
    case llvm::Intrinsic::umax:
        return math(GLSLstd450UMax);
    case llvm::Intrinsic::smin:
        return math(GLSLstd450SMin);
    case llvm::Intrinsic::smax:
        return math(GLSLstd450SMax);
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
