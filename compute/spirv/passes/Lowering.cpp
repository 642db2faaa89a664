// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/Lowering.h"

#include <string>

namespace compute::spirv {
namespace {

llvm::StringRef nameOf(ShaderOperation operation) {
    switch (operation) {
    case ShaderOperation::None:
        break;
    case ShaderOperation::Read:
        return "read";
    case ShaderOperation::Write:
        return "write";
    case ShaderOperation::Atomic:
        return "atomic";
    case ShaderOperation::CompareExchange:
        return "compare.exchange";
    case ShaderOperation::ExchangeAt:
        return "exchange.at";
    case ShaderOperation::BufferRead:
        return "buffer.read";
    case ShaderOperation::BufferWrite:
        return "buffer.write";
    case ShaderOperation::BufferReadAll:
        return "buffer.read.all";
    case ShaderOperation::BufferWriteAll:
        return "buffer.write.all";
    case ShaderOperation::Length:
        return "length";
    case ShaderOperation::BindingsAddress:
        return "bindings";
    case ShaderOperation::GridAddress:
        return "grid";
    case ShaderOperation::MemoryAddress:
        return "memory";
    case ShaderOperation::SpareAddress:
        return "spare";
    case ShaderOperation::DirectRecord:
        return "direct";
    case ShaderOperation::GridSize:
        return "grid.size";
    case ShaderOperation::Begin:
        return "begin";
    case ShaderOperation::End:
        return "end";
    case ShaderOperation::GlobalId:
        return "global.id";
    case ShaderOperation::WorkgroupId:
        return "workgroup.id";
    case ShaderOperation::WorkgroupCount:
        return "workgroup.count";
    case ShaderOperation::LocalIndex:
        return "local.index";
    case ShaderOperation::Always:
        return "always";
    case ShaderOperation::HasSubgroups:
        return "has.subgroups";
    case ShaderOperation::SubgroupNumber:
        return "subgroup.number";
    case ShaderOperation::SubgroupLane:
        return "subgroup.lane";
    case ShaderOperation::SubgroupBarrier:
        return "subgroup.barrier";
    case ShaderOperation::SubgroupBallot:
        return "subgroup.ballot";
    case ShaderOperation::SubgroupFirst:
        return "subgroup.first";
    case ShaderOperation::SubgroupShuffle:
        return "subgroup.shuffle";
    case ShaderOperation::SubgroupXor:
        return "subgroup.xor";
    case ShaderOperation::SubgroupReduce:
        return "subgroup.reduce";
    case ShaderOperation::SubgroupScan:
        return "subgroup.scan";
    case ShaderOperation::SubgroupBefore:
        return "subgroup.before";
    }
    return "nothing";
}

llvm::FunctionType* typeOf(ShaderOperation operation, llvm::LLVMContext& context,
                           llvm::Type* element) {
    llvm::Type* word = llvm::Type::getInt32Ty(context);
    llvm::Type* address = llvm::Type::getInt64Ty(context);
    const auto type = [](llvm::Type* result, llvm::ArrayRef<llvm::Type*> parameters) {
        return llvm::FunctionType::get(result, parameters, false);
    };
    switch (operation) {
    case ShaderOperation::Read:
        return type(element, {word});
    case ShaderOperation::Write:
        return type(llvm::Type::getVoidTy(context), {word, element});
    case ShaderOperation::Atomic:
        return type(element, {word, element});
    case ShaderOperation::CompareExchange:
        return type(element, {word, element, element});
    case ShaderOperation::ExchangeAt:
        return type(element, {llvm::PointerType::get(context, deviceSpace), element, element});
    case ShaderOperation::BufferRead:
        return type(element, {word, word});
    case ShaderOperation::BufferWrite:
        return type(llvm::Type::getVoidTy(context), {word, word, element});
    case ShaderOperation::BufferReadAll:
        return type(element, {word});
    case ShaderOperation::BufferWriteAll:
        return type(llvm::Type::getVoidTy(context), {word, element});
    case ShaderOperation::BindingsAddress:
    case ShaderOperation::GridAddress:
    case ShaderOperation::MemoryAddress:
    case ShaderOperation::SpareAddress:
        return type(address, {});
    case ShaderOperation::DirectRecord:
        return type(address, {word});
    case ShaderOperation::GridSize:
    case ShaderOperation::GlobalId:
    case ShaderOperation::WorkgroupId:
    case ShaderOperation::WorkgroupCount:
        return type(word, {word});
    case ShaderOperation::Always:
    case ShaderOperation::HasSubgroups:
        return type(llvm::Type::getInt1Ty(context), {});
    case ShaderOperation::SubgroupBarrier:
        return type(llvm::Type::getVoidTy(context), {});
    case ShaderOperation::SubgroupBallot:
        return type(word, {llvm::Type::getInt1Ty(context)});
    case ShaderOperation::SubgroupFirst:
    case ShaderOperation::SubgroupReduce:
    case ShaderOperation::SubgroupScan:
    case ShaderOperation::SubgroupBefore:
        return type(word, {word});
    case ShaderOperation::SubgroupShuffle:
    case ShaderOperation::SubgroupXor:
        return type(word, {word, word});
    case ShaderOperation::None:
    case ShaderOperation::Length:
    case ShaderOperation::Begin:
    case ShaderOperation::End:
    case ShaderOperation::LocalIndex:
    case ShaderOperation::SubgroupNumber:
    case ShaderOperation::SubgroupLane:
        break;
    }
    return type(word, {});
}

llvm::MemoryEffects effectsOf(ShaderOperation operation) {
    switch (operation) {
    case ShaderOperation::Read:
        return llvm::MemoryEffects::inaccessibleMemOnly(llvm::ModRefInfo::Ref);
    case ShaderOperation::Write:
    case ShaderOperation::Atomic:
    case ShaderOperation::CompareExchange:
    case ShaderOperation::SubgroupBallot: // not of memory, but none is left out or done twice
    case ShaderOperation::SubgroupFirst:
    case ShaderOperation::SubgroupShuffle:
    case ShaderOperation::SubgroupXor:
    case ShaderOperation::SubgroupReduce:
    case ShaderOperation::SubgroupScan:
    case ShaderOperation::SubgroupBefore:
        return llvm::MemoryEffects::inaccessibleMemOnly();
    case ShaderOperation::BufferReadAll:
    case ShaderOperation::BufferRead: // what pointers lead to may be the same memory
        return llvm::MemoryEffects::readOnly();
    case ShaderOperation::BufferWrite:
    case ShaderOperation::BufferWriteAll:
    case ShaderOperation::ExchangeAt:
    case ShaderOperation::SubgroupBarrier:
        return llvm::MemoryEffects::unknown();
    case ShaderOperation::None:
    case ShaderOperation::Length:
    case ShaderOperation::BindingsAddress:
    case ShaderOperation::GridAddress:
    case ShaderOperation::MemoryAddress:
    case ShaderOperation::SpareAddress:
    case ShaderOperation::DirectRecord:
    case ShaderOperation::GridSize:
    case ShaderOperation::Begin:
    case ShaderOperation::End:
    case ShaderOperation::GlobalId:
    case ShaderOperation::WorkgroupId:
    case ShaderOperation::WorkgroupCount:
    case ShaderOperation::LocalIndex:
    case ShaderOperation::Always:
    case ShaderOperation::HasSubgroups:
    case ShaderOperation::SubgroupNumber:
    case ShaderOperation::SubgroupLane:
        break;
    }
    return llvm::MemoryEffects::none();
}

bool concernsVariable(ShaderOperation operation) {
    return operation == ShaderOperation::Read || operation == ShaderOperation::Write ||
           operation == ShaderOperation::Atomic || operation == ShaderOperation::CompareExchange ||
           operation == ShaderOperation::Length;
}

bool combines(ShaderOperation operation) {
    return operation == ShaderOperation::SubgroupReduce ||
           operation == ShaderOperation::SubgroupScan ||
           operation == ShaderOperation::SubgroupBefore;
}

/// Whether what comes of it depends on which threads are there.
bool concernsOthers(ShaderOperation operation) {
    return operation >= ShaderOperation::SubgroupBarrier;
}

bool concernsAll(ShaderOperation operation) {
    return operation == ShaderOperation::BufferReadAll ||
           operation == ShaderOperation::BufferWriteAll;
}

bool concernsView(ShaderOperation operation) {
    return operation == ShaderOperation::BufferRead || operation == ShaderOperation::BufferWrite ||
           concernsAll(operation);
}

} // namespace

llvm::Function* Lowering::function(ShaderOperation operation) {
    return function(ShaderFunction{.operation = operation});
}

llvm::Function* Lowering::function(ShaderFunction what) {
    std::string symbol = ("sl42." + nameOf(what.operation)).str();
    llvm::Type* element = nullptr;
    if (concernsVariable(what.operation)) {
        symbol += "." + std::to_string(what.variable);
        element = variables[what.variable].element;
    }
    if (concernsView(what.operation)) {
        symbol += "." + std::to_string(what.variable);
        const BufferView& view = views[what.variable];
        element = llvm::Type::getIntNTy(module.getContext(), view.bits);
        if (concernsAll(what.operation))
            element = llvm::FixedVectorType::get(element, view.components);
    }
    if (what.operation == ShaderOperation::Atomic)
        symbol += "." + std::to_string(what.atomic);
    if (what.operation == ShaderOperation::ExchangeAt) {
        symbol += "." + std::to_string(what.bits) + "." + std::to_string(what.atomic);
        element = llvm::Type::getIntNTy(module.getContext(), what.bits);
    }
    if (combines(what.operation))
        symbol += "." + std::to_string(static_cast<unsigned>(what.combination));
    if (llvm::Function* known = module.getFunction(symbol))
        return known;
    auto* made = llvm::Function::Create(typeOf(what.operation, module.getContext(), element),
                                        llvm::GlobalValue::ExternalLinkage, symbol, module);
    made->setDoesNotThrow();
    made->setWillReturn();
    made->setMemoryEffects(effectsOf(what.operation));
    if (what.operation == ShaderOperation::Read)
        made->addFnAttr(llvm::Attribute::Speculatable);
    if (concernsOthers(what.operation)) {
        made->setConvergent();
        made->addFnAttr(llvm::Attribute::NoMerge);
    }
    functions[made] = what;
    return made;
}

ShaderFunction Lowering::operationOf(const llvm::Value& value) const {
    const auto* call = llvm::dyn_cast<llvm::CallBase>(&value);
    return call != nullptr ? functions.lookup(call->getCalledFunction()) : ShaderFunction{};
}

static_assert(simdgroupThreads == kernel::simdgroupThreads);

std::uint32_t Lowering::lanes() const {
    return features.subgroupThreads != 0 ? features.subgroupThreads : simdgroupThreads;
}

bool Lowering::runsInGroups() const {
    return kernel->hasFnAttribute(kernel::groupKernelAttribute);
}

} // namespace compute::spirv
