// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/WidenAccesses.h"

#include <llvm/ADT/MapVector.h>
#include <llvm/IR/Instructions.h>
#include <llvm/Transforms/Utils/Local.h>

#include <algorithm>
#include <optional>

namespace compute::spirv {
namespace {

constexpr unsigned narrowest = 32; ///< bits; vectors of bytes gain nothing
constexpr unsigned widestVector = 128;
constexpr std::size_t mostElements = 4;

struct Access {
    llvm::Instruction* instruction = nullptr;
    std::int64_t offset = 0;
};

/// What accesses of one vector have in common: the address that they count from, and their type.
using Common = std::pair<llvm::Value*, llvm::Type*>;

struct Place {
    Common common;
    std::int64_t offset = 0;
};

/// None for what cannot be part of a vector.
std::optional<Place> placeOf(llvm::Value& pointer, llvm::Type* type) {
    auto* conversion = llvm::dyn_cast<llvm::IntToPtrInst>(&pointer);
    const unsigned bits = type->getPrimitiveSizeInBits();
    if (conversion == nullptr || bits < narrowest || bits * 2 > widestVector)
        return std::nullopt;
    llvm::Value* base = conversion->getOperand(0);
    if (auto* sum = llvm::dyn_cast<llvm::BinaryOperator>(base)) {
        const auto* disjoint = llvm::dyn_cast<llvm::PossiblyDisjointInst>(sum);
        const auto* constant = llvm::dyn_cast<llvm::ConstantInt>(sum->getOperand(1));
        if (constant != nullptr && (sum->getOpcode() == llvm::Instruction::Add ||
                                    (disjoint != nullptr && disjoint->isDisjoint())))
            return Place{{sum->getOperand(0), type}, constant->getSExtValue()};
    }
    return Place{{base, type}, 0};
}

/// The open accesses of one kind in a block, by what they have in common.
class Collection {
public:
    void add(llvm::Instruction& instruction, const Place& place) {
        m_accesses[place.common].push_back({&instruction, place.offset});
    }

    /// Whether all are of the same vector as this one, and none is the same number.
    bool fits(const Place& place) const {
        return m_accesses.empty() ||
               (m_accesses.size() == 1 && m_accesses.front().first == place.common &&
                std::ranges::find(m_accesses.front().second, place.offset, &Access::offset) ==
                    m_accesses.front().second.end());
    }

    /// Calls `merge` for each run of neighbours, ordered by address, and forgets all.
    template <class Merge>
    void close(const Merge& merge) {
        for (auto& [common, accesses] : m_accesses) {
            const auto bytes =
                static_cast<std::int64_t>(common.second->getPrimitiveSizeInBits().getFixedValue()) /
                8;
            const std::size_t most = std::min<std::size_t>(
                mostElements, widestVector / 8 / static_cast<std::size_t>(bytes));
            std::ranges::sort(accesses, {}, &Access::offset);
            for (std::size_t from = 0; from < accesses.size();) {
                std::size_t to = from + 1;
                while (to < accesses.size() && to - from < most &&
                       accesses[to].offset == accesses[to - 1].offset + bytes)
                    ++to;
                if (to - from > 1)
                    merge(common, std::span(accesses).subspan(from, to - from));
                from = to;
            }
        }
        m_accesses.clear();
    }

private:
    llvm::MapVector<Common, std::vector<Access>> m_accesses;
};

llvm::Value* pointerTo(llvm::IRBuilder<>& builder, llvm::Value* base, std::int64_t offset) {
    if (offset != 0)
        base = builder.CreateAdd(base, builder.getInt64(static_cast<std::uint64_t>(offset)));
    return builder.CreateIntToPtr(base, llvm::PointerType::get(builder.getContext(), deviceSpace));
}

/// With the address, which nobody else may have.
void erase(llvm::Instruction& access) {
    llvm::Value* pointer = llvm::getLoadStorePointerOperand(&access);
    access.eraseFromParent();
    llvm::RecursivelyDeleteTriviallyDeadInstructions(pointer);
}

/// The first or last of them in their block.
template <class Before>
llvm::Instruction* chosen(std::span<const Access> run, const Before& before) {
    llvm::Instruction* found = run.front().instruction;
    for (const Access& access : run.subspan(1))
        if (before(access.instruction, found))
            found = access.instruction;
    return found;
}

void mergeLoads(const Common& common, std::span<const Access> run) {
    llvm::Instruction* first =
        chosen(run, [](const llvm::Instruction* a, const llvm::Instruction* b) {
            return a->comesBefore(b);
        });
    llvm::IRBuilder<> builder(first);
    auto* type = llvm::FixedVectorType::get(common.second, static_cast<unsigned>(run.size()));
    const auto& lowest = *llvm::cast<llvm::LoadInst>(run.front().instruction);
    llvm::Value* all = builder.CreateAlignedLoad(
        type, pointerTo(builder, common.first, run.front().offset), lowest.getAlign());
    llvm::SmallVector<llvm::Value*, mostElements> parts;
    for (std::size_t i = 0; i < run.size(); ++i)
        parts.push_back(builder.CreateExtractElement(all, i));
    for (std::size_t i = 0; i < run.size(); ++i) {
        run[i].instruction->replaceAllUsesWith(parts[i]);
        erase(*run[i].instruction);
    }
}

void mergeStores(const Common& common, std::span<const Access> run) {
    llvm::Instruction* last =
        chosen(run, [](const llvm::Instruction* a, const llvm::Instruction* b) {
            return b->comesBefore(a);
        });
    llvm::IRBuilder<> builder(last);
    auto* type = llvm::FixedVectorType::get(common.second, static_cast<unsigned>(run.size()));
    llvm::Value* all = llvm::PoisonValue::get(type);
    // Constants would fold into a vector that is partly constant: the emitter wants all of them.
    for (std::size_t i = 0; i < run.size(); ++i)
        all = builder.Insert(llvm::InsertElementInst::Create(
            all, llvm::cast<llvm::StoreInst>(run[i].instruction)->getValueOperand(),
            builder.getInt64(i)));
    const auto& lowest = *llvm::cast<llvm::StoreInst>(run.front().instruction);
    builder.CreateAlignedStore(all, pointerTo(builder, common.first, run.front().offset),
                               lowest.getAlign());
    for (const Access& access : run)
        erase(*access.instruction);
}

void widen(llvm::BasicBlock& block) {
    Collection loads;
    Collection stores;
    for (llvm::Instruction& instruction : llvm::make_early_inc_range(block)) {
        auto* load = llvm::dyn_cast<llvm::LoadInst>(&instruction);
        auto* store = llvm::dyn_cast<llvm::StoreInst>(&instruction);
        if (instruction.mayWriteToMemory())
            loads.close(mergeLoads);
        if (store != nullptr && store->isSimple()) {
            // Stores that may be to the same memory keep their order.
            const auto place =
                placeOf(*store->getPointerOperand(), store->getValueOperand()->getType());
            if (!place || !stores.fits(*place))
                stores.close(mergeStores);
            if (place)
                stores.add(*store, *place);
        } else if (instruction.mayReadOrWriteMemory()) {
            stores.close(mergeStores);
        }
        if (load != nullptr && load->isSimple())
            if (const auto place = placeOf(*load->getPointerOperand(), load->getType()))
                loads.add(*load, *place);
    }
    loads.close(mergeLoads);
    stores.close(mergeStores);
}

} // namespace

platform::Result<void> widenAccesses(Lowering& lowering) {
    for (llvm::Function& function : lowering.module) {
        if (function.isDeclaration())
            continue;
        for (llvm::BasicBlock& block : function)
            widen(block);
        lowering.analyses.forget(function);
    }
    return {};
}

} // namespace compute::spirv
