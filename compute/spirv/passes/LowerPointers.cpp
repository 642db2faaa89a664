// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/LowerPointers.h"

#include "compute/spirv/passes/BufferAccess.h"
#include "compute/spirv/passes/DeviceMemory.h"
#include "compute/spirv/passes/FunctionFacts.h"
#include "compute/spirv/passes/NumberBits.h"
#include "compute/spirv/passes/PointerParameters.h"
#include "compute/spirv/passes/VariableAccess.h"
#include "compute/spirv/passes/VariableTable.h"

#include <llvm/ADT/PostOrderIterator.h>
#include <llvm/ADT/SmallPtrSet.h>
#include <llvm/Analysis/Utils/Local.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/Transforms/Utils/BasicBlockUtils.h>
#include <llvm/Transforms/Utils/Cloning.h>

namespace compute::spirv {
namespace {

class FunctionLowering {
public:
    FunctionLowering(Lowering& lowering, VariableTable& table, FunctionFacts& facts)
        : m_lowering(lowering),
          m_table(table),
          m_facts(facts),
          m_memory(lowering, *facts.function, *facts.roots, facts.grid,
                   [this](llvm::Value& pointer) { return addressOf(pointer); }),
          m_buffers(lowering, facts, [this](llvm::Value& pointer) { return offsetOf(pointer); }),
          m_variables(lowering, table) {}

    /// Fails when a pointer is used in a way that numbers cannot stand in for.
    platform::Result<void> run() {
        makePhis();
        for (const MemoryAccess& access : m_facts.accesses)
            lower(access);
        for (llvm::Instruction& instruction :
             llvm::make_early_inc_range(llvm::instructions(*m_facts.function)))
            lowerOther(instruction);
        fillPhis();
        return removePointers();
    }

private:
    llvm::IRBuilder<> builderAt(llvm::Instruction& instruction) {
        return llvm::IRBuilder<>(&instruction);
    }

    // Pointers

    void makePhis() {
        for (llvm::Instruction& instruction : llvm::instructions(*m_facts.function))
            if (auto* phi = llvm::dyn_cast<llvm::PHINode>(&instruction);
                phi != nullptr && phi->getType()->isPointerTy()) {
                llvm::IRBuilder<> builder(phi);
                m_addresses[phi] =
                    builder.CreatePHI(builder.getInt64Ty(), phi->getNumIncomingValues());
                m_phis.push_back(phi);
            }
    }

    void fillPhis() {
        for (llvm::PHINode* phi : m_phis)
            for (unsigned i = 0; i < phi->getNumIncomingValues(); ++i)
                llvm::cast<llvm::PHINode>(m_addresses[phi])
                    ->addIncoming(addressOf(*phi->getIncomingValue(i)), phi->getIncomingBlock(i));
    }

    llvm::Value* addressOf(llvm::Value& pointer) {
        if (const auto known = m_addresses.find(&pointer); known != m_addresses.end())
            return known->second;
        llvm::Value* address = makeAddress(pointer);
        m_addresses[&pointer] = address;
        return address;
    }

    llvm::Value* makeAddress(llvm::Value& pointer) {
        llvm::IRBuilder<> builder(pointer.getContext());
        if (llvm::isa<llvm::AllocaInst, llvm::GlobalVariable>(pointer))
            return m_table.addressOf(pointer);
        if (auto* instruction = llvm::dyn_cast<llvm::Instruction>(&pointer))
            builder.SetInsertPoint(instruction);
        if (auto* step = llvm::dyn_cast<llvm::GEPOperator>(&pointer)) {
            if (llvm::isa<llvm::Constant>(pointer)) {
                llvm::APInt offset(64, 0);
                llvm::Value* base =
                    pointer.stripAndAccumulateConstantOffsets(layout(), offset, true);
                return base == &pointer
                           ? builder.getInt64(0)
                           : builder.CreateAdd(addressOf(*base), builder.getInt(offset));
            }
            llvm::Value* base = addressOf(*step->getPointerOperand());
            return builder.CreateAdd(base, llvm::emitGEPOffset(&builder, layout(), step));
        }
        if (auto* select = llvm::dyn_cast<llvm::SelectInst>(&pointer))
            return builder.CreateSelect(select->getCondition(), addressOf(*select->getTrueValue()),
                                        addressOf(*select->getFalseValue()));
        if (auto* copy = llvm::dyn_cast<llvm::FreezeInst>(&pointer))
            return addressOf(*copy->getOperand(0));
        if (auto* conversion = llvm::dyn_cast<llvm::Operator>(&pointer);
            conversion != nullptr && conversion->getOpcode() == llvm::Instruction::IntToPtr)
            return builder.CreateZExtOrTrunc(conversion->getOperand(0), builder.getInt64Ty());
        if (&pointer == m_facts.grid)
            return startBuilder().CreateCall(m_lowering.function(ShaderOperation::GridAddress));
        if (&pointer == m_facts.bindings)
            return startBuilder().CreateCall(m_lowering.function(ShaderOperation::BindingsAddress));
        if (const auto slot = m_facts.roots->slotOf(pointer))
            return m_memory.slotAddress(*slot);
        if (auto* load = llvm::dyn_cast<llvm::LoadInst>(&pointer))
            return loweredLoad(*load);
        return builder.getInt64(0); // null, and what has no value
    }

    /// Of a pointer that leads into one buffer that the kernel names: how far from its beginning.
    llvm::Value* offsetOf(llvm::Value& pointer) {
        if (const auto known = m_offsets.find(&pointer); known != m_offsets.end())
            return known->second;
        llvm::Value* offset = makeOffset(pointer);
        m_offsets[&pointer] = offset;
        return offset;
    }

    llvm::Value* makeOffset(llvm::Value& pointer) {
        llvm::IRBuilder<> builder(pointer.getContext());
        if (m_facts.roots->slotOf(pointer))
            return builder.getInt64(0);
        auto& instruction = llvm::cast<llvm::Instruction>(pointer);
        builder.SetInsertPoint(&instruction);
        if (auto* step = llvm::dyn_cast<llvm::GEPOperator>(&pointer))
            return builder.CreateAdd(offsetOf(*step->getPointerOperand()),
                                     llvm::emitGEPOffset(&builder, layout(), step));
        if (llvm::isa<llvm::PHINode>(pointer))
            builder.SetInsertPoint(instruction.getParent(),
                                   instruction.getParent()->getFirstInsertionPt());
        llvm::Value* address = addressOf(pointer);
        return builder.CreateSub(address, m_memory.rangeOf(pointer).start);
    }

    /// A pointer that is read from memory is read where the load stands, as a number.
    llvm::Value* loweredLoad(llvm::LoadInst& load) {
        const auto access = accessOf(load, layout(), *m_facts.roots);
        llvm::IRBuilder<> builder(&load);
        // NOLINTNEXTLINE(bugprone-unchecked-optional-access): every load is an access
        return loaded(builder, *access, builder.getInt64Ty());
    }

    llvm::IRBuilder<> startBuilder() {
        llvm::BasicBlock& entry = m_facts.function->getEntryBlock();
        return {&entry, entry.getFirstInsertionPt()};
    }

    // Accesses

    void lower(const MemoryAccess& access) {
        llvm::IRBuilder<> builder(access.instruction);
        if (auto* load = llvm::dyn_cast<llvm::LoadInst>(access.instruction)) {
            if (llvm::Value* size = gridSize(builder, *load))
                load->replaceAllUsesWith(size);
            else if (!load->getType()->isPointerTy())
                load->replaceAllUsesWith(loaded(builder, access, load->getType()));
            else if (!load->use_empty())
                addressOf(*load);
        } else if (auto* store = llvm::dyn_cast<llvm::StoreInst>(access.instruction)) {
            llvm::Value* value = store->getValueOperand();
            this->store(builder, access,
                        value->getType()->isPointerTy() ? addressOf(*value) : value);
        } else if (auto* atomic = llvm::dyn_cast<llvm::AtomicRMWInst>(access.instruction)) {
            atomic->replaceAllUsesWith(updated(builder, access, *atomic));
        } else if (auto* exchange = llvm::dyn_cast<llvm::AtomicCmpXchgInst>(access.instruction)) {
            exchanged(builder, access, *exchange);
        }
        m_removed.push_back(access.instruction);
    }

    /// What is read from the grid record, where the push constants say it, too.
    llvm::Value* gridSize(llvm::IRBuilder<>& builder, llvm::LoadInst& load) {
        constexpr unsigned axes = 3;
        llvm::APInt offset(64, 0);
        const llvm::Value* base =
            load.getPointerOperand()->stripAndAccumulateConstantOffsets(layout(), offset, true);
        if (m_facts.grid == nullptr || base != m_facts.grid || !load.getType()->isIntegerTy(32) ||
            !offset.ult(axes * sizeof(std::uint32_t)) || offset.countr_zero() < 2)
            return nullptr;
        const auto axis = static_cast<std::uint32_t>(offset.getZExtValue() / sizeof(std::uint32_t));
        return builder.CreateCall(m_lowering.function(ShaderOperation::GridSize),
                                  {builder.getInt32(axis)});
    }

    struct Places {
        llvm::Value* address = nullptr;
        bool isDevice = false;
        llvm::SmallVector<unsigned, 2> variables;
        bool areSeveral() const { return variables.size() + (isDevice ? 1 : 0) > 1; }
    };

    Places placesOf(llvm::IRBuilder<>& builder, const MemoryAccess& access) {
        const Roots roots = m_facts.roots->of(*access.pointer);
        Places places{.address = addressOf(*access.pointer), .isDevice = false, .variables = {}};
        for (llvm::Value* variable : roots.variables)
            places.variables.push_back(m_table.numberOf(*variable));
        places.isDevice = !roots.addresses.empty() || roots.variables.empty();
        if (places.isDevice)
            places.address = aligned(builder, access, places.address);
        return places;
    }

    /// Rounded down to the part, where that is not known to change nothing.
    llvm::Value* aligned(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                         llvm::Value* address) {
        if (access.part <= m_facts.roots->alignmentOf(*access.pointer))
            return address;
        return builder.CreateAnd(address, builder.getInt64(~(access.part - 1)));
    }

    VariablePlace placeIn(const MemoryAccess& access, const Places& places, unsigned number) const {
        return {.number = number,
                .address = places.address,
                .isOneOfSeveral = places.areSeveral(),
                .isConfined = m_facts.confined.contains(access.instruction)};
    }

    llvm::Value* deviceAddress(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                               const Places& places) {
        const Range range = m_memory.rangeOf(*access.pointer);
        const auto group = m_facts.groups->placeOf(*access.instruction);
        if (!group)
            return m_memory.confined(builder, places.address, range, access.bytes);
        llvm::Value*& start = m_groupStarts[group->first];
        if (start == nullptr) {
            const auto back = static_cast<std::uint64_t>(-group->offset);
            start = builder.CreateAdd(addressOf(*access.pointer), builder.getInt64(back));
            start =
                m_memory.confined(builder, aligned(builder, access, start), range, group->bytes);
        }
        return builder.CreateAdd(start,
                                 builder.getInt64(static_cast<std::uint64_t>(group->offset)));
    }

    static llvm::Value* pointerTo(llvm::IRBuilder<>& builder, llvm::Value* address,
                                  std::uint64_t offset = 0) {
        if (offset != 0)
            address = builder.CreateAdd(address, builder.getInt64(offset));
        return builder.CreateIntToPtr(address,
                                      llvm::PointerType::get(builder.getContext(), deviceSpace));
    }

    llvm::Value* loadedFromDevice(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                                  const Places& places, llvm::Type* type) {
        llvm::Value* address = deviceAddress(builder, access, places);
        const llvm::Align alignment(access.part);
        if (access.isWhole())
            return copyOrdering(access,
                                builder.CreateAlignedLoad(
                                    type->isIntegerTy() ? partType(builder, access.bytes) : type,
                                    pointerTo(builder, address), alignment));
        return joined(builder, access.bytes, access.part, [&](std::uint64_t i) {
            return builder.CreateAlignedLoad(partType(builder, access.part),
                                             pointerTo(builder, address, i * access.part),
                                             alignment);
        });
    }

    static llvm::LoadInst* copyOrdering(const MemoryAccess& access, llvm::LoadInst* made) {
        if (auto* load = llvm::dyn_cast<llvm::LoadInst>(access.instruction); load->isAtomic())
            made->setAtomic(load->getOrdering());
        return made;
    }

    llvm::Value* loaded(llvm::IRBuilder<>& builder, const MemoryAccess& access, llvm::Type* type) {
        if (const auto binding = m_buffers.bindingFor(access))
            return fromBits(builder, m_buffers.load(builder, access, *binding), type);
        const Places places = placesOf(builder, access);
        const auto converted = [&](llvm::Value* value) {
            return value->getType() == type
                       ? value
                       : fromBits(builder, asBits(builder, value, access.bytes), type);
        };
        llvm::Value* result =
            places.isDevice ? converted(loadedFromDevice(builder, access, places, type)) : nullptr;
        for (const unsigned number : places.variables) {
            const VariablePlace place = placeIn(access, places, number);
            llvm::Value* value = converted(m_variables.load(builder, access, place));
            result = result == nullptr ? value
                                       : builder.CreateSelect(VariableAccess::isIn(builder, place),
                                                              value, result);
        }
        return result;
    }

    void storeToDevice(llvm::IRBuilder<>& builder, const MemoryAccess& access, const Places& places,
                       llvm::Value* value) {
        llvm::Value* address = deviceAddress(builder, access, places);
        const llvm::Align alignment(access.part);
        if (access.isWhole()) {
            if (value->getType()->isIntegerTy())
                value = asBits(builder, value, access.bytes);
            llvm::StoreInst* made =
                builder.CreateAlignedStore(value, pointerTo(builder, address), alignment);
            if (auto* store = llvm::cast<llvm::StoreInst>(access.instruction); store->isAtomic())
                made->setAtomic(store->getOrdering());
            return;
        }
        llvm::Value* bits = asBits(builder, value, access.bytes);
        for (std::uint64_t at = 0; at < access.bytes; at += access.part)
            builder.CreateAlignedStore(partAt(builder, bits, at, access.part),
                                       pointerTo(builder, address, at), alignment);
    }

    void store(llvm::IRBuilder<>& builder, const MemoryAccess& access, llvm::Value* value) {
        if (const auto binding = m_buffers.bindingFor(access))
            return m_buffers.store(builder, access, *binding, asBits(builder, value, access.bytes));
        const Places places = placesOf(builder, access);
        if (places.isDevice)
            storeToDevice(builder, access, places, value);
        for (const unsigned number : places.variables)
            m_variables.store(builder, access, placeIn(access, places, number), value);
    }

    // Atomics

    template <class OnDevice, class OnVariable>
    llvm::Value* atomically(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                            const OnDevice& onDevice, const OnVariable& onVariable) {
        const Places places = placesOf(builder, access);
        llvm::Value* result = nullptr;
        if (places.isDevice)
            result = onDevice(pointerTo(builder, deviceAddress(builder, access, places)));
        for (const unsigned number : places.variables) {
            const VariablePlace place = placeIn(access, places, number);
            llvm::Value* value = onVariable(place);
            result = result == nullptr ? value
                                       : builder.CreateSelect(VariableAccess::isIn(builder, place),
                                                              value, result);
        }
        return result;
    }

    llvm::Value* updated(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                         llvm::AtomicRMWInst& atomic) {
        llvm::Value* operand = atomic.getValOperand();
        return atomically(
            builder, access,
            [&](llvm::Value* pointer) -> llvm::Value* {
                return builder.CreateAtomicRMW(atomic.getOperation(), pointer, operand,
                                               llvm::Align(access.bytes), atomic.getOrdering());
            },
            [&](const VariablePlace& place) {
                return m_variables.update(builder, access, place, atomic);
            });
    }

    void exchanged(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                   llvm::AtomicCmpXchgInst& exchange) {
        llvm::Value* expected = exchange.getCompareOperand();
        llvm::Value* desired = exchange.getNewValOperand();
        llvm::Value* before = atomically(
            builder, access,
            [&](llvm::Value* pointer) -> llvm::Value* {
                // A call rather than an instruction, whose pair of results would end up in phis.
                return builder.CreateCall(
                    m_lowering.function(
                        {.operation = ShaderOperation::ExchangeAt,
                         .atomic = static_cast<unsigned>(exchange.getSuccessOrdering()),
                         .bits = static_cast<unsigned>(access.bytes) * 8}),
                    {pointer, expected, desired});
            },
            [&](const VariablePlace& place) {
                return m_variables.exchange(builder, access, place, exchange);
            });
        llvm::Value* succeeded = builder.CreateICmpEQ(before, expected);
        for (llvm::User* user : llvm::make_early_inc_range(exchange.users()))
            if (auto* part = llvm::dyn_cast<llvm::ExtractValueInst>(user)) {
                part->replaceAllUsesWith(part->getIndices()[0] == 0 ? before : succeeded);
                m_removed.push_back(part);
            }
    }

    // What else is done with pointers

    void lowerOther(llvm::Instruction& instruction) {
        llvm::IRBuilder<> builder(&instruction);
        if (auto* number = llvm::dyn_cast<llvm::PtrToIntInst>(&instruction)) {
            number->replaceAllUsesWith(builder.CreateZExtOrTrunc(
                addressOf(*number->getPointerOperand()), number->getType()));
            m_removed.push_back(number);
        } else if (auto* compare = llvm::dyn_cast<llvm::ICmpInst>(&instruction);
                   compare != nullptr && compare->getOperand(0)->getType()->isPointerTy()) {
            compare->replaceAllUsesWith(builder.CreateICmp(compare->getPredicate(),
                                                           addressOf(*compare->getOperand(0)),
                                                           addressOf(*compare->getOperand(1))));
            m_removed.push_back(compare);
        }
    }

    platform::Result<void> removePointers() {
        for (llvm::Instruction& instruction : llvm::instructions(*m_facts.function)) {
            const bool isPointer = instruction.getType()->isPointerTy() &&
                                   instruction.getType()->getPointerAddressSpace() == 0;
            if (isPointer && !llvm::isa<llvm::LoadInst>(instruction))
                m_removed.push_back(&instruction);
        }
        llvm::SmallPtrSet<llvm::Instruction*, 32> removed(m_removed.begin(), m_removed.end());
        for (const llvm::Instruction* instruction : removed)
            for (const llvm::User* user : instruction->users())
                if (!removed.contains(llvm::cast<llvm::Instruction>(user)))
                    return platform::Error{
                        "kernel '" + std::string(m_lowering.name) +
                        "' keeps a pointer where this device has no place for one"};
        for (llvm::Instruction* instruction : removed)
            if (!instruction->use_empty())
                instruction->replaceAllUsesWith(llvm::PoisonValue::get(instruction->getType()));
        for (llvm::Instruction* instruction : removed)
            instruction->eraseFromParent();
        return {};
    }

    const llvm::DataLayout& layout() const { return m_lowering.module.getDataLayout(); }

    Lowering& m_lowering;
    VariableTable& m_table;
    FunctionFacts& m_facts;
    llvm::DenseMap<llvm::Value*, llvm::Value*> m_addresses;
    llvm::DenseMap<llvm::Value*, llvm::Value*> m_offsets;
    std::vector<llvm::PHINode*> m_phis;
    std::vector<llvm::Instruction*> m_removed;
    llvm::DenseMap<const llvm::Instruction*, llvm::Value*> m_groupStarts; ///< by the first access
    DeviceMemory m_memory;
    BufferAccess m_buffers;
    VariableAccess m_variables;
};

std::vector<llvm::Function*> definedFunctions(llvm::Module& module) {
    std::vector<llvm::Function*> all;
    for (llvm::Function& function : module)
        if (!function.isDeclaration())
            all.push_back(&function);
    return all;
}

} // namespace

platform::Result<void> lowerPointers(Lowering& lowering) {
    for (llvm::Function* function : definedFunctions(lowering.module))
        if (function != lowering.kernel && hasPointers(*function))
            replacePointers(lowering, *function);
    const std::vector<llvm::Function*> functions = definedFunctions(lowering.module);
    const llvm::DataLayout& layout = lowering.module.getDataLayout();

    std::vector<FunctionFacts> all;
    llvm::SmallSetVector<llvm::Value*, 4> escaped;
    for (llvm::Function* function : functions) {
        all.push_back(factsOf(lowering, *function));
        for (llvm::Instruction& instruction : llvm::instructions(*function))
            if (llvm::isa<llvm::AllocaInst>(instruction))
                all.back().roots->noteEscape(instruction);
        escaped.insert(all.back().roots->escaped().begin(), all.back().roots->escaped().end());
    }
    VariableTable table(lowering);
    for (FunctionFacts& facts : all) {
        for (llvm::Value* variable : escaped)
            facts.roots->addEscaped(*variable);
        collectAccesses(facts, layout);
        if (misusesBindings(facts))
            return platform::Error{"kernel '" + std::string(lowering.name) +
                                   "' computes which of its arguments it reads"};
        for (const MemoryAccess& access : facts.accesses) {
            const Roots& roots = facts.roots->of(*access.pointer);
            const bool areSeveral = roots.variables.size() + (roots.addresses.empty() ? 0 : 1) > 1;
            for (llvm::Value* variable : roots.variables) {
                table.note(*variable, access);
                if (areSeveral)
                    table.addSpareElement(*variable);
            }
        }
    }
    if (functions.size() > 1)
        for (llvm::Value* variable : escaped)
            table.share(*variable);
    SL42_TRY_VOID(table.layOut());
    for (FunctionFacts& facts : all) {
        SL42_TRY_VOID(FunctionLowering(lowering, table, facts).run());
        lowering.analyses.forget(*facts.function);
    }
    return {};
}

} // namespace compute::spirv
