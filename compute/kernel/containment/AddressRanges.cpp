// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/containment/AddressRanges.h"

#include "compute/memory/KernelAddresses.h"

#include <llvm/ADT/BitVector.h>
#include <llvm/ADT/MapVector.h>
#include <llvm/ADT/SetVector.h>
#include <llvm/Analysis/VectorUtils.h>
#include <llvm/IR/GlobalVariable.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/IR/Module.h>
#include <llvm/Support/MathExtras.h>

#include <algorithm>
#include <string>

namespace compute::kernel {
namespace {

constexpr std::uint64_t pointerBytes = 8;
/// Larger than any distance in memory, and far from overflowing.
constexpr std::int64_t far = std::int64_t{1} << 60;
constexpr OffsetRange anywhere{-far, far};

OffsetRange operator+(const OffsetRange& first, const OffsetRange& second) {
    const OffsetRange sum{first.lowest + second.lowest, first.highest + second.highest};
    return sum.lowest < -far || sum.highest > far ? anywhere : sum;
}

OffsetRange scaled(const llvm::ConstantRange& index, std::int64_t scale) {
    const llvm::ConstantRange wide = index.getBitWidth() > 64   ? index.truncate(64)
                                     : index.getBitWidth() < 64 ? index.signExtend(64)
                                                                : index;
    if (wide.isEmptySet())
        return {};
    std::int64_t lowest = 0;
    std::int64_t highest = 0;
    if (llvm::MulOverflow(wide.getSignedMin().getSExtValue(), scale, lowest) != 0 ||
        llvm::MulOverflow(wide.getSignedMax().getSExtValue(), scale, highest) != 0)
        return anywhere;
    if (lowest > highest)
        std::swap(lowest, highest);
    return lowest < -far || highest > far ? anywhere : OffsetRange{lowest, highest};
}

void add(Targets& targets, const Target& target) {
    for (Target& known : targets)
        if (known.kind == target.kind && known.base == target.base) {
            known.offset.lowest = std::min(known.offset.lowest, target.offset.lowest);
            known.offset.highest = std::max(known.offset.highest, target.offset.highest);
            return;
        }
    targets.push_back(target);
}

Targets unknown(const llvm::Value& pointer) {
    return {{Target::Kind::Unknown, &pointer, {}}};
}

Targets region(const OffsetRange& offset) {
    return {{Target::Kind::Region, nullptr, offset}};
}

llvm::Attribute attribute(const llvm::Argument& parameter, llvm::StringRef name) {
    return parameter.getParent()->getAttributes().getParamAttr(parameter.getArgNo(), name);
}

/// Whether integers are addresses of the region by their value alone.
bool isInRegion(const OffsetRange& value) {
    constexpr auto start = static_cast<std::int64_t>(memory::regionStart);
    constexpr auto end = start + static_cast<std::int64_t>(memory::regionBytes);
    return value.lowest >= start && value.highest < end;
}

std::uint64_t sizeOf(const Target& target, const llvm::DataLayout& layout) {
    if (const auto* variable = llvm::dyn_cast<llvm::AllocaInst>(target.base)) {
        const auto size = variable->getAllocationSize(layout);
        return size ? size->getFixedValue() : 0;
    }
    if (const auto* table = llvm::dyn_cast<llvm::GlobalVariable>(target.base))
        return layout.getTypeAllocSize(table->getValueType()).getFixedValue();
    const auto* record = llvm::cast<llvm::Argument>(target.base);
    std::uint64_t bytes = 0;
    attribute(*record, recordAttribute).getValueAsString().getAsInteger(10, bytes);
    return bytes;
}

/// The variable that the pointer leads into, and the offset; null where that is not constant.
std::pair<const llvm::AllocaInst*, std::uint64_t> placeInVariable(const llvm::Value& pointer,
                                                                  const llvm::DataLayout& layout) {
    llvm::APInt offset(64, 0);
    const llvm::Value* base =
        pointer.stripAndAccumulateConstantOffsets(layout, offset, /*AllowNonInbounds=*/true);
    return {llvm::dyn_cast<llvm::AllocaInst>(base), offset.getZExtValue()};
}

/// All stores to the list.
llvm::SmallVector<const llvm::StoreInst*> storesOf(const llvm::AllocaInst& list) {
    llvm::SmallVector<const llvm::StoreInst*> found;
    llvm::SmallVector<const llvm::Value*> addresses = {&list};
    while (!addresses.empty())
        for (const llvm::User* user : addresses.pop_back_val()->users())
            if (const auto* store = llvm::dyn_cast<llvm::StoreInst>(user))
                found.push_back(store);
            else if (llvm::isa<llvm::GEPOperator>(user))
                addresses.push_back(user);
    return found;
}

/// Whether the first instruction is executed before the second one on every path, as far as single
/// predecessors show.
bool comesBefore(const llvm::Instruction& first, const llvm::Instruction& second) {
    constexpr unsigned farthest = 64;
    if (first.getParent() == second.getParent())
        return first.comesBefore(&second);
    const llvm::BasicBlock* block = second.getParent();
    for (unsigned i = 0; i < farthest && block != nullptr; ++i) {
        block = block->getSinglePredecessor();
        if (block == first.getParent())
            return true;
    }
    return false;
}

} // namespace

bool findAccesses(llvm::Instruction& instruction, const llvm::DataLayout& layout,
                  llvm::SmallVectorImpl<MemoryAccess>& accesses) {
    const auto add = [&](unsigned operand, llvm::Type* type, bool isWrite) {
        accesses.push_back(
            {&instruction, operand, layout.getTypeStoreSize(type).getFixedValue(), isWrite});
        return true;
    };
    if (auto* load = llvm::dyn_cast<llvm::LoadInst>(&instruction))
        return add(llvm::LoadInst::getPointerOperandIndex(), load->getType(), false);
    if (auto* store = llvm::dyn_cast<llvm::StoreInst>(&instruction))
        return add(llvm::StoreInst::getPointerOperandIndex(), store->getValueOperand()->getType(),
                   true);
    if (auto* atomic = llvm::dyn_cast<llvm::AtomicRMWInst>(&instruction))
        return add(llvm::AtomicRMWInst::getPointerOperandIndex(), atomic->getType(), true);
    if (auto* exchange = llvm::dyn_cast<llvm::AtomicCmpXchgInst>(&instruction))
        return add(llvm::AtomicCmpXchgInst::getPointerOperandIndex(),
                   exchange->getCompareOperand()->getType(), true);
    if (auto* memory = llvm::dyn_cast<llvm::MemIntrinsic>(&instruction)) {
        const auto* length = llvm::dyn_cast<llvm::ConstantInt>(memory->getLength());
        if (length == nullptr || length->getValue().getActiveBits() > 32)
            return false;
        accesses.push_back({&instruction, 0, length->getZExtValue(), true});
        if (llvm::isa<llvm::MemTransferInst>(memory))
            accesses.push_back({&instruction, 1, length->getZExtValue(), false});
        return true;
    }
    auto* call = llvm::dyn_cast<llvm::CallBase>(&instruction);
    if (call == nullptr)
        return !instruction.mayReadOrWriteMemory() || llvm::isa<llvm::FenceInst>(instruction);
    switch (call->getIntrinsicID()) {
    case llvm::Intrinsic::not_intrinsic: // what is called has its own accesses
        return call->getCalledFunction() != nullptr && !call->getCalledFunction()->isDeclaration();
    case llvm::Intrinsic::masked_load:
        return add(0, call->getType(), false);
    case llvm::Intrinsic::masked_gather:
        return add(0, call->getType()->getScalarType(), false);
    case llvm::Intrinsic::masked_store:
        return add(1, call->getArgOperand(0)->getType(), true);
    case llvm::Intrinsic::masked_scatter:
        return add(1, call->getArgOperand(0)->getType()->getScalarType(), true);
    case llvm::Intrinsic::assume:
    case llvm::Intrinsic::lifetime_start:
    case llvm::Intrinsic::lifetime_end:
        return true;
    default:
        return call->doesNotAccessMemory();
    }
}

bool isPointerList(const llvm::AllocaInst& variable, const llvm::DataLayout& layout) {
    llvm::SmallVector<const llvm::Value*> addresses = {&variable};
    while (!addresses.empty())
        for (const llvm::Use& use : addresses.pop_back_val()->uses()) {
            const llvm::User* user = use.getUser();
            const auto* store = llvm::dyn_cast<llvm::StoreInst>(user);
            if (const auto* step = llvm::dyn_cast<llvm::GEPOperator>(user)) {
                const auto [base, offset] = placeInVariable(*step, layout);
                if (base != &variable || offset % pointerBytes != 0 ||
                    step->getType()->isVectorTy())
                    return false;
                addresses.push_back(step);
            } else if (store != nullptr
                           ? use.getOperandNo() == 0 ||
                                 !store->getValueOperand()->getType()->isPtrOrPtrVectorTy()
                           : !llvm::isa<llvm::LoadInst>(user)) {
                return false;
            }
        }
    return true;
}

const llvm::AllocaInst* listWrittenBy(const llvm::Use& use, const llvm::DataLayout& layout) {
    const auto* store = llvm::dyn_cast<llvm::StoreInst>(use.getUser());
    if (store == nullptr || use.getOperandNo() != 0)
        return nullptr;
    const auto* list = llvm::dyn_cast<llvm::AllocaInst>(store->getPointerOperand());
    return list != nullptr && isPointerList(*list, layout) ? list : nullptr;
}

void describeRecord(llvm::Argument& parameter, std::size_t bytes, bool holdsPointers) {
    llvm::LLVMContext& context = parameter.getContext();
    parameter.addAttr(llvm::Attribute::get(context, recordAttribute, std::to_string(bytes)));
    if (holdsPointers)
        parameter.addAttr(llvm::Attribute::get(context, pointersAttribute));
}

OffsetRange AddressRanges::offsetOf(const llvm::GEPOperator& step) {
    llvm::MapVector<llvm::Value*, llvm::APInt> scales;
    llvm::APInt constant(64, 0);
    if (!step.collectOffset(m_layout, 64, scales, constant))
        return anywhere;
    OffsetRange sum = scaled(llvm::ConstantRange(constant), 1);
    for (const auto& [index, scale] : scales)
        sum = sum + scaled(m_integers.of(*index), scale.getSExtValue());
    return sum;
}

Targets AddressRanges::targets(const llvm::Value& pointer) {
    if (m_inProgress.contains(&pointer))
        return unknown(pointer);
    if (const auto known = m_known.find(&pointer); known != m_known.end())
        return known->second;
    constexpr unsigned maxTargets = 8;
    Targets found = find(pointer);
    if (found.size() > maxTargets)
        found = unknown(pointer);
    m_known[&pointer] = found;
    return found;
}

Targets AddressRanges::find(const llvm::Value& pointer) {
    if (const auto* parameter = llvm::dyn_cast<llvm::Argument>(&pointer))
        return ofParameter(*parameter);
    if (llvm::isa<llvm::AllocaInst>(pointer))
        return {{Target::Kind::Variable, &pointer, {}}};
    if (const auto* table = llvm::dyn_cast<llvm::GlobalVariable>(&pointer))
        return table->isConstant() && table->hasInitializer()
                   ? Targets{{Target::Kind::Table, &pointer, {}}}
                   : unknown(pointer);
    if (const auto* step = llvm::dyn_cast<llvm::GEPOperator>(&pointer))
        return ofStep(*step);
    if (const llvm::Value* element =
            pointer.getType()->isVectorTy() ? llvm::getSplatValue(&pointer) : nullptr)
        return targets(*element);
    if (const auto* conversion = llvm::dyn_cast<llvm::Operator>(&pointer);
        conversion != nullptr && conversion->getOpcode() == llvm::Instruction::IntToPtr)
        return isInRegion(scaled(m_integers.of(*conversion->getOperand(0)), 1)) ? region({})
                                                                                : unknown(pointer);
    if (llvm::isa<llvm::PHINode, llvm::SelectInst, llvm::FreezeInst>(pointer))
        return ofMerge(pointer);
    if (const auto* load = llvm::dyn_cast<llvm::LoadInst>(&pointer))
        return ofLoad(*load);
    if (const auto* extraction = llvm::dyn_cast<llvm::ExtractElementInst>(&pointer))
        return targets(*extraction->getVectorOperand());
    if (const auto* insertion = llvm::dyn_cast<llvm::InsertElementInst>(&pointer))
        return ofInsertion(*insertion);
    return unknown(pointer);
}

Targets AddressRanges::ofParameter(const llvm::Argument& parameter) const {
    if (attribute(parameter, regionAttribute).isValid())
        return region({});
    if (attribute(parameter, recordAttribute).isValid())
        return {{Target::Kind::Record, &parameter, {}}};
    return unknown(parameter);
}

Targets AddressRanges::ofStep(const llvm::GEPOperator& step) {
    const OffsetRange offset = offsetOf(step);
    if (const auto* start = llvm::dyn_cast<llvm::Operator>(step.getPointerOperand());
        start != nullptr && start->getOpcode() == llvm::Instruction::IntToPtr)
        if (isInRegion(scaled(m_integers.of(*start->getOperand(0)), 1) + offset))
            return region({});
    Targets result = targets(*step.getPointerOperand());
    for (Target& target : result)
        target.offset = target.offset + offset;
    return result;
}

/// The targets of all values that phis and selects choose from. A phi that adds to itself in each
/// iteration may lead anywhere.
Targets AddressRanges::ofMerge(const llvm::Value& pointer) {
    llvm::SmallSetVector<const llvm::Value*, 8> nodes;
    llvm::SmallSetVector<const llvm::Value*, 8> sources;
    nodes.insert(&pointer);
    const auto visit = [&](const llvm::Value* value) {
        value = withoutSpill(value);
        const bool isNode = llvm::isa<llvm::PHINode, llvm::SelectInst, llvm::FreezeInst>(value);
        (isNode ? nodes : sources).insert(value);
    };
    for (unsigned i = 0; i < nodes.size(); ++i) {
        const auto* node = llvm::cast<llvm::Instruction>(nodes[i]);
        const bool isSelect = llvm::isa<llvm::SelectInst>(node);
        for (const llvm::Use& operand : llvm::drop_begin(node->operands(), isSelect ? 1 : 0))
            visit(operand.get());
    }
    m_inProgress.insert(&pointer);
    Targets result;
    for (const llvm::Value* source : sources)
        for (const Target& target : targets(*source))
            add(result, target);
    m_inProgress.erase(&pointer);
    const bool leadsToItself = llvm::any_of(result, [&](const Target& target) {
        return target.kind == Target::Kind::Unknown && target.base == &pointer;
    });
    return leadsToItself ? unknown(pointer) : result;
}

/// The targets of all elements, and of the initial vector unless every element of it is replaced.
Targets AddressRanges::ofInsertion(const llvm::InsertElementInst& insertion) {
    const auto* type = llvm::dyn_cast<llvm::FixedVectorType>(insertion.getType());
    if (type == nullptr)
        return unknown(insertion);
    llvm::BitVector missing(type->getNumElements(), true);
    Targets result;
    const llvm::Value* vector = &insertion;
    while (const auto* step = llvm::dyn_cast<llvm::InsertElementInst>(vector)) {
        const auto* index = llvm::dyn_cast<llvm::ConstantInt>(step->getOperand(2));
        if (index == nullptr || index->getValue().uge(missing.size()))
            return unknown(insertion);
        missing.reset(static_cast<unsigned>(index->getZExtValue()));
        for (const Target& target : targets(*step->getOperand(1)))
            add(result, target);
        vector = step->getOperand(0);
    }
    if (missing.none())
        return result;
    for (const Target& target : targets(*vector))
        add(result, target);
    return result;
}

/// What was kept in spill slots on the way. Loops lead through these, too.
const llvm::Value* AddressRanges::withoutSpill(const llvm::Value* value) {
    const auto* load = llvm::dyn_cast<llvm::LoadInst>(value);
    while (const llvm::Value* kept = load != nullptr ? m_spillSlots.valueOf(*load) : nullptr) {
        value = kept;
        load = llvm::dyn_cast<llvm::LoadInst>(value);
    }
    return value;
}

Targets AddressRanges::ofLoad(const llvm::LoadInst& load) {
    if (const llvm::Value* kept = m_spillSlots.valueOf(load))
        return targets(*kept);
    const auto [variable, offset] = placeInVariable(*load.getPointerOperand(), m_layout);
    if (variable != nullptr && isPointerList(*variable, m_layout))
        return ofListElement(load, *variable);
    const auto isPointerOfRecord = [](const Target& target) {
        return target.kind == Target::Kind::Record &&
               attribute(*llvm::cast<llvm::Argument>(target.base), pointersAttribute).isValid() &&
               target.offset.lowest == target.offset.highest &&
               target.offset.lowest % static_cast<std::int64_t>(pointerBytes) == 0;
    };
    return load.getType()->isPointerTy() &&
                   llvm::all_of(targets(*load.getPointerOperand()), isPointerOfRecord)
               ? region({})
               : unknown(load);
}

/// The targets of all values in the list, if it has been written when the load reads it.
Targets AddressRanges::ofListElement(const llvm::LoadInst& load, const llvm::AllocaInst& list) {
    Targets result;
    bool isWritten = false;
    m_inProgress.insert(&load);
    for (const llvm::StoreInst* store : storesOf(list)) {
        isWritten |= comesBefore(*store, load);
        for (const Target& target : targets(*store->getValueOperand()))
            add(result, target);
    }
    m_inProgress.erase(&load);
    return isWritten ? result : unknown(load);
}

llvm::SmallVector<const llvm::Value*> AddressRanges::sources(const llvm::Value& pointer) {
    llvm::SmallVector<const llvm::Value*> found;
    if (const auto* load = llvm::dyn_cast<llvm::LoadInst>(&pointer)) {
        if (const llvm::Value* kept = m_spillSlots.valueOf(*load))
            return {kept};
        const auto [variable, offset] = placeInVariable(*load->getPointerOperand(), m_layout);
        if (variable != nullptr && isPointerList(*variable, m_layout))
            for (const llvm::StoreInst* store : storesOf(*variable))
                found.push_back(store->getValueOperand());
        return found;
    }
    if (llvm::isa<llvm::PHINode, llvm::SelectInst, llvm::FreezeInst, llvm::InsertElementInst,
                  llvm::ExtractElementInst, llvm::ShuffleVectorInst>(pointer))
        for (const llvm::Use& operand : llvm::cast<llvm::Instruction>(pointer).operands())
            if (operand->getType()->isPtrOrPtrVectorTy())
                found.push_back(operand.get());
    return found;
}

bool AddressRanges::isConfined(const Target& target, const MemoryAccess& access) const {
    const auto [lowest, highest] = target.offset;
    const auto fits = [&](std::int64_t begin, std::uint64_t end) {
        return lowest >= begin &&
               highest + static_cast<std::int64_t>(access.bytes) <= static_cast<std::int64_t>(end);
    };
    switch (target.kind) {
    case Target::Kind::Region:
        return fits(-static_cast<std::int64_t>(memory::reach), memory::reach);
    case Target::Kind::Record:
    case Target::Kind::Table:
        return !access.isWrite && fits(0, sizeOf(target, m_layout));
    case Target::Kind::Variable:
        return fits(0, sizeOf(target, m_layout));
    case Target::Kind::Unknown:
        return false;
    }
    return false;
}

bool AddressRanges::isConfined(const MemoryAccess& access) {
    return llvm::all_of(targets(*access.pointer()),
                        [&](const Target& target) { return isConfined(target, access); });
}

} // namespace compute::kernel
