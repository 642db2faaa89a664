// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What FunctionEmitter makes of accesses: to memory of the device, to variables, and to what the
// device fills in.
#include "compute/spirv/emit/FunctionEmitter.h"
#include "compute/spirv/emit/Opcodes.h"

namespace compute::spirv {
namespace {

using spv::Op;

unsigned constantOf(const llvm::Value& value) {
    return static_cast<unsigned>(llvm::cast<llvm::ConstantInt>(value).getZExtValue());
}

constexpr std::uint32_t deviceScope = numberOf(spv::Scope::Device);
constexpr std::uint32_t workgroupScope = numberOf(spv::Scope::Workgroup);

} // namespace

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
    return m_code.word(semanticsOf(ordering));
}

void FunctionEmitter::addAtomics64(const llvm::Type& type) {
    if (!type.isIntegerTy(64))
        return;
    m_code.capability(spv::Capability::Int64Atomics);
    m_module.requirements().int64Atomics = true;
}

bool FunctionEmitter::addUpdate(const llvm::Value& result, llvm::AtomicRMWInst::BinOp operation,
                                Id pointer, Id value, Id scope, llvm::AtomicOrdering ordering) {
    const auto opcode = opcodeOf(operation);
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

Id FunctionEmitter::viewPointer(unsigned view, const llvm::Value& index,
                                const llvm::Value* component) {
    const BufferView& what = m_module.lowering().views[view];
    const Id word = m_code.integer(32);
    const Id place = add(Op::OpIAdd, word, {idOf(index), m_module.viewBias(view)});
    Operands operands{m_module.view(view), m_code.word(0), place};
    Id type = m_code.integer(what.bits);
    if (what.components > 1 && component != nullptr)
        operands.push_back(idOf(*component));
    else if (what.components > 1)
        type = m_code.type(Op::OpTypeVector, {type, what.components});
    return add(Op::OpAccessChain, m_code.pointer(spv::StorageClass::StorageBuffer, type), operands);
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
    case ShaderOperation::BufferRead:
        define(call, Op::OpLoad,
               {viewPointer(what.variable, *argument(0), argument(1)),
                numberOf(spv::MemoryAccessMask::NonPrivatePointer)});
        return true;
    case ShaderOperation::BufferReadAll:
        define(call, Op::OpLoad,
               {viewPointer(what.variable, *argument(0), nullptr),
                numberOf(spv::MemoryAccessMask::NonPrivatePointer)});
        return true;
    case ShaderOperation::BufferWriteAll:
        addWords(Op::OpStore,
                 {viewPointer(what.variable, *argument(0), nullptr), idOf(*argument(1)),
                  numberOf(spv::MemoryAccessMask::NonPrivatePointer)});
        return true;
    case ShaderOperation::BufferWrite:
        addWords(Op::OpStore,
                 {viewPointer(what.variable, *argument(0), argument(1)), idOf(*argument(2)),
                  numberOf(spv::MemoryAccessMask::NonPrivatePointer)});
        return true;
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
    case ShaderOperation::SpareAddress:
        return defineMember(call, 5), true;
    case ShaderOperation::GridSize:
        return defineMember(call, 6 + constantOf(*argument(0))), true;
    case ShaderOperation::DirectRecord:
        return defineMember(call, 9 + constantOf(*argument(0))), true;
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
    default:
        return addSubgroupOperation(call, what);
    }
}

} // namespace compute::spirv
