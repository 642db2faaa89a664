// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/passes/BindParameters.h"

#include "compute/kernel/GroupOperations.h"

#include <llvm/IR/IRBuilder.h>

#include <algorithm>
#include <array>

namespace compute::kernel {
namespace {

using Vector = std::array<llvm::Value*, 3>;

class Binder {
public:
    explicit Binder(PassContext& context);
    platform::Result<void> run();

private:
    llvm::Value* loadConstant(llvm::Type* type, llvm::Value* base, unsigned index);
    llvm::Value* slot(unsigned index) {
        return loadConstant(m_builder.getPtrTy(), m_entry->getArg(BindingsArgument), index);
    }
    llvm::Value* position(unsigned axis);
    llvm::Value* gridSize(unsigned axis) {
        return loadConstant(m_builder.getInt32Ty(), m_entry->getArg(GridArgument), axis);
    }
    llvm::Value* groupSize(unsigned axis) {
        return loadConstant(m_builder.getInt32Ty(), m_entry->getArg(GridArgument), 3 + axis);
    }
    /// One component of a thread attribute, as i32.
    llvm::Value* attribute(ParameterKind kind, unsigned axis);
    llvm::Value* actualGroupSize(unsigned axis);
    llvm::Value* groupsPerGrid(unsigned axis);
    llvm::Value* groupPosition(unsigned axis);
    llvm::Value* positionInGroup(unsigned axis);
    llvm::Value* indexInGroup();
    llvm::Value* threadsInGroup();
    llvm::Value* dispatchedThreads();
    llvm::Value* inUnits(llvm::Value* threads, unsigned unit);
    llvm::Value* inMemory(llvm::Value* value);

    platform::Result<llvm::Value*> argument(const Parameter& parameter, llvm::Argument& formal);
    /// A copy of so many words that start with `first`, read with `load`.
    template <class Load>
    llvm::Value* copied(llvm::Type* word, unsigned count, Load load);
    llvm::Value* textureArgument(const Parameter& parameter);
    llvm::Value* samplerArgument(const Parameter& parameter);
    llvm::Value* bufferArgument(const Parameter& parameter, llvm::Argument& formal);
    llvm::Value* threadgroupArgument(const Parameter& parameter);
    platform::Result<llvm::Value*> threadArgument(const Parameter& parameter,
                                                  llvm::Argument& formal);

    PassContext& m_context;
    llvm::Function* m_kernel;
    llvm::Function* m_entry = nullptr;
    llvm::IRBuilder<> m_builder;
    /// Whether x and y are numbers of threads and threadgroups rather than positions.
    bool m_worksInGroups;
};

Binder::Binder(PassContext& context)
    : m_context(context),
      m_kernel(context.module.getFunction(context.kernel.symbol)),
      m_builder(context.module.getContext()),
      m_worksInGroups(worksInGroups(context.module) ||
                      std::ranges::any_of(context.kernel.parameters, [](const Parameter& one) {
                          return one.kind == ParameterKind::ThreadgroupMemory;
                      })) {
    llvm::Type* pointer = m_builder.getPtrTy();
    llvm::Type* word = m_builder.getInt32Ty();
    auto* type =
        llvm::FunctionType::get(m_builder.getVoidTy(), {pointer, pointer, word, word, word}, false);
    m_entry = llvm::Function::Create(
        type, llvm::GlobalValue::ExternalLinkage,
        llvm::StringRef(canonicalSymbol.data(), canonicalSymbol.size()), context.module);
    static constexpr std::array names = {"bindings", "grid", "x", "y", "z"};
    for (unsigned i = 0; i < names.size(); ++i)
        m_entry->getArg(i)->setName(names[i]);
    m_builder.SetInsertPoint(llvm::BasicBlock::Create(context.module.getContext(), "", m_entry));
}

llvm::Value* Binder::loadConstant(llvm::Type* type, llvm::Value* base, unsigned index) {
    llvm::LoadInst* load =
        m_builder.CreateLoad(type, m_builder.CreateConstGEP1_32(type, base, index));
    load->setMetadata(llvm::LLVMContext::MD_invariant_load,
                      llvm::MDNode::get(m_builder.getContext(), {}));
    return load;
}

llvm::Value* Binder::position(unsigned axis) {
    if (!m_worksInGroups)
        return m_entry->getArg(XArgument + axis);
    return m_builder.CreateAdd(m_builder.CreateMul(groupPosition(axis), groupSize(axis)),
                               positionInGroup(axis));
}

llvm::Value* Binder::groupsPerGrid(unsigned axis) {
    llvm::Value* last = m_builder.CreateSub(gridSize(axis), m_builder.getInt32(1));
    return m_builder.CreateAdd(m_builder.CreateUDiv(last, groupSize(axis)), m_builder.getInt32(1));
}

llvm::Value* Binder::groupPosition(unsigned axis) {
    if (!m_worksInGroups)
        return m_builder.CreateUDiv(position(axis), groupSize(axis));
    llvm::Value* number = m_entry->getArg(YArgument);
    for (unsigned before = 0; before < axis; ++before)
        number = m_builder.CreateUDiv(number, groupsPerGrid(before));
    return axis == 2 ? number : m_builder.CreateURem(number, groupsPerGrid(axis));
}

llvm::Value* Binder::positionInGroup(unsigned axis) {
    if (!m_worksInGroups)
        return m_builder.CreateURem(position(axis), groupSize(axis));
    llvm::Value* number = m_entry->getArg(XArgument);
    for (unsigned before = 0; before < axis; ++before)
        number = m_builder.CreateUDiv(number, actualGroupSize(before));
    return axis == 2 ? number : m_builder.CreateURem(number, actualGroupSize(axis));
}

llvm::Value* Binder::actualGroupSize(unsigned axis) {
    // Groups at the far edge of the grid are cut off there.
    llvm::Value* first = m_builder.CreateMul(groupPosition(axis), groupSize(axis));
    llvm::Value* rest = m_builder.CreateSub(gridSize(axis), first);
    return m_builder.CreateBinaryIntrinsic(llvm::Intrinsic::umin, groupSize(axis), rest);
}

llvm::Value* Binder::indexInGroup() {
    if (m_worksInGroups)
        return m_entry->getArg(XArgument);
    llvm::Value* index = positionInGroup(2);
    for (unsigned axis : {1u, 0u}) {
        llvm::Value* scaled = m_builder.CreateMul(index, actualGroupSize(axis));
        index = m_builder.CreateAdd(scaled, positionInGroup(axis));
    }
    return index;
}

llvm::Value* Binder::threadsInGroup() {
    llvm::Value* threads = actualGroupSize(0);
    for (unsigned axis : {1u, 2u})
        threads = m_builder.CreateMul(threads, actualGroupSize(axis));
    return threads;
}

llvm::Value* Binder::dispatchedThreads() {
    return m_builder.CreateMul(m_builder.CreateMul(groupSize(0), groupSize(1)), groupSize(2));
}

/// Rounded up.
llvm::Value* Binder::inUnits(llvm::Value* threads, unsigned unit) {
    return m_builder.CreateUDiv(m_builder.CreateAdd(threads, m_builder.getInt32(unit - 1)),
                                m_builder.getInt32(unit));
}

llvm::Value* Binder::attribute(ParameterKind kind, unsigned axis) {
    switch (kind) {
    case ParameterKind::ThreadPositionInGrid:
        return position(axis);
    case ParameterKind::ThreadsPerGrid:
        return gridSize(axis);
    case ParameterKind::ThreadPositionInThreadgroup:
        return positionInGroup(axis);
    case ParameterKind::ThreadgroupPositionInGrid:
        return groupPosition(axis);
    case ParameterKind::ThreadsPerThreadgroup:
        return actualGroupSize(axis);
    case ParameterKind::DispatchThreadsPerThreadgroup:
        return groupSize(axis);
    case ParameterKind::ThreadgroupsPerGrid:
        return groupsPerGrid(axis);
    case ParameterKind::ThreadIndexInThreadgroup:
        return indexInGroup();
    case ParameterKind::ThreadIndexInSimdgroup:
        return m_builder.CreateURem(indexInGroup(), m_builder.getInt32(simdgroupThreads));
    case ParameterKind::SimdgroupIndexInThreadgroup:
        return m_builder.CreateUDiv(indexInGroup(), m_builder.getInt32(simdgroupThreads));
    case ParameterKind::SimdgroupsPerThreadgroup:
        return inUnits(threadsInGroup(), simdgroupThreads);
    case ParameterKind::ThreadsPerSimdgroup:
        return m_builder.getInt32(simdgroupThreads);
    case ParameterKind::ThreadIndexInQuadgroup:
        return m_builder.CreateURem(indexInGroup(), m_builder.getInt32(quadgroupThreads));
    case ParameterKind::QuadgroupIndexInThreadgroup:
        return m_builder.CreateUDiv(indexInGroup(), m_builder.getInt32(quadgroupThreads));
    case ParameterKind::QuadgroupsPerThreadgroup:
        return inUnits(threadsInGroup(), quadgroupThreads);
    case ParameterKind::DispatchSimdgroupsPerThreadgroup:
        return inUnits(dispatchedThreads(), simdgroupThreads);
    case ParameterKind::DispatchQuadgroupsPerThreadgroup:
        return inUnits(dispatchedThreads(), quadgroupThreads);
    case ParameterKind::Buffer:
    case ParameterKind::Texture:
    case ParameterKind::Sampler:
    case ParameterKind::ThreadgroupMemory:
        break;
    }
    return nullptr;
}

llvm::Value* Binder::inMemory(llvm::Value* value) {
    llvm::Value* memory = m_builder.CreateAlloca(value->getType());
    m_builder.CreateStore(value, memory);
    return memory;
}

template <class Load>
llvm::Value* Binder::copied(llvm::Type* word, unsigned count, Load load) {
    auto* type = llvm::ArrayType::get(word, count);
    llvm::Value* memory = m_builder.CreateAlloca(type);
    for (unsigned i = 0; i < count; ++i)
        m_builder.CreateStore(load(i), m_builder.CreateConstGEP2_32(type, memory, 0, i));
    return memory;
}

/// A texture object is a pointer, an array of them is pointers side by side.
llvm::Value* Binder::textureArgument(const Parameter& parameter) {
    const unsigned first = firstTextureSlot + parameter.index;
    if (parameter.count == 1)
        return inMemory(slot(first));
    return copied(m_builder.getPtrTy(), parameter.count,
                  [&](unsigned i) { return slot(first + i); });
}

llvm::Value* Binder::samplerArgument(const Parameter& parameter) {
    llvm::Type* word = m_builder.getInt64Ty();
    llvm::SmallVector<llvm::Value*> records;
    for (unsigned i = 0; i < parameter.count; ++i)
        records.push_back(slot(firstSamplerSlot + parameter.index + i));
    return copied(word, parameter.count * samplerWords, [&](unsigned i) {
        llvm::Value* loaded = loadConstant(word, records[i / samplerWords], i % samplerWords);
        if (i % samplerWords != samplerWords - 1)
            return loaded;
        return m_builder.CreateOr(m_builder.CreateAnd(loaded, 0xff), argumentBit);
    });
}

llvm::Value* Binder::bufferArgument(const Parameter& parameter, llvm::Argument& formal) {
    auto* pointer = llvm::cast<llvm::LoadInst>(slot(parameter.index));
    if (const std::uint64_t size = formal.getDereferenceableBytes(); size > 0) {
        auto* bytes = llvm::ConstantAsMetadata::get(m_builder.getInt64(size));
        pointer->setMetadata(llvm::LLVMContext::MD_dereferenceable,
                             llvm::MDNode::get(m_builder.getContext(), bytes));
    }
    return pointer;
}

llvm::Value* Binder::threadgroupArgument(const Parameter& parameter) {
    llvm::GlobalVariable* memory = m_context.module.getGlobalVariable(groupArgumentsSymbol, true);
    if (memory == nullptr) {
        auto* type = llvm::ArrayType::get(m_builder.getInt8Ty(), maxGroupBytes);
        memory = new llvm::GlobalVariable(
            m_context.module, type, /*isConstant=*/false, llvm::GlobalValue::InternalLinkage,
            llvm::Constant::getNullValue(type), groupArgumentsSymbol, nullptr,
            llvm::GlobalValue::NotThreadLocal, /*AddressSpace=*/0);
        memory->addAttribute(groupVariableAttribute);
        memory->setAlignment(llvm::Align(16));
    }
    llvm::Value* offset = loadConstant(m_builder.getInt32Ty(), m_entry->getArg(GridArgument),
                                       firstThreadgroupArgument + parameter.index);
    return m_builder.CreatePtrAdd(memory, m_builder.CreateZExt(offset, m_builder.getInt64Ty()));
}

platform::Result<llvm::Value*> Binder::threadArgument(const Parameter& parameter,
                                                      llvm::Argument& formal) {
    llvm::Type* component = m_builder.getIntNTy(parameter.componentBytes * 8u);
    std::vector<llvm::Value*> values;
    for (unsigned axis = 0; axis < parameter.components; ++axis)
        values.push_back(m_builder.CreateTrunc(attribute(parameter.kind, axis), component));
    if (!formal.getType()->isPointerTy()) {
        if (values.size() != 1 || formal.getType() != component)
            return platform::Error{"parameter '" + parameter.name + "' has an unexpected type"};
        return values.front();
    }
    const unsigned room = parameter.components == 3 ? 4 : parameter.components;
    llvm::ArrayType* type = llvm::ArrayType::get(component, room);
    llvm::Value* memory = inMemory(llvm::Constant::getNullValue(type));
    for (unsigned axis = 0; axis < values.size(); ++axis)
        m_builder.CreateStore(values[axis], m_builder.CreateConstGEP2_32(type, memory, 0, axis));
    return memory;
}

platform::Result<llvm::Value*> Binder::argument(const Parameter& parameter,
                                                llvm::Argument& formal) {
    if (isBound(parameter.kind) &&
        (parameter.count == 0 || parameter.index >= maxArguments(parameter.kind) ||
         parameter.count > maxArguments(parameter.kind) - parameter.index))
        return platform::Error{"parameter '" + parameter.name + "': no such index"};
    switch (parameter.kind) {
    case ParameterKind::Buffer:
        return bufferArgument(parameter, formal);
    case ParameterKind::Texture:
        return textureArgument(parameter);
    case ParameterKind::Sampler:
        return samplerArgument(parameter);
    case ParameterKind::ThreadgroupMemory:
        return threadgroupArgument(parameter);
    case ParameterKind::ThreadPositionInGrid:
    case ParameterKind::ThreadsPerGrid:
    case ParameterKind::ThreadPositionInThreadgroup:
    case ParameterKind::ThreadgroupPositionInGrid:
    case ParameterKind::ThreadsPerThreadgroup:
    case ParameterKind::ThreadgroupsPerGrid:
    case ParameterKind::ThreadIndexInThreadgroup:
    case ParameterKind::ThreadIndexInSimdgroup:
    case ParameterKind::SimdgroupIndexInThreadgroup:
    case ParameterKind::SimdgroupsPerThreadgroup:
    case ParameterKind::ThreadsPerSimdgroup:
    case ParameterKind::ThreadIndexInQuadgroup:
    case ParameterKind::QuadgroupIndexInThreadgroup:
    case ParameterKind::QuadgroupsPerThreadgroup:
    case ParameterKind::DispatchThreadsPerThreadgroup:
    case ParameterKind::DispatchSimdgroupsPerThreadgroup:
    case ParameterKind::DispatchQuadgroupsPerThreadgroup:
        return threadArgument(parameter, formal);
    }
    return platform::Error{"parameter '" + parameter.name + "' is of an unknown kind"};
}

platform::Result<void> Binder::run() {
    if (m_kernel->arg_size() != m_context.kernel.parameters.size())
        return platform::Error{"kernel '" + m_context.kernel.name +
                               "' does not have the parameters that it declares"};
    std::vector<llvm::Value*> arguments;
    for (std::size_t i = 0; i < m_context.kernel.parameters.size(); ++i)
        arguments.push_back(SL42_TRY(
            argument(m_context.kernel.parameters[i], *m_kernel->getArg(static_cast<unsigned>(i)))));
    llvm::CallInst* call = m_builder.CreateCall(m_kernel, arguments);
    call->setCallingConv(m_kernel->getCallingConv());
    m_builder.CreateRetVoid();
    m_context.entry = m_entry;
    return {};
}

} // namespace

platform::Result<void> bindParameters(PassContext& context) {
    return Binder(context).run();
}

} // namespace compute::kernel
