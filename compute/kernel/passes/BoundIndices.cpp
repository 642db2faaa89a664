// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/passes/BoundIndices.h"

#include "compute/kernel/passes/ClampIndices.h"

#include <llvm/ADT/DenseMap.h>
#include <llvm/Analysis/Utils/Local.h>
#include <llvm/Analysis/ValueTracking.h>
#include <llvm/IR/GetElementPtrTypeIterator.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/IR/Operator.h>

#include <algorithm>
#include <optional>

namespace compute::kernel {
namespace {

using Builder = llvm::IRBuilder<>;

/// A pointer operand and how many bytes from it on are touched.
struct Access {
    llvm::Instruction* instruction;
    unsigned operand;
    std::uint64_t size;
    llvm::Value* pointer() const { return instruction->getOperand(operand); }
};

/// Byte offsets that a pointer can have inside its variable.
struct OffsetRange {
    std::int64_t lowest = 0;
    std::int64_t highest = 0;
};

/// A variable that a pointer may lead to, as values: they differ by path where paths join.
struct Variable {
    llvm::Value* base;
    llvm::Value* size; ///< i64
};

class Bounder {
public:
    explicit Bounder(llvm::Function& function)
        : m_function(function), m_layout(function.getParent()->getDataLayout()) {}

    platform::Result<void> run();
    void runOnConstants();

private:
    platform::Result<void> collect(llvm::Instruction& instruction);
    void bound(const Access& access);
    void boundConstant(const Access& access) const;
    void boundInVariable(const Access& access, llvm::Value& variable, std::uint64_t size);
    void boundAmongVariables(const Access& access);

    std::optional<std::uint64_t> sizeOf(llvm::Value& object) const;
    /// The pointer's offsets, with array indices clamped; none when other arithmetic is unbounded.
    std::optional<OffsetRange> boundPath(llvm::Value* pointer, llvm::Value& variable) const;
    bool boundGep(llvm::GEPOperator& gep, OffsetRange& range) const;
    llvm::Value* offsetInVariable(Builder& builder, llvm::Value* pointer, llvm::Value& variable);

    Variable variableOf(llvm::Value* pointer);
    Variable variableOfPhi(llvm::PHINode& phi);
    bool mayLeadToVariable(llvm::Value* pointer) const;
    llvm::Value* spareMemory(std::uint64_t size);

    llvm::Function& m_function;
    const llvm::DataLayout& m_layout;
    std::vector<Access> m_accesses;
    llvm::DenseMap<llvm::Value*, Variable> m_variables;
    llvm::AllocaInst* m_spare = nullptr;
    std::uint64_t m_spareSize = 0;
};

platform::Result<void> Bounder::collect(llvm::Instruction& instruction) {
    const auto add = [&](unsigned operand, llvm::Type* type) {
        m_accesses.push_back({&instruction, operand, m_layout.getTypeStoreSize(type)});
    };
    if (auto* load = llvm::dyn_cast<llvm::LoadInst>(&instruction))
        add(llvm::LoadInst::getPointerOperandIndex(), load->getType());
    else if (auto* store = llvm::dyn_cast<llvm::StoreInst>(&instruction))
        add(llvm::StoreInst::getPointerOperandIndex(), store->getValueOperand()->getType());
    else if (auto* atomic = llvm::dyn_cast<llvm::AtomicRMWInst>(&instruction))
        add(llvm::AtomicRMWInst::getPointerOperandIndex(), atomic->getType());
    else if (auto* exchange = llvm::dyn_cast<llvm::AtomicCmpXchgInst>(&instruction))
        add(llvm::AtomicCmpXchgInst::getPointerOperandIndex(),
            exchange->getCompareOperand()->getType());
    else if (auto* memory = llvm::dyn_cast<llvm::MemIntrinsic>(&instruction)) {
        auto* length = llvm::dyn_cast<llvm::ConstantInt>(memory->getLength());
        if (length == nullptr)
            return platform::Error{"a copy whose size is not constant is not possible"};
        m_accesses.push_back({&instruction, 0, length->getZExtValue()});
        if (llvm::isa<llvm::MemTransferInst>(memory))
            m_accesses.push_back({&instruction, 1, length->getZExtValue()});
    }
    return {};
}

std::optional<std::uint64_t> Bounder::sizeOf(llvm::Value& object) const {
    if (auto* variable = llvm::dyn_cast<llvm::AllocaInst>(&object))
        if (const auto size = variable->getAllocationSize(m_layout))
            return size->getFixedValue();
    if (auto* variable = llvm::dyn_cast<llvm::GlobalVariable>(&object))
        return m_layout.getTypeAllocSize(variable->getValueType()).getFixedValue();
    return std::nullopt;
}

bool Bounder::boundGep(llvm::GEPOperator& gep, OffsetRange& range) const {
    if (auto* instruction = llvm::dyn_cast<llvm::GetElementPtrInst>(&gep))
        clampIndices(*instruction);
    bool isBounded = true;
    llvm::Type* container = nullptr; // what the index of this step goes into
    for (auto step = llvm::gep_type_begin(gep); step != llvm::gep_type_end(gep);
         container = step.getIndexedType(), ++step) {
        if (llvm::StructType* type = step.getStructTypeOrNull()) {
            const auto field = llvm::cast<llvm::ConstantInt>(step.getOperand())->getZExtValue();
            const auto offset = static_cast<std::int64_t>(
                m_layout.getStructLayout(type)->getElementOffset(static_cast<unsigned>(field)));
            range.lowest += offset;
            range.highest += offset;
            continue;
        }
        const auto stride =
            static_cast<std::int64_t>(step.getSequentialElementStride(m_layout).getFixedValue());
        if (auto* constant = llvm::dyn_cast<llvm::ConstantInt>(step.getOperand())) {
            const std::int64_t offset = constant->getSExtValue() * stride;
            range.lowest += offset;
            range.highest += offset;
            continue;
        }
        // The first index is pointer arithmetic; the rest go into arrays of a known length.
        auto* array = llvm::dyn_cast_if_present<llvm::ArrayType>(container);
        if (array == nullptr || array->getNumElements() == 0)
            isBounded = false;
        else
            range.highest += static_cast<std::int64_t>(array->getNumElements() - 1) * stride;
    }
    return isBounded;
}

std::optional<OffsetRange> Bounder::boundPath(llvm::Value* pointer, llvm::Value& variable) const {
    OffsetRange range;
    bool isBounded = true;
    while (pointer != &variable) {
        auto* gep = llvm::dyn_cast<llvm::GEPOperator>(pointer);
        if (gep == nullptr)
            return std::nullopt;
        isBounded &= boundGep(*gep, range);
        pointer = gep->getPointerOperand();
    }
    return isBounded ? std::optional(range) : std::nullopt;
}

llvm::Value* Bounder::offsetInVariable(Builder& builder, llvm::Value* pointer,
                                       llvm::Value& variable) {
    llvm::Value* offset = builder.getInt64(0);
    while (pointer != &variable) {
        auto* gep = llvm::dyn_cast<llvm::GEPOperator>(pointer);
        if (gep == nullptr)
            return nullptr;
        offset = builder.CreateAdd(offset, llvm::emitGEPOffset(&builder, m_layout, gep));
        pointer = gep->getPointerOperand();
    }
    return offset;
}

llvm::Value* Bounder::spareMemory(std::uint64_t size) {
    if (m_spare == nullptr) {
        Builder builder(&*m_function.getEntryBlock().getFirstInsertionPt());
        m_spare = builder.CreateAlloca(builder.getInt8Ty(), builder.getInt64(1), "spare");
    }
    m_spareSize = std::max(m_spareSize, size);
    return m_spare;
}

void Bounder::boundInVariable(const Access& access, llvm::Value& variable, std::uint64_t size) {
    const std::optional<OffsetRange> range = boundPath(access.pointer(), variable);
    if (range && range->lowest >= 0 &&
        static_cast<std::uint64_t>(range->highest) + access.size <= size)
        return;
    if (access.size > size) {
        access.instruction->setOperand(access.operand, spareMemory(access.size));
        return;
    }
    Builder builder(access.instruction);
    llvm::Value* offset = offsetInVariable(builder, access.pointer(), variable);
    if (offset == nullptr)
        return boundAmongVariables(access);
    offset = builder.CreateBinaryIntrinsic(llvm::Intrinsic::umin, offset,
                                           builder.getInt64(size - access.size));
    access.instruction->setOperand(access.operand, builder.CreatePtrAdd(&variable, offset));
}

bool Bounder::mayLeadToVariable(llvm::Value* pointer) const {
    llvm::SmallVector<const llvm::Value*> objects;
    llvm::getUnderlyingObjects(pointer, objects, nullptr, /*MaxLookup=*/0);
    return std::ranges::any_of(objects, [&](const llvm::Value* object) {
        return sizeOf(*const_cast<llvm::Value*>(object)).has_value();
    });
}

Variable Bounder::variableOfPhi(llvm::PHINode& phi) {
    Builder builder(&phi);
    llvm::PHINode* base = builder.CreatePHI(phi.getType(), phi.getNumIncomingValues());
    llvm::PHINode* size = builder.CreatePHI(builder.getInt64Ty(), phi.getNumIncomingValues());
    m_variables[&phi] = {base, size};
    for (unsigned i = 0; i < phi.getNumIncomingValues(); ++i) {
        const Variable incoming = variableOf(phi.getIncomingValue(i));
        base->addIncoming(incoming.base, phi.getIncomingBlock(i));
        size->addIncoming(incoming.size, phi.getIncomingBlock(i));
    }
    return {base, size};
}

Variable Bounder::variableOf(llvm::Value* pointer) {
    pointer = llvm::getUnderlyingObject(pointer, /*MaxLookup=*/0);
    if (const auto found = m_variables.find(pointer); found != m_variables.end())
        return found->second;
    Builder builder(m_function.getContext());
    // Memory outside the kernel: any offset from nowhere is inside.
    Variable variable{llvm::Constant::getNullValue(pointer->getType()),
                      llvm::Constant::getAllOnesValue(builder.getInt64Ty())};
    if (const auto size = sizeOf(*pointer))
        variable = {pointer, builder.getInt64(*size)};
    else if (auto* phi = llvm::dyn_cast<llvm::PHINode>(pointer))
        return variableOfPhi(*phi);
    else if (auto* select = llvm::dyn_cast<llvm::SelectInst>(pointer)) {
        const Variable first = variableOf(select->getTrueValue());
        const Variable second = variableOf(select->getFalseValue());
        builder.SetInsertPoint(select);
        variable = {builder.CreateSelect(select->getCondition(), first.base, second.base),
                    builder.CreateSelect(select->getCondition(), first.size, second.size)};
    }
    m_variables[pointer] = variable;
    return variable;
}

void Bounder::boundAmongVariables(const Access& access) {
    const Variable variable = variableOf(access.pointer());
    Builder builder(access.instruction);
    llvm::Type* word = builder.getInt64Ty();
    llvm::Value* offset = builder.CreateSub(builder.CreatePtrToInt(access.pointer(), word),
                                            builder.CreatePtrToInt(variable.base, word));
    llvm::Value* needed = builder.getInt64(access.size);
    llvm::Value* last =
        builder.CreateBinaryIntrinsic(llvm::Intrinsic::usub_sat, variable.size, needed);
    llvm::Value* isInside = builder.CreateAnd(builder.CreateICmpULE(offset, last),
                                              builder.CreateICmpUGE(variable.size, needed));
    access.instruction->setOperand(
        access.operand, builder.CreateSelect(isInside, access.pointer(), spareMemory(access.size)));
}

void Bounder::bound(const Access& access) {
    llvm::Value* object = llvm::getUnderlyingObject(access.pointer(), /*MaxLookup=*/0);
    if (const auto size = sizeOf(*object))
        boundInVariable(access, *object, *size);
    else if (llvm::isa<llvm::PHINode, llvm::SelectInst>(object) && mayLeadToVariable(object))
        boundAmongVariables(access);
}

void Bounder::boundConstant(const Access& access) const {
    std::int64_t offset = 0;
    llvm::Value* variable =
        llvm::GetPointerBaseWithConstantOffset(access.pointer(), offset, m_layout);
    const std::optional<std::uint64_t> size = sizeOf(*variable);
    if (!size || access.size > *size || static_cast<std::uint64_t>(offset) <= *size - access.size)
        return;
    Builder builder(access.instruction);
    llvm::Value* last = builder.getInt64(*size - access.size);
    access.instruction->setOperand(access.operand, builder.CreatePtrAdd(variable, last));
}

void Bounder::runOnConstants() {
    for (llvm::Instruction& instruction : llvm::instructions(m_function))
        (void)collect(instruction); // what cannot be compiled is refused later
    for (const Access& access : m_accesses)
        boundConstant(access);
}

platform::Result<void> Bounder::run() {
    for (llvm::Instruction& instruction : llvm::instructions(m_function))
        SL42_TRY_VOID(collect(instruction));
    for (const Access& access : m_accesses)
        bound(access);
    if (m_spare != nullptr) {
        Builder builder(m_spare->getNextNode());
        m_spare->setOperand(0, builder.getInt64(m_spareSize));
        m_spare->setAlignment(llvm::Align(16));
        builder.CreateMemSet(m_spare, builder.getInt8(0), m_spareSize, m_spare->getAlign());
    }
    return {};
}

} // namespace

void boundConstantOffsets(llvm::Function& function) {
    Bounder(function).runOnConstants();
}

platform::Result<void> boundIndices(PassContext& context) {
    for (llvm::Function* function : context.functions()) {
        SL42_TRY_VOID(Bounder(*function).run());
        context.analyses.forget(*function);
    }
    return {};
}

} // namespace compute::kernel
