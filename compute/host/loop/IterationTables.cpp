// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/host/loop/IterationTables.h"

#include <llvm/ADT/PostOrderIterator.h>
#include <llvm/Analysis/ValueTracking.h>
#include <llvm/IR/Module.h>
#include <llvm/Transforms/Utils/ValueMapper.h>

#include <algorithm>

namespace compute::host {
namespace {

using llvm::Instruction;

/// The cost of an instruction, in additions. Those that become part of another instruction or of
/// its address cost nothing.
unsigned costOf(const Instruction& instruction) {
    switch (instruction.getOpcode()) {
    case Instruction::Load:
    case Instruction::GetElementPtr:
    case Instruction::ZExt:
    case Instruction::SExt:
    case Instruction::Trunc:
    case Instruction::BitCast:
        return 0;
    case Instruction::PHI:
        return instruction.getType()->isFloatingPointTy() ? 1 : 0;
    case Instruction::FDiv:
    case Instruction::Call:
        return 4;
    default:
        return 1;
    }
}

bool fitsTable(const llvm::Type* type) {
    return type->isFloatTy() || type->isDoubleTy() || type->isPointerTy() || type->isIntegerTy(1) ||
           type->isIntegerTy(8) || type->isIntegerTy(16) || type->isIntegerTy(32) ||
           type->isIntegerTy(64);
}

/// Whether reading the value is cheaper than computing it, which takes `cost`. A number that is
/// used in vectors is broadcast by the load itself; integers are mostly used in addresses.
bool isWorthReading(const Instruction& value, unsigned cost) {
    constexpr unsigned costOfAddress = 4;
    return fitsTable(value.getType()) &&
           cost >= (value.getType()->isFloatingPointTy() ? 1 : costOfAddress);
}

/// Whether a trip count that LLVM finds by constant folding is right. It folds the condition of an
/// exit for one iteration after the other, but folded floating-point arithmetic is that of the
/// processor only for sums. A condition that depends on more than constants is never folded.
bool countsExactly(const llvm::Loop& loop, Instruction& condition) {
    llvm::SmallPtrSet<Instruction*, 16> seen{&condition};
    llvm::SmallVector<Instruction*> open{&condition};
    bool isExact = true;
    while (!open.empty()) {
        Instruction* value = open.pop_back_val();
        if (!loop.contains(value))
            continue;
        if (value->mayReadFromMemory())
            return true;
        const unsigned opcode = value->getOpcode();
        if (value->getType()->isFloatingPointTy() && opcode != Instruction::PHI &&
            opcode != Instruction::FAdd && opcode != Instruction::FSub)
            isExact = false;
        for (llvm::Value* operand : value->operands()) {
            if (llvm::isa<llvm::Argument>(operand))
                return true;
            if (auto* next = llvm::dyn_cast<Instruction>(operand); next && seen.insert(next).second)
                open.push_back(next);
        }
    }
    return isExact;
}

/// The greatest trip count of the loop, or 0 when it is not known.
unsigned maxTripCountOf(const llvm::Loop& loop, llvm::ScalarEvolution& evolution) {
    llvm::SmallVector<llvm::BasicBlock*> exiting;
    loop.getExitingBlocks(exiting);
    for (llvm::BasicBlock* block : exiting) {
        auto* branch = llvm::dyn_cast<llvm::BranchInst>(block->getTerminator());
        if (branch == nullptr)
            return 0;
        auto* condition = llvm::dyn_cast<Instruction>(branch->getCondition());
        if (condition != nullptr && !countsExactly(loop, *condition))
            return 0;
    }
    return evolution.getSmallConstantMaxTripCount(&loop);
}

llvm::Value* incoming(const llvm::PHINode& phi, const llvm::BasicBlock* from) {
    return phi.getIncomingValueForBlock(from);
}

/// The address of an iteration's entry in the table at `offset`. It is computed in 32 bits: such an
/// offset cannot lead out of the reserved space around the memory, so the access needs no check.
llvm::Value* entryAddress(llvm::IRBuilder<>& builder, llvm::Value& memory, llvm::Value& index,
                          unsigned bytesPerIteration, unsigned offset) {
    llvm::Value* place =
        builder.CreateNUWAdd(builder.CreateNUWMul(&index, builder.getInt32(bytesPerIteration)),
                             builder.getInt32(offset));
    return builder.CreateGEP(builder.getInt8Ty(), &memory,
                             builder.CreateZExt(place, builder.getInt64Ty()));
}

} // namespace

IterationTables::IterationTables(llvm::Function& kernel, kernel::Analyses& analyses,
                                 const Hoisting& hoisting)
    : m_hoisting(hoisting),
      m_dominators(analyses.functions().getResult<llvm::DominatorTreeAnalysis>(kernel)),
      m_layout(kernel.getParent()->getDataLayout()) {
    llvm::LoopInfo& loops = analyses.functions().getResult<llvm::LoopAnalysis>(kernel);
    if (loops.empty())
        return;
    auto& evolution = analyses.functions().getResult<llvm::ScalarEvolutionAnalysis>(kernel);
    for (const llvm::Loop* loop : loops.getLoopsInPreorder())
        if (loop->isLoopSimplifyForm())
            if (const unsigned maxTripCount = maxTripCountOf(*loop, evolution))
                m_loops.push_back(
                    {.loop = loop,
                     .maxTripCount = maxTripCount,
                     .isExact = evolution.getSmallConstantTripCount(loop) == maxTripCount &&
                                hoisting.isAlwaysExecuted(*loop->getHeader())});
    for (llvm::BasicBlock* block : llvm::ReversePostOrderTraversal(&kernel))
        m_order.push_back(block);
}

void IterationTables::make(Level level, llvm::BasicBlock& place, TableMemory& memory,
                           unsigned maxIterations) {
    llvm::BasicBlock* at = &place;
    for (CountedLoop& counted : m_loops) {
        if (counted.maxTripCount > maxIterations)
            continue;
        const Values values = findValues(counted, level);
        const Table table = chooseFields(values);
        const unsigned bytes = table.bytesPerIteration * counted.maxTripCount;
        if (table.fields.empty() || memory.bytes + bytes > memory.maxBytes)
            continue;
        llvm::IRBuilder<> builder(at->getTerminator());
        llvm::Value* written =
            builder.CreateConstGEP1_32(builder.getInt8Ty(), &memory.written, memory.bytes);
        at = &fill(counted, table, values, *at, *written);
        read(counted, table, memory.read, memory.bytes);
        memory.bytes += bytes;
    }
}

bool IterationTables::mayFill(Instruction& instruction, const CountedLoop& counted) const {
    auto* load = llvm::dyn_cast<llvm::LoadInst>(&instruction);
    if (load == nullptr)
        return Hoisting::maySpeculate(instruction);
    if (m_reads.contains(load))
        return true;
    const bool isReadEveryIteration =
        counted.isExact && m_dominators.dominates(load->getParent(), counted.loop->getLoopLatch());
    return (isReadEveryIteration || llvm::isSafeToSpeculativelyExecute(load)) &&
           m_hoisting.isUnclobbered(*load);
}

/// The values that are the same for all threads in the same iteration: phis of the header that
/// start with a value of `level` and are computed from one another, and whatever depends on those
/// and on values of `level` alone. Starts with all phis and takes back what is refuted.
IterationTables::Values IterationTables::findValues(const CountedLoop& counted, Level level) const {
    const llvm::Loop& loop = *counted.loop;
    llvm::SmallPtrSet<const llvm::PHINode*, 8> refuted;
    while (true) {
        Values values;
        const auto isKnown = [&](llvm::Value* value) {
            auto* instruction = llvm::dyn_cast<Instruction>(value);
            return (instruction != nullptr && values.contains(instruction)) ||
                   m_hoisting.level(value) <= level;
        };
        for (llvm::PHINode& phi : loop.getHeader()->phis())
            if (!refuted.contains(&phi) && isKnown(incoming(phi, loop.getLoopPreheader())))
                values.insert(&phi);
        for (llvm::BasicBlock* block : m_order)
            if (loop.contains(block))
                for (Instruction& instruction : *block)
                    if (m_hoisting.level(&instruction) > level && mayFill(instruction, counted) &&
                        llvm::all_of(instruction.operands(), isKnown))
                        values.insert(&instruction);
        const std::size_t before = refuted.size();
        for (llvm::PHINode& phi : loop.getHeader()->phis())
            if (values.contains(&phi) && !isKnown(incoming(phi, loop.getLoopLatch())))
                refuted.insert(&phi);
        if (refuted.size() == before)
            return values;
    }
}

/// The fields are the values that the rest of the kernel uses. A value that is too cheap for a
/// field is recomputed by the kernel, and its operands become fields instead.
IterationTables::Table IterationTables::chooseFields(const Values& values) const {
    constexpr unsigned expensive = 100;
    llvm::DenseMap<const llvm::Value*, unsigned> costs;
    for (Instruction* value : values) {
        unsigned cost = costOf(*value);
        if (!llvm::isa<llvm::PHINode>(value))
            for (llvm::Value* operand : value->operands())
                cost += costs.lookup(operand);
        costs[value] = std::min(cost, expensive);
    }
    llvm::SmallPtrSet<const llvm::Value*, 32> fields;
    llvm::SmallPtrSet<const llvm::Value*, 32> recomputed;
    const auto isUsed = [&](const Instruction& value) {
        return llvm::any_of(value.users(), [&](const llvm::User* user) {
            return recomputed.contains(user) || !costs.contains(user);
        });
    };
    std::size_t known = 0;
    do {
        known = fields.size() + recomputed.size();
        for (Instruction* value : llvm::reverse(values.getArrayRef()))
            if (isUsed(*value)) {
                const bool isField =
                    !m_reads.contains(value) && isWorthReading(*value, costs.lookup(value));
                (isField ? fields : recomputed).insert(value);
            }
    } while (fields.size() + recomputed.size() > known);

    Table table;
    FieldLayout layout(m_layout);
    unsigned saved = 0;
    for (Instruction* value : values)
        if (fields.contains(value)) {
            table.fields.push_back({.value = value, .place = layout.add(*value->getType())});
            saved += costs.lookup(value);
        }
    constexpr unsigned costOfTable = 4;
    if (saved < costOfTable)
        return {};
    table.bytesPerIteration = static_cast<unsigned>(llvm::alignTo(layout.bytes(), 8));
    return table;
}

/// Emits a loop that fills the table, between the instructions of `place` and its terminator.
/// Returns the block that the terminator is in now.
llvm::BasicBlock& IterationTables::fill(const CountedLoop& counted, const Table& table,
                                        const Values& values, llvm::BasicBlock& place,
                                        llvm::Value& memory) const {
    const llvm::Loop& loop = *counted.loop;
    llvm::BasicBlock& filled = *place.splitBasicBlock(place.getTerminator(), "filled");
    auto* body = llvm::BasicBlock::Create(place.getContext(), "fill", place.getParent(), &filled);
    place.getTerminator()->setSuccessor(0, body);
    llvm::IRBuilder<> builder(body);
    llvm::PHINode* index = builder.CreatePHI(builder.getInt32Ty(), 2);

    llvm::ValueToValueMapTy map;
    for (Instruction* value : values) {
        if (auto* phi = llvm::dyn_cast<llvm::PHINode>(value)) {
            map[phi] = builder.CreatePHI(phi->getType(), 2);
            continue;
        }
        Instruction* copy = builder.Insert(value->clone());
        llvm::RemapInstruction(copy, map,
                               llvm::RF_IgnoreMissingLocals | llvm::RF_NoModuleLevelChanges);
        map[value] = copy;
    }
    llvm::Value* entry = entryAddress(builder, memory, *index, table.bytesPerIteration, 0);
    for (const Field& field : table.fields)
        builder.CreateAlignedStore(
            map[field.value],
            builder.CreateConstGEP1_32(builder.getInt8Ty(), entry, field.place.offset),
            field.place.align);
    llvm::Value* next = builder.CreateNUWAdd(index, builder.getInt32(1));
    builder.CreateCondBr(builder.CreateICmpULT(next, builder.getInt32(counted.maxTripCount)), body,
                         &filled);
    index->addIncoming(builder.getInt32(0), &place);
    index->addIncoming(next, body);
    const auto mapped = [&](llvm::Value* value) {
        const auto known = map.find(value);
        return known != map.end() ? static_cast<llvm::Value*>(known->second) : value;
    };
    for (Instruction* value : values)
        if (auto* phi = llvm::dyn_cast<llvm::PHINode>(value)) {
            auto* copy = llvm::cast<llvm::PHINode>(map[phi]);
            copy->addIncoming(incoming(*phi, loop.getLoopPreheader()), &place);
            copy->addIncoming(mapped(incoming(*phi, loop.getLoopLatch())), body);
        }
    return filled;
}

llvm::PHINode& IterationTables::indexOf(CountedLoop& counted) const {
    if (counted.index != nullptr)
        return *counted.index;
    const llvm::Loop& loop = *counted.loop;
    llvm::IRBuilder<> builder(loop.getHeader(), loop.getHeader()->begin());
    counted.index = builder.CreatePHI(builder.getInt32Ty(), 2);
    counted.index->addIncoming(builder.getInt32(0), loop.getLoopPreheader());
    builder.SetInsertPoint(loop.getLoopLatch()->getTerminator());
    counted.index->addIncoming(builder.CreateNUWAdd(counted.index, builder.getInt32(1)),
                               loop.getLoopLatch());
    return *counted.index;
}

void IterationTables::read(CountedLoop& counted, const Table& table, llvm::Value& memory,
                           unsigned offset) {
    llvm::BasicBlock* header = counted.loop->getHeader();
    llvm::PHINode& index = indexOf(counted);
    llvm::IRBuilder<> builder(header, header->getFirstInsertionPt());
    llvm::Value* entry = entryAddress(builder, memory, index, table.bytesPerIteration, offset);
    const llvm::BasicBlock::iterator first = builder.GetInsertPoint();
    for (const Field& field : table.fields) {
        if (llvm::isa<llvm::PHINode>(field.value))
            builder.SetInsertPoint(header, first);
        else
            builder.SetInsertPoint(field.value->getParent(), ++field.value->getIterator());
        llvm::LoadInst* value = builder.CreateAlignedLoad(
            field.value->getType(),
            builder.CreateConstGEP1_32(builder.getInt8Ty(), entry, field.place.offset),
            field.place.align);
        value->setMetadata(llvm::LLVMContext::MD_invariant_load,
                           llvm::MDNode::get(value->getContext(), {}));
        field.value->replaceAllUsesWith(value);
        m_reads.insert(value);
    }
}

} // namespace compute::host
