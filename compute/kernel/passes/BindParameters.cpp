// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/passes/BindParameters.h"

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
    llvm::Value* position(unsigned axis) { return m_entry->getArg(XArgument + axis); }
    llvm::Value* gridSize(unsigned axis) {
        return loadConstant(m_builder.getInt32Ty(), m_entry->getArg(GridArgument), axis);
    }
    llvm::Value* groupSize(unsigned axis) {
        return loadConstant(m_builder.getInt32Ty(), m_entry->getArg(GridArgument), 3 + axis);
    }
    /// One component of a thread attribute, as i32.
    llvm::Value* attribute(ParameterKind kind, unsigned axis);
    llvm::Value* actualGroupSize(unsigned axis);
    llvm::Value* indexInGroup();
    llvm::Value* inMemory(llvm::Value* value);

    platform::Result<llvm::Value*> argument(const Parameter& parameter, llvm::Argument& formal);
    /// A copy of so many words that start with `first`, read with `load`.
    template <class Load>
    llvm::Value* copied(llvm::Type* word, unsigned count, Load load);
    llvm::Value* textureArgument(const Parameter& parameter);
    llvm::Value* samplerArgument(const Parameter& parameter);
    llvm::Value* bufferArgument(const Parameter& parameter, llvm::Argument& formal);
    platform::Result<llvm::Value*> threadArgument(const Parameter& parameter,
                                                  llvm::Argument& formal);

    PassContext& m_context;
    llvm::Function* m_kernel;
    llvm::Function* m_entry = nullptr;
    llvm::IRBuilder<> m_builder;
};

Binder::Binder(PassContext& context)
    : m_context(context),
      m_kernel(context.module.getFunction(context.kernel.symbol)),
      m_builder(context.module.getContext()) {
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

llvm::Value* Binder::actualGroupSize(unsigned axis) {
    // Groups at the far edge of the grid are cut off there.
    llvm::Value* first = m_builder.CreateMul(
        attribute(ParameterKind::ThreadgroupPositionInGrid, axis), groupSize(axis));
    llvm::Value* rest = m_builder.CreateSub(gridSize(axis), first);
    return m_builder.CreateBinaryIntrinsic(llvm::Intrinsic::umin, groupSize(axis), rest);
}

llvm::Value* Binder::indexInGroup() {
    llvm::Value* index = attribute(ParameterKind::ThreadPositionInThreadgroup, 2);
    for (unsigned axis : {1u, 0u}) {
        llvm::Value* scaled = m_builder.CreateMul(index, actualGroupSize(axis));
        index = m_builder.CreateAdd(scaled,
                                    attribute(ParameterKind::ThreadPositionInThreadgroup, axis));
    }
    return index;
}

llvm::Value* Binder::attribute(ParameterKind kind, unsigned axis) {
    switch (kind) {
    case ParameterKind::ThreadPositionInGrid:
        return position(axis);
    case ParameterKind::ThreadsPerGrid:
        return gridSize(axis);
    case ParameterKind::ThreadPositionInThreadgroup:
        return m_builder.CreateURem(position(axis), groupSize(axis));
    case ParameterKind::ThreadgroupPositionInGrid:
        return m_builder.CreateUDiv(position(axis), groupSize(axis));
    case ParameterKind::ThreadsPerThreadgroup:
        return actualGroupSize(axis);
    case ParameterKind::ThreadgroupsPerGrid: {
        llvm::Value* last = m_builder.CreateSub(gridSize(axis), m_builder.getInt32(1));
        return m_builder.CreateAdd(m_builder.CreateUDiv(last, groupSize(axis)),
                                   m_builder.getInt32(1));
    }
    case ParameterKind::ThreadIndexInThreadgroup:
        return indexInGroup();
    case ParameterKind::Buffer:
    case ParameterKind::Texture:
    case ParameterKind::Sampler:
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
    case ParameterKind::ThreadPositionInGrid:
    case ParameterKind::ThreadsPerGrid:
    case ParameterKind::ThreadPositionInThreadgroup:
    case ParameterKind::ThreadgroupPositionInGrid:
    case ParameterKind::ThreadsPerThreadgroup:
    case ParameterKind::ThreadgroupsPerGrid:
    case ParameterKind::ThreadIndexInThreadgroup:
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
