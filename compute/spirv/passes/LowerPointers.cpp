// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/LowerPointers.h"

#include "compute/kernel/KernelSignature.h"
#include "compute/kernel/containment/AddressRanges.h"
#include "compute/spirv/passes/DeviceMemory.h"
#include "compute/spirv/passes/VariableTable.h"

#include <llvm/ADT/PostOrderIterator.h>
#include <llvm/ADT/SmallPtrSet.h>
#include <llvm/Analysis/Utils/Local.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/Transforms/Utils/BasicBlockUtils.h>
#include <llvm/Transforms/Utils/Cloning.h>
#include <llvm/Transforms/Utils/LowerAtomic.h>

namespace compute::spirv {
namespace {

/// What is found out about a function before any of it is changed.
struct FunctionFacts {
    llvm::Function* function = nullptr;
    std::unique_ptr<PointerRoots> roots;
    std::vector<MemoryAccess> accesses;
    /// Those that cannot leave the one variable which they lead to.
    llvm::SmallPtrSet<const llvm::Instruction*, 16> confined;
    const llvm::Value* bindings = nullptr;
    const llvm::Value* grid = nullptr;
};

class FunctionLowering {
public:
    FunctionLowering(Lowering& lowering, VariableTable& table, FunctionFacts& facts)
        : m_lowering(lowering),
          m_table(table),
          m_facts(facts),
          m_memory(lowering, *facts.function, *facts.roots, facts.grid,
                   [this](llvm::Value& pointer) { return addressOf(pointer); }) {}

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

    /// A pointer that is read from memory is read where the load stands, as a number.
    llvm::Value* loweredLoad(llvm::LoadInst& load) {
        const auto access = accessOf(load, layout(), *m_facts.roots);
        llvm::IRBuilder<> builder(&load);
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
            if (!load->getType()->isPointerTy())
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
        if (places.isDevice && access.part > m_facts.roots->alignmentOf(*access.pointer))
            places.address =
                builder.CreateAnd(places.address, builder.getInt64(~(access.part - 1)));
        return places;
    }

    llvm::Value* deviceAddress(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                               const Places& places) {
        const Range range = m_memory.rangeOf(*access.pointer);
        return m_memory.confined(builder, places.address, range, access.bytes);
    }

    static llvm::Value* pointerTo(llvm::IRBuilder<>& builder, llvm::Value* address,
                                  std::uint64_t offset = 0) {
        if (offset != 0)
            address = builder.CreateAdd(address, builder.getInt64(offset));
        return builder.CreateIntToPtr(address,
                                      llvm::PointerType::get(builder.getContext(), deviceSpace));
    }

    llvm::Value* isInVariable(llvm::IRBuilder<>& builder, const Places& places, unsigned number) {
        return builder.CreateICmpEQ(builder.CreateLShr(places.address, 32),
                                    builder.getInt64(firstVariableTag + number));
    }

    /// The index of the element that the access begins with, such that all of it lies inside.
    llvm::Value* indexIn(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                         const Places& places, unsigned number) {
        const Variable& variable = m_lowering.variables[number];
        const std::uint64_t element = m_table.elementBytes(number);
        const std::uint64_t taken = (access.bytes + element - 1) / element;
        llvm::Value* offset = builder.CreateTrunc(places.address, builder.getInt32Ty());
        llvm::Value* index = builder.CreateLShr(offset, builder.getInt32(llvm::Log2_64(element)));
        if (!places.areSeveral() && m_facts.confined.contains(access.instruction))
            return index;
        const std::uint64_t last = variable.count > taken ? variable.count - taken : 0;
        llvm::Value* highest = builder.getInt32(static_cast<std::uint32_t>(last));
        if (variable.isSizedByArguments)
            highest =
                builder.CreateSub(builder.CreateCall(m_lowering.function(ShaderFunction{
                                      .operation = ShaderOperation::Length, .variable = number})),
                                  builder.getInt32(static_cast<std::uint32_t>(taken)));
        return builder.CreateBinaryIntrinsic(llvm::Intrinsic::umin, index, highest);
    }

    llvm::Value* call(llvm::IRBuilder<>& builder, ShaderFunction what,
                      llvm::ArrayRef<llvm::Value*> arguments) {
        return builder.CreateCall(m_lowering.function(what), arguments);
    }

    static llvm::Type* partType(llvm::IRBuilder<>& builder, std::uint64_t bytes) {
        return builder.getIntNTy(static_cast<unsigned>(bytes) * 8);
    }

    /// Bits of the type's own width.
    llvm::Value* asBits(llvm::IRBuilder<>& builder, llvm::Value* value, std::uint64_t bytes) {
        if (!value->getType()->isIntegerTy())
            value = builder.CreateBitCast(
                value, builder.getIntNTy(value->getType()->getPrimitiveSizeInBits()));
        return builder.CreateZExtOrTrunc(value, partType(builder, bytes));
    }

    llvm::Value* fromBits(llvm::IRBuilder<>& builder, llvm::Value* bits, llvm::Type* type) {
        if (type->isIntegerTy())
            return builder.CreateZExtOrTrunc(bits, type);
        return builder.CreateBitCast(
            builder.CreateZExtOrTrunc(bits, builder.getIntNTy(type->getPrimitiveSizeInBits())),
            type);
    }

    /// Puts the parts together that `part(i)` gives.
    template <class Part>
    llvm::Value* joined(llvm::IRBuilder<>& builder, std::uint64_t bytes, std::uint64_t partBytes,
                        const Part& part) {
        llvm::Type* whole = partType(builder, bytes);
        llvm::Value* all = nullptr;
        for (std::uint64_t i = 0; i < bytes / partBytes; ++i) {
            llvm::Value* bits = builder.CreateZExt(part(i), whole);
            bits = builder.CreateShl(bits, i * partBytes * 8);
            all = all == nullptr ? bits : builder.CreateOr(all, bits);
        }
        return all;
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

    llvm::Value* loadedFromVariable(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                                    const Places& places, unsigned number) {
        llvm::Value* index = indexIn(builder, access, places, number);
        const std::uint64_t element = m_table.elementBytes(number);
        const ShaderFunction read{.operation = ShaderOperation::Read, .variable = number};
        if (element == access.bytes)
            return call(builder, read, {index});
        if (element > access.bytes) { // only where it was not aligned as it promised
            llvm::Value* whole = asBits(builder, call(builder, read, {index}), element);
            return builder.CreateTrunc(whole, partType(builder, access.bytes));
        }
        return joined(builder, access.bytes, element, [&](std::uint64_t i) {
            return asBits(
                builder,
                call(builder, read,
                     {builder.CreateAdd(index, builder.getInt32(static_cast<unsigned>(i)))}),
                element);
        });
    }

    llvm::Value* loaded(llvm::IRBuilder<>& builder, const MemoryAccess& access, llvm::Type* type) {
        const Places places = placesOf(builder, access);
        const auto converted = [&](llvm::Value* value) {
            return value->getType() == type
                       ? value
                       : fromBits(builder, asBits(builder, value, access.bytes), type);
        };
        llvm::Value* result =
            places.isDevice ? converted(loadedFromDevice(builder, access, places, type)) : nullptr;
        for (const unsigned number : places.variables) {
            llvm::Value* value = converted(loadedFromVariable(builder, access, places, number));
            result = result == nullptr ? value
                                       : builder.CreateSelect(isInVariable(builder, places, number),
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
            builder.CreateAlignedStore(builder.CreateTrunc(builder.CreateLShr(bits, at * 8),
                                                           partType(builder, access.part)),
                                       pointerTo(builder, address, at), alignment);
    }

    void storeToVariable(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                         const Places& places, unsigned number, llvm::Value* value) {
        const Variable variable = m_lowering.variables[number];
        if (variable.storage == Variable::Storage::Constant)
            return; // not even a program can mean that
        llvm::Value* index = indexIn(builder, access, places, number);
        llvm::Value* isHere = places.areSeveral() ? isInVariable(builder, places, number) : nullptr;
        const std::uint64_t element = m_table.elementBytes(number);
        const ShaderFunction read{.operation = ShaderOperation::Read, .variable = number};
        const ShaderFunction write{.operation = ShaderOperation::Write, .variable = number};
        const bool isGroups = variable.storage == Variable::Storage::Workgroup;
        const auto put = [&](llvm::Value* at, llvm::Value* what) {
            // Nobody else sees a thread's own memory, so that what is there can be written again.
            if (isHere != nullptr && isGroups)
                at = builder.CreateSelect(isHere, at, spareIndex(builder, number));
            else if (isHere != nullptr)
                what = builder.CreateSelect(isHere, what, call(builder, read, {at}));
            call(builder, write, {at, what});
        };
        if (element >= access.bytes)
            return put(index,
                       variable.element->isFloatTy() && value->getType()->isFloatTy()
                           ? value
                           : fromBits(builder, asBits(builder, value, element), variable.element));
        llvm::Value* bits = asBits(builder, value, access.bytes);
        for (std::uint64_t at = 0; at < access.bytes; at += element)
            put(builder.CreateAdd(index, builder.getInt32(static_cast<unsigned>(at / element))),
                fromBits(builder,
                         builder.CreateTrunc(builder.CreateLShr(bits, at * 8),
                                             partType(builder, element)),
                         variable.element));
    }

    /// Behind the elements that the program knows of.
    llvm::Value* spareIndex(llvm::IRBuilder<>& builder, unsigned number) {
        const Variable& variable = m_lowering.variables[number];
        if (!variable.isSizedByArguments)
            return builder.getInt32(static_cast<std::uint32_t>(variable.count - 1));
        return builder.CreateSub(builder.CreateCall(m_lowering.function(ShaderFunction{
                                     .operation = ShaderOperation::Length, .variable = number})),
                                 builder.getInt32(1));
    }

    void store(llvm::IRBuilder<>& builder, const MemoryAccess& access, llvm::Value* value) {
        const Places places = placesOf(builder, access);
        if (places.isDevice)
            storeToDevice(builder, access, places, value);
        for (const unsigned number : places.variables)
            storeToVariable(builder, access, places, number, value);
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
            llvm::Value* index = indexIn(builder, access, places, number);
            llvm::Value* isHere =
                places.areSeveral() ? isInVariable(builder, places, number) : nullptr;
            llvm::Value* value = onVariable(number, index, isHere);
            result = result == nullptr ? value : builder.CreateSelect(isHere, value, result);
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
            [&](unsigned number, llvm::Value* index, llvm::Value* isHere) -> llvm::Value* {
                return updateVariable(builder, atomic, number, index, isHere);
            });
    }

    llvm::Value* updateVariable(llvm::IRBuilder<>& builder, llvm::AtomicRMWInst& atomic,
                                unsigned number, llvm::Value* index, llvm::Value* isHere) {
        llvm::Type* type = atomic.getType();
        const bool isGroups = m_lowering.variables[number].storage == Variable::Storage::Workgroup;
        if (isGroups) {
            if (isHere != nullptr)
                index = builder.CreateSelect(isHere, index, spareIndex(builder, number));
            llvm::Value* operand = asBits(builder, atomic.getValOperand(), 4);
            return fromBits(builder,
                            call(builder,
                                 {.operation = ShaderOperation::Atomic,
                                  .variable = number,
                                  .atomic = atomic.getOperation()},
                                 {index, operand}),
                            type);
        }
        const ShaderFunction read{.operation = ShaderOperation::Read, .variable = number};
        llvm::Value* bits = call(builder, read, {index});
        llvm::Value* before = fromBits(builder, bits, type);
        llvm::Value* after = llvm::buildAtomicRMWValue(atomic.getOperation(), builder, before,
                                                       atomic.getValOperand());
        writeBack(builder, number, index, isHere, bits, after);
        return before;
    }

    void writeBack(llvm::IRBuilder<>& builder, unsigned number, llvm::Value* index,
                   llvm::Value* isHere, llvm::Value* before, llvm::Value* after) {
        const Variable& variable = m_lowering.variables[number];
        if (variable.storage == Variable::Storage::Constant)
            return;
        llvm::Value* bits = fromBits(builder, asBits(builder, after, m_table.elementBytes(number)),
                                     variable.element);
        if (isHere != nullptr)
            bits = builder.CreateSelect(isHere, bits, before);
        call(builder, {.operation = ShaderOperation::Write, .variable = number}, {index, bits});
    }

    void exchanged(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                   llvm::AtomicCmpXchgInst& exchange) {
        llvm::Value* expected = exchange.getCompareOperand();
        llvm::Value* desired = exchange.getNewValOperand();
        llvm::Value* before = atomically(
            builder, access,
            [&](llvm::Value* pointer) -> llvm::Value* {
                // A call rather than an instruction, whose pair of results would end up in phis.
                return call(builder,
                            {.operation = ShaderOperation::ExchangeAt,
                             .atomic = static_cast<unsigned>(exchange.getSuccessOrdering()),
                             .bits = static_cast<unsigned>(access.bytes) * 8},
                            {pointer, expected, desired});
            },
            [&](unsigned number, llvm::Value* index, llvm::Value* isHere) -> llvm::Value* {
                if (m_lowering.variables[number].storage == Variable::Storage::Workgroup) {
                    if (isHere != nullptr)
                        index = builder.CreateSelect(isHere, index, spareIndex(builder, number));
                    return call(builder,
                                {.operation = ShaderOperation::CompareExchange, .variable = number},
                                {index, expected, desired});
                }
                llvm::Value* bits = call(
                    builder, {.operation = ShaderOperation::Read, .variable = number}, {index});
                llvm::Value* value = fromBits(builder, bits, expected->getType());
                llvm::Value* after =
                    builder.CreateSelect(builder.CreateICmpEQ(value, expected), desired, value);
                writeBack(builder, number, index, isHere, bits, after);
                return value;
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
    std::vector<llvm::PHINode*> m_phis;
    std::vector<llvm::Instruction*> m_removed;
    DeviceMemory m_memory;
};

/// A function that takes and returns addresses as numbers, with the body of `old`.
llvm::Function* withoutPointers(Lowering& lowering, llvm::Function& old) {
    llvm::Type* number = llvm::Type::getInt64Ty(old.getContext());
    const auto lowered = [&](llvm::Type* type) { return type->isPointerTy() ? number : type; };
    llvm::SmallVector<llvm::Type*> types;
    for (const llvm::Argument& argument : old.args())
        types.push_back(lowered(argument.getType()));
    auto* made =
        llvm::Function::Create(llvm::FunctionType::get(lowered(old.getReturnType()), types, false),
                               old.getLinkage(), "", lowering.module);
    made->takeName(&old);
    made->addFnAttrs(llvm::AttrBuilder(old.getContext(), old.getAttributes().getFnAttrs()));
    made->setMemoryEffects(llvm::MemoryEffects::unknown());
    made->splice(made->begin(), &old);
    llvm::IRBuilder<> builder(&*made->getEntryBlock().getFirstInsertionPt());
    for (unsigned i = 0; i < old.arg_size(); ++i) {
        llvm::Value* value = made->getArg(i);
        if (old.getArg(i)->getType()->isPointerTy())
            value = builder.CreateIntToPtr(value, old.getArg(i)->getType());
        old.getArg(i)->replaceAllUsesWith(value);
    }
    for (llvm::BasicBlock& block : *made)
        if (auto* end = llvm::dyn_cast<llvm::ReturnInst>(block.getTerminator());
            end != nullptr && old.getReturnType()->isPointerTy()) {
            builder.SetInsertPoint(end);
            end->setOperand(0, builder.CreatePtrToInt(end->getReturnValue(), number));
        }
    for (llvm::User* user : llvm::make_early_inc_range(old.users())) {
        auto* call = llvm::cast<llvm::CallInst>(user);
        builder.SetInsertPoint(call);
        llvm::SmallVector<llvm::Value*> arguments;
        for (llvm::Value* argument : call->args())
            arguments.push_back(argument->getType()->isPointerTy()
                                    ? builder.CreatePtrToInt(argument, number)
                                    : argument);
        llvm::Value* result = builder.CreateCall(made, arguments);
        if (old.getReturnType()->isPointerTy())
            result = builder.CreateIntToPtr(result, old.getReturnType());
        call->replaceAllUsesWith(result);
        call->eraseFromParent();
    }
    old.eraseFromParent();
    return made;
}

bool hasPointers(const llvm::Function& function) {
    return function.getReturnType()->isPointerTy() ||
           llvm::any_of(function.args(), [](const llvm::Argument& argument) {
               return argument.getType()->isPointerTy();
           });
}

std::vector<llvm::Function*> definedFunctions(llvm::Module& module) {
    std::vector<llvm::Function*> all;
    for (llvm::Function& function : module)
        if (!function.isDeclaration())
            all.push_back(&function);
    return all;
}

FunctionFacts factsOf(Lowering& lowering, llvm::Function& function) {
    FunctionFacts facts;
    facts.function = &function;
    const llvm::DataLayout& layout = lowering.module.getDataLayout();
    if (&function == lowering.kernel) {
        facts.bindings = function.getArg(kernel::BindingsArgument);
        facts.grid = function.getArg(kernel::GridArgument);
    }
    facts.roots = std::make_unique<PointerRoots>(layout, facts.bindings);
    for (llvm::GlobalVariable& variable : lowering.module.globals())
        facts.roots->noteEscape(variable);
    return facts;
}

/// Whether the bindings are read in any other way than slot by slot.
bool misusesBindings(const FunctionFacts& facts) {
    return llvm::any_of(facts.accesses, [&](const MemoryAccess& access) {
        const Roots& roots = facts.roots->of(*access.pointer);
        return llvm::is_contained(roots.addresses, facts.bindings) && facts.bindings != nullptr &&
               !facts.roots->slotOf(*access.instruction);
    });
}

void collectAccesses(FunctionFacts& facts, const llvm::DataLayout& layout) {
    kernel::AddressRanges ranges(layout);
    for (llvm::Instruction& instruction : llvm::instructions(*facts.function)) {
        const auto access = accessOf(instruction, layout, *facts.roots);
        if (!access)
            continue;
        facts.accesses.push_back(*access);
        llvm::SmallVector<kernel::MemoryAccess, 2> known;
        kernel::findAccesses(instruction, layout, known);
        if (!known.empty() && ranges.isConfined(known.front()))
            facts.confined.insert(&instruction);
    }
}

} // namespace

platform::Result<void> lowerPointers(Lowering& lowering) {
    for (llvm::Function* function : definedFunctions(lowering.module))
        if (function != lowering.kernel && hasPointers(*function))
            withoutPointers(lowering, *function);
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
