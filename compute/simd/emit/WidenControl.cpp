// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/emit/WidenControl.h"

#include "compute/kernel/Calls.h"
#include "compute/kernel/GroupOperations.h"
#include "compute/kernel/LoopLines.h"
#include "compute/simd/emit/WidenArithmetic.h"
#include "compute/simd/emit/WidenTogether.h"

#include <llvm/ADT/STLExtras.h>

namespace compute::simd {
namespace {

/// A region of no more instructions than this is faster to run with an empty mask than to jump
/// over.
constexpr unsigned worthJumping = 12;

bool isUndefined(const llvm::Value* value) {
    return llvm::isa<llvm::UndefValue>(value);
}

} // namespace

void WidenControl::run(llvm::Function& kernel, llvm::Value* mask) {
    layOut(&kernel.getEntryBlock(), mask, nullptr);
}

llvm::BasicBlock* WidenControl::newBlock(const char* name) {
    return llvm::BasicBlock::Create(m_builder.getContext(), name,
                                    m_builder.GetInsertBlock()->getParent());
}

llvm::PHINode* WidenControl::newPhi(llvm::Type* type, unsigned count) {
    llvm::BasicBlock* block = m_builder.GetInsertBlock();
    return llvm::PHINode::Create(type, count, "", block->begin());
}

llvm::Type* WidenControl::typeOf(const llvm::PHINode& phi) const {
    return m_values.stride(&phi) ? phi.getType() : m_builder.wideType(phi.getType());
}

// --- States --------------------------------------------------------------------------------------

WidenControl::State WidenControl::save(const Blocks& blocks) const {
    State state{m_builder.GetInsertBlock(), {}};
    for (const Block* block : blocks)
        state.slots.push_back(m_slots.lookup(block));
    return state;
}

void WidenControl::restore(const Blocks& blocks, const State& state) {
    for (unsigned i = 0; i < blocks.size(); ++i)
        m_slots[blocks[i]] = state.slots[i];
}

llvm::Value* WidenControl::joinValues(llvm::ArrayRef<llvm::Value*> values,
                                      llvm::ArrayRef<State> states, llvm::Value* missing) {
    if (llvm::all_equal(values))
        return values[0];
    llvm::PHINode* phi = newPhi(missing->getType(), static_cast<unsigned>(values.size()));
    for (unsigned i = 0; i < values.size(); ++i)
        phi->addIncoming(values[i] != nullptr ? values[i] : missing, states[i].at);
    return phi;
}

void WidenControl::join(const Blocks& blocks, llvm::ArrayRef<State> states) {
    for (unsigned i = 0; i < blocks.size(); ++i) {
        Slot joined;
        llvm::SmallVector<llvm::Value*> values;
        for (const State& state : states)
            values.push_back(state.slots[i].mask);
        joined.mask = joinValues(values, states, m_builder.noLanes());
        unsigned number = 0;
        for (llvm::PHINode& phi : blocks[i]->phis()) {
            values.clear();
            for (const State& state : states)
                values.push_back(number < state.slots[i].phis.size() ? state.slots[i].phis[number]
                                                                     : nullptr);
            joined.phis.push_back(joinValues(values, states, llvm::PoisonValue::get(typeOf(phi))));
            ++number;
        }
        m_slots[blocks[i]] = std::move(joined);
    }
}

// --- Edges ---------------------------------------------------------------------------------------

void WidenControl::followEdge(Block& from, Block& to, llvm::Value* mask, bool isNonEmpty) {
    Slot slot = m_slots.lookup(&to);
    if (needsMask(&to))
        slot.mask = slot.mask == nullptr ? mask : m_builder.maskOr(slot.mask, mask);
    unsigned number = 0;
    for (llvm::PHINode& phi : to.phis()) {
        if (slot.phis.size() <= number)
            slot.phis.push_back(nullptr);
        llvm::Value*& arrived = slot.phis[number++];
        llvm::Value* value = phi.getIncomingValueForBlock(&from);
        if (arrived != nullptr && isUndefined(value))
            continue;
        if (m_values.stride(&phi)) {
            // A phi that is not divergent: all threads that arrive here took the same edge.
            llvm::Value* next = m_values.first(value);
            arrived = arrived == nullptr || isNonEmpty
                          ? next
                          : m_builder.CreateSelect(m_builder.any(mask), next, arrived);
            continue;
        }
        llvm::Value* next = m_values.wide(value);
        arrived = arrived == nullptr ? next : m_builder.blend(mask, next, arrived);
    }
    m_slots[&to] = std::move(slot);
}

void WidenControl::takeSlot(Block& block) {
    const Slot slot = m_slots.lookup(&block);
    unsigned number = 0;
    for (llvm::PHINode& phi : block.phis()) {
        llvm::Value* value = number < slot.phis.size() ? slot.phis[number] : nullptr;
        ++number;
        if (value == nullptr)
            value = llvm::PoisonValue::get(typeOf(phi));
        const auto stride = m_values.stride(&phi);
        if (!stride) {
            m_values.setWide(&phi, value);
            continue;
        }
        m_values.setScalar(&phi, value);
        if (*stride != 0)
            m_values.setWide(&phi, wideOfAffine(m_builder, m_values, value, *stride));
    }
    m_slots.erase(&block);
}

llvm::Value* WidenControl::followExit(llvm::BranchInst& branch, llvm::Value* mask, OpenLoop& loop) {
    Block& block = *branch.getParent();
    Block* next = m_tree.continuation(&block);
    const bool continuesWhenTrue = branch.getSuccessor(0) == next;
    Block* out = branch.getSuccessor(continuesWhenTrue ? 1 : 0);
    llvm::BasicBlock* inside = newBlock("stay");
    if (m_uniformity.diverges(block)) {
        llvm::Value* condition = m_values.wide(branch.getCondition());
        llvm::Value* staying = continuesWhenTrue ? m_builder.maskAnd(mask, condition)
                                                 : m_builder.maskAndNot(mask, condition);
        llvm::Value* leaving = continuesWhenTrue ? m_builder.maskAndNot(mask, condition)
                                                 : m_builder.maskAnd(mask, condition);
        followEdge(block, *out, leaving, false);
        followEdge(block, *next, staying, true);
        loop.exits.push_back(save(loop.targets));
        m_builder.CreateCondBr(m_builder.any(staying), inside, loop.after);
        m_builder.SetInsertPoint(inside);
        return staying;
    }
    const State before = save(loop.targets);
    followEdge(block, *out, mask, true);
    loop.exits.push_back(save(loop.targets));
    restore(loop.targets, before);
    followEdge(block, *next, mask, true);
    llvm::Value* condition = m_values.scalar(branch.getCondition());
    m_builder.CreateCondBr(condition, continuesWhenTrue ? inside : loop.after,
                           continuesWhenTrue ? loop.after : inside);
    m_builder.SetInsertPoint(inside);
    return mask;
}

llvm::Value* WidenControl::followTerminator(Block& block, llvm::Value* mask, OpenLoop* loop) {
    auto* branch = llvm::dyn_cast<llvm::BranchInst>(block.getTerminator());
    if (branch == nullptr)
        return mask;
    m_builder.SetCurrentDebugLocation(branch->getDebugLoc());
    if (m_tree.continuation(&block) != nullptr)
        return followExit(*branch, mask, *loop);
    if (branch->isUnconditional() || branch->getSuccessor(0) == branch->getSuccessor(1)) {
        followEdge(block, *branch->getSuccessor(0), mask, !m_mayBeEmpty);
        return mask;
    }
    if (uniformBranch(&block) != nullptr) {
        followEdge(block, *branch->getSuccessor(0), mask, true);
        followEdge(block, *branch->getSuccessor(1), mask, true);
        return mask;
    }
    llvm::Value* condition = m_values.wide(branch->getCondition());
    followEdge(block, *branch->getSuccessor(0), m_builder.maskAnd(mask, condition), false);
    followEdge(block, *branch->getSuccessor(1), m_builder.maskAndNot(mask, condition), false);
    return mask;
}

// --- Blocks --------------------------------------------------------------------------------------

void WidenControl::widenBlock(Block& block, llvm::Value* mask) {
    takeSlot(block);
    for (llvm::Instruction& instruction : block)
        if (!llvm::isa<llvm::PHINode, llvm::AllocaInst>(instruction) && !instruction.isTerminator())
            widenInstruction(instruction, mask);
}

void WidenControl::widenInstruction(llvm::Instruction& instruction, llvm::Value* mask) {
    m_builder.SetCurrentDebugLocation(instruction.getDebugLoc());
    if (kernel::groupOperation(instruction) != kernel::GroupOperation::None)
        return widenTogether(m_builder, m_values, llvm::cast<llvm::CallInst>(instruction), mask);
    const bool hasUniformOperands =
        llvm::all_of(instruction.operands(),
                     [&](const llvm::Use& operand) { return m_values.isUniform(operand.get()); });
    if (m_values.isUniform(&instruction) &&
        (hasUniformOperands || !instruction.getType()->isVoidTy())) {
        llvm::Instruction* made = instruction.clone();
        for (llvm::Use& operand : made->operands())
            operand.set(m_values.scalar(operand.get()));
        m_builder.Insert(made);
        m_values.setScalar(&instruction, made);
        return;
    }
    if (const auto stride = m_values.stride(&instruction);
        stride && *stride != 0 && !instruction.mayReadOrWriteMemory()) {
        llvm::Value* first = firstOfAffine(m_builder, m_values, instruction);
        m_values.setScalar(&instruction, first);
        m_values.setWide(&instruction,
                         llvm::isa<llvm::GetElementPtrInst>(instruction)
                             ? wideOfAffine(m_builder, m_values, first, *stride)
                             : widenArithmetic(m_builder, m_values, instruction, mask));
        return;
    }
    if (auto* address = llvm::dyn_cast<llvm::GetElementPtrInst>(&instruction))
        return m_memory.widenAddress(*address);
    if (auto* call = llvm::dyn_cast<llvm::CallInst>(&instruction);
        call && kernel::isCallOfProgram(*call))
        return m_calls.widen(m_builder, m_values, *call, mask);
    if (instruction.mayReadOrWriteMemory())
        return m_memory.widenAccess(instruction, mask);
    m_values.setWide(&instruction, widenArithmetic(m_builder, m_values, instruction, mask));
}

llvm::BranchInst* WidenControl::uniformBranch(Block* block) const {
    auto* branch = llvm::dyn_cast<llvm::BranchInst>(block->getTerminator());
    if (branch == nullptr || !branch->isConditional() || m_uniformity.diverges(*block) ||
        m_tree.continuation(block) != nullptr)
        return nullptr;
    const llvm::LoopInfo& loops = m_tree.loops();
    const bool dominatesBoth = llvm::all_of(llvm::successors(block), [&](const Block* side) {
        return side->getSinglePredecessor() == block &&
               loops.getLoopFor(side) == loops.getLoopFor(block);
    });
    return dominatesBoth ? branch : nullptr;
}

void WidenControl::layOut(Block* block, llvm::Value* mask, OpenLoop* loop) {
    while (block != nullptr) {
        const llvm::Loop* level = m_tree.loops().getLoopFor(block);
        const bool isLoop = level != nullptr && level->getHeader() == block &&
                            (loop == nullptr || loop->loop != level);
        if (isLoop) {
            layOutLoop(*level, mask);
        } else {
            widenBlock(*block, mask);
            mask = followTerminator(*block, mask, loop);
            if (Block* next = m_tree.continuation(block)) {
                block = next;
                continue;
            }
        }
        llvm::BranchInst* uniform = isLoop ? nullptr : uniformBranch(block);
        if (uniform != nullptr)
            layOutUniformBranch(*uniform, mask, loop);
        Block* next = nullptr;
        for (Block* child : isLoop ? m_tree.childrenOfLoop(level) : m_tree.children(block)) {
            if (m_tree.reconverges(child))
                next = child;
            else if (uniform == nullptr || child->getSinglePredecessor() != block)
                layOutChild(child, loop);
        }
        block = next;
    }
}

void WidenControl::layOutChild(Block* child, OpenLoop* loop) {
    llvm::Value* mask = m_slots.lookup(child).mask;
    if (mask == nullptr)
        mask = m_builder.noLanes();
    const ControlTree::Weight& weight = m_tree.weight(child);
    if (weight.needsThread || weight.instructions > worthJumping)
        return layOutIf(m_builder.any(mask), child, mask, loop);
    const bool mayHaveBeenEmpty = m_mayBeEmpty;
    m_mayBeEmpty = true;
    layOut(child, mask, loop);
    m_mayBeEmpty = mayHaveBeenEmpty;
}

void WidenControl::layOutIf(llvm::Value* condition, Block* child, llvm::Value* mask,
                            OpenLoop* loop) {
    const Blocks targets = m_tree.exitTargets(child);
    llvm::BasicBlock* inside = newBlock("if");
    llvm::BasicBlock* after = newBlock("end");
    llvm::SmallVector<State, 2> states = {save(targets)};
    m_builder.CreateCondBr(condition, inside, after);
    m_builder.SetInsertPoint(inside);
    const bool mayHaveBeenEmpty = m_mayBeEmpty;
    m_mayBeEmpty = false;
    layOut(child, mask, loop);
    m_mayBeEmpty = mayHaveBeenEmpty;
    states.push_back(save(targets));
    m_builder.CreateBr(after);
    m_builder.SetInsertPoint(after);
    join(targets, states);
}

void WidenControl::layOutUniformBranch(llvm::BranchInst& branch, llvm::Value* mask,
                                       OpenLoop* loop) {
    Blocks targets = m_tree.exitTargets(branch.getSuccessor(0));
    for (Block* target : m_tree.exitTargets(branch.getSuccessor(1)))
        if (!llvm::is_contained(targets, target))
            targets.push_back(target);
    const std::array<llvm::BasicBlock*, 2> sides = {newBlock("then"), newBlock("else")};
    llvm::BasicBlock* after = newBlock("end");
    m_builder.CreateCondBr(m_values.scalar(branch.getCondition()), sides[0], sides[1]);
    const State before = save(targets);
    llvm::SmallVector<State, 2> states;
    for (unsigned i : {0u, 1u}) {
        restore(targets, before);
        m_builder.SetInsertPoint(sides[i]);
        layOut(branch.getSuccessor(i), mask, loop);
        states.push_back(save(targets));
        m_builder.CreateBr(after);
    }
    m_builder.SetInsertPoint(after);
    join(targets, states);
}

// --- Loops ---------------------------------------------------------------------------------------

void WidenControl::makeLoopPhis(const Blocks& blocks, llvm::BasicBlock* before) {
    for (Block* block : blocks) {
        Slot slot = m_slots.lookup(block);
        if (needsMask(block)) {
            llvm::PHINode* mask = newPhi(m_builder.maskType(), 2);
            mask->addIncoming(slot.mask != nullptr ? slot.mask : m_builder.noLanes(), before);
            slot.mask = mask;
        }
        unsigned number = 0;
        for (llvm::PHINode& old : block->phis()) {
            if (slot.phis.size() <= number)
                slot.phis.push_back(nullptr);
            llvm::Value*& arrived = slot.phis[number++];
            llvm::PHINode* phi = newPhi(typeOf(old), 2);
            phi->addIncoming(arrived != nullptr ? arrived : llvm::PoisonValue::get(phi->getType()),
                             before);
            arrived = phi;
        }
        m_slots[block] = std::move(slot);
    }
}

void WidenControl::completeLoopPhis(const Blocks& blocks, const State& first) {
    const auto add = [&](llvm::Value* phi, llvm::Value* value) {
        if (phi != nullptr)
            llvm::cast<llvm::PHINode>(phi)->addIncoming(value, m_builder.GetInsertBlock());
    };
    for (unsigned i = 0; i < blocks.size(); ++i) {
        const Slot& last = m_slots[blocks[i]];
        add(first.slots[i].mask, last.mask);
        for (unsigned number = 0; number < last.phis.size(); ++number)
            add(first.slots[i].phis[number], last.phis[number]);
    }
}

void WidenControl::layOutLoop(const llvm::Loop& loop, llvm::Value* mask) {
    Block* header = loop.getHeader();
    const bool hasUniformExits = m_tree.hasUniformExits(&loop);
    OpenLoop open{.loop = &loop, .after = newBlock("left"), .targets = {}, .exits = {}};
    llvm::SmallVector<Block*, 4> exits;
    loop.getUniqueExitBlocks(exits);
    open.targets.append(exits.begin(), exits.end());

    llvm::BasicBlock* before = m_builder.GetInsertBlock();
    llvm::BasicBlock* begin = newBlock("loop");
    m_builder.CreateBr(begin);
    m_builder.SetInsertPoint(begin);
    Blocks carried = hasUniformExits ? Blocks{} : open.targets;
    carried.push_back(header);
    // While the loop is open, the header's slot collects what the back edge brings to the next
    // iteration, and its mask the threads that stay.
    m_openHeaders.insert(header);
    m_slots[header].mask = mask;
    makeLoopPhis(carried, before);
    const State first = save(carried);
    layOut(header, hasUniformExits ? mask : first.slots.back().mask, &open);
    m_openHeaders.erase(header);

    Slot& next = m_slots[header];
    if (next.mask == nullptr) // the back edge is never taken
        next = first.slots.back();
    llvm::Value* staying = next.mask;
    completeLoopPhis(carried, first);
    m_builder.SetCurrentDebugLocation(kernel::beginOf(loop));
    if (m_tree.allExitsJump(&loop)) {
        m_builder.CreateBr(begin);
    } else {
        open.exits.push_back(save(open.targets));
        m_builder.CreateCondBr(m_builder.any(staying), begin, open.after);
    }
    m_slots.erase(header);
    m_builder.SetInsertPoint(open.after);
    if (!open.exits.empty())
        join(open.targets, open.exits);
}

} // namespace compute::simd
