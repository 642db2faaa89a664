// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/host/loop/SplitAtBarriers.h"

#include "compute/host/loop/VectorFrame.h"
#include "compute/host/memory/PlaceVariables.h"
#include "compute/kernel/GroupOperations.h"

#include <llvm/ADT/SetVector.h>
#include <llvm/Analysis/ValueTracking.h>
#include <llvm/IR/CFG.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/Support/MathExtras.h>
#include <llvm/Transforms/Utils/SSAUpdater.h>

namespace compute::host {
namespace {

using llvm::BasicBlock;
using llvm::Instruction;

/// Frames of a threadgroup, at most.
constexpr std::uint64_t maxFrameBytes = 16u << 20;

/// Where the body was taken apart: a vector leaves at the end of `before` and resumes at `after`.
struct Barrier {
    BasicBlock* before;
    BasicBlock* after;
};

class Splitter {
public:
    Splitter(const ThreadLoop& loop, std::string_view kernel)
        : m_loop(loop),
          m_kernel(kernel),
          m_function(loop.tile),
          m_header(*loop.thread),
          m_latch(*loop.threadEnd) {}

    platform::Result<std::uint64_t> run() {
        llvm::SmallVector<llvm::CallInst*> calls;
        for (Instruction& instruction : llvm::instructions(m_function))
            if (kernel::groupOperation(instruction) == kernel::GroupOperation::ThreadgroupBarrier)
                calls.push_back(llvm::cast<llvm::CallInst>(&instruction));
        if (calls.empty())
            return 0;
        m_start = m_header.splitBasicBlock(m_header.getFirstNonPHIIt());
        for (llvm::CallInst* call : calls)
            split(*call);
        findBody();
        moveWhatIsUsedOutside();
        findLiveValues();
        for (unsigned step = 0; step < maxAddressSteps && computeAddressesWhereUsed(); ++step)
            findLiveValues();
        recomputeCheapValues();
        moveVariables();
        const std::uint64_t bytes = m_frame.bytes();
        if (bytes * vectors() > maxFrameBytes)
            return platform::Error{"kernel '" + std::string(m_kernel) +
                                   "' keeps too much across its barriers: more than " +
                                   std::to_string(maxFrameBytes / kernel::maxGroupThreads) +
                                   " bytes for one thread"};
        addFrame(bytes);
        addDispatch();
        for (auto& [value, places] : m_live)
            keep(*value, places);
        return bytes;
    }

private:
    std::uint64_t vectors() const { return kernel::maxGroupThreads / m_loop.lanes; }

    void split(llvm::CallInst& call) {
        BasicBlock* before = call.getParent();
        BasicBlock* after = before->splitBasicBlock(std::next(call.getIterator()));
        call.eraseFromParent();
        m_barriers.push_back({before, after});
        m_afterBarrier.insert(after);
    }

    void findBody() {
        m_body.insert(m_start);
        for (unsigned i = 0; i < m_body.size(); ++i)
            for (BasicBlock* next : llvm::successors(m_body[i]))
                if (next != &m_latch)
                    m_body.insert(next);
    }

    /// The loop may count on by a number that the body has computed already.
    void moveWhatIsUsedOutside() {
        for (BasicBlock* block : m_body)
            for (Instruction& value : llvm::make_early_inc_range(*block))
                if (llvm::any_of(value.users(),
                                 [this](const llvm::User* user) { return !isInBody(user); }))
                    moveToHeader(value);
    }

    bool isInBody(const llvm::Value* value) const {
        const auto* instruction = llvm::dyn_cast<Instruction>(value);
        return instruction != nullptr &&
               m_body.contains(const_cast<BasicBlock*>(instruction->getParent()));
    }

    // --- Values ----------------------------------------------------------------------------------

    /// Where a value that is live behind a barrier is kept.
    struct Places {
        llvm::SmallVector<BasicBlock*, 4> blocks; ///< those behind barriers
        std::uint64_t offset = 0;
    };

    void findLiveValues() {
        m_live.clear();
        for (BasicBlock* block : m_body)
            for (Instruction& instruction : *block)
                if (!instruction.getType()->isVoidTy())
                    if (Places places = findPlaces(instruction); !places.blocks.empty())
                        m_live.insert({&instruction, std::move(places)});
    }

    Places findPlaces(Instruction& value) const {
        BasicBlock* home = value.getParent();
        llvm::SmallSetVector<BasicBlock*, 16> blocks; // at whose begin it is live
        for (llvm::Use& use : value.uses())
            if (BasicBlock* block = blockOf(use); block != home)
                blocks.insert(block);
        Places places;
        for (unsigned i = 0; i < blocks.size(); ++i) {
            if (m_afterBarrier.contains(blocks[i]))
                places.blocks.push_back(blocks[i]);
            for (BasicBlock* before : llvm::predecessors(blocks[i]))
                if (before != home)
                    blocks.insert(before);
        }
        return places;
    }

    /// Where the value is needed: for a phi, at the end of the block that it comes from.
    static BasicBlock* blockOf(const llvm::Use& use) {
        const auto* user = llvm::cast<Instruction>(use.getUser());
        if (const auto* phi = llvm::dyn_cast<llvm::PHINode>(user))
            return phi->getIncomingBlock(use);
        return const_cast<BasicBlock*>(user->getParent());
    }

    /// A pointer that was kept would have to be confined again, so rather what it is made of is
    /// kept. Returns whether anything changed.
    bool computeAddressesWhereUsed() {
        bool isChanged = false;
        for (auto& [value, places] : llvm::reverse(m_live)) {
            auto* address = llvm::dyn_cast<llvm::GetElementPtrInst>(value);
            if (address == nullptr)
                continue;
            llvm::DenseMap<BasicBlock*, Instruction*> copies;
            for (llvm::Use& use : llvm::make_early_inc_range(address->uses())) {
                BasicBlock* block = blockOf(use);
                if (block == address->getParent())
                    continue;
                Instruction*& copy = copies[block];
                if (copy == nullptr) {
                    copy = address->clone();
                    copy->insertBefore(&*block->getFirstInsertionPt());
                }
                use.set(copy);
                isChanged = true;
            }
        }
        return isChanged;
    }

    /// Values that cost little and depend on the vector alone are computed anew each time.
    void recomputeCheapValues() {
        for (auto& [value, places] : m_live)
            if (unsigned budget = mostRecomputed; isCheap(*value, budget))
                moveToHeader(*value);
        m_live.remove_if([&](const auto& one) { return !isInBody(one.first); });
        for (auto& [value, places] : m_live)
            places.offset = m_frame.add(*value->getType(), m_function.getParent()->getDataLayout());
    }

    bool isCheap(const Instruction& value, unsigned& budget) const {
        const bool isPlain =
            llvm::isa<llvm::BinaryOperator, llvm::CastInst, llvm::CmpInst, llvm::SelectInst,
                      llvm::GetElementPtrInst, llvm::InsertElementInst, llvm::ShuffleVectorInst>(
                value);
        if (!isPlain || budget == 0 || !llvm::isSafeToSpeculativelyExecute(&value))
            return false;
        --budget;
        return llvm::all_of(value.operands(), [&](const llvm::Use& operand) {
            return !isInBody(operand.get()) ||
                   isCheap(*llvm::cast<Instruction>(operand.get()), budget);
        });
    }

    void moveToHeader(Instruction& value) {
        if (!isInBody(&value))
            return;
        for (llvm::Use& operand : value.operands())
            if (isInBody(operand.get()))
                moveToHeader(*llvm::cast<Instruction>(operand.get()));
        value.moveBefore(m_header.getTerminator());
        value.dropLocation(); // it is done in front of every line now
    }

    /// Stores the value before each barrier behind which it is live, loads it behind, and has every
    /// use read whichever came last.
    void keep(Instruction& value, const Places& places) {
        llvm::Type* type = value.getType();
        llvm::SSAUpdater updater;
        updater.Initialize(type, value.getName());
        updater.AddAvailableValue(value.getParent(), &value);
        llvm::DenseMap<BasicBlock*, llvm::Value*> kept;
        for (const Barrier& barrier : m_barriers) {
            if (!llvm::is_contained(places.blocks, barrier.after))
                continue;
            llvm::IRBuilder<> writer(barrier.before->getTerminator());
            VectorFrame::store(writer, &value, *m_framePointer, places.offset);
            llvm::IRBuilder<> reader(&*barrier.after->begin());
            kept[barrier.after] = VectorFrame::load(reader, *type, *m_framePointer, places.offset);
            updater.AddAvailableValue(barrier.after, kept[barrier.after]);
        }
        llvm::SmallVector<llvm::Use*> uses;
        for (llvm::Use& use : value.uses())
            uses.push_back(&use);
        for (llvm::Use* use : uses) {
            BasicBlock* block = blockOf(*use);
            if (block == value.getParent())
                continue;
            if (llvm::Value* loaded = kept.lookup(block))
                use->set(loaded);
            else
                use->set(updater.GetValueAtEndOfBlock(block));
        }
    }

    // --- Variables -------------------------------------------------------------------------------

    /// What is done with the address of a variable.
    struct Uses {
        llvm::SmallSetVector<Instruction*, 8> outside; ///< address arithmetic outside of the body
        llvm::SmallPtrSet<BasicBlock*, 8> blocks;      ///< of the body
        bool escapes = false;
        bool isOfLoop = true; ///< nothing outside of the loop over vectors accesses it
    };

    static bool isAddress(const Instruction& user) {
        return llvm::isa<llvm::GetElementPtrInst, llvm::PHINode, llvm::SelectInst, llvm::FreezeInst,
                         llvm::InsertElementInst, llvm::ExtractElementInst,
                         llvm::ShuffleVectorInst>(user);
    }

    static bool isPlainAccess(const llvm::Use& use) {
        const llvm::User* user = use.getUser();
        if (llvm::isa<llvm::StoreInst>(user))
            return use.getOperandNo() == llvm::StoreInst::getPointerOperandIndex();
        if (llvm::isa<llvm::AtomicRMWInst, llvm::AtomicCmpXchgInst>(user))
            return use.getOperandNo() == 0;
        if (const auto* call = llvm::dyn_cast<llvm::IntrinsicInst>(user))
            return use.getOperandNo() != 0 ||
                   (call->getIntrinsicID() != llvm::Intrinsic::masked_store &&
                    call->getIntrinsicID() != llvm::Intrinsic::masked_scatter);
        return llvm::isa<llvm::LoadInst, llvm::ICmpInst>(user);
    }

    Uses trace(llvm::AllocaInst& variable) const {
        Uses uses;
        llvm::SmallPtrSet<Instruction*, 16> seen;
        llvm::SmallVector<Instruction*> pointers = {&variable};
        while (!pointers.empty())
            for (llvm::Use& use : pointers.pop_back_val()->uses()) {
                auto* user = llvm::cast<Instruction>(use.getUser());
                const bool isInside = isInBody(user);
                if (isInside)
                    uses.blocks.insert(user->getParent());
                else if (user->getParent() == &m_header) // computed anew for each vector
                    uses.escapes |= !isAddress(*user) && !isPlainAccess(use);
                else if (isAddress(*user) && !llvm::isa<llvm::PHINode>(user))
                    uses.outside.insert(user);
                else
                    uses.isOfLoop = false;
                if (!isAddress(*user))
                    uses.escapes |= !isPlainAccess(use);
                else if (seen.insert(user).second)
                    pointers.push_back(user);
            }
        return uses;
    }

    llvm::SmallPtrSet<BasicBlock*, 32> reachable(bool isForward) const {
        llvm::SmallPtrSet<BasicBlock*, 32> found;
        llvm::SmallVector<BasicBlock*> open;
        const auto visit = [&](BasicBlock* block) {
            if (m_body.contains(block) && found.insert(block).second)
                open.push_back(block);
        };
        for (const Barrier& barrier : m_barriers)
            visit(isForward ? barrier.after : barrier.before);
        while (!open.empty()) {
            BasicBlock* block = open.pop_back_val();
            if (isForward)
                llvm::for_each(llvm::successors(block), visit);
            else
                llvm::for_each(llvm::predecessors(block), visit);
        }
        return found;
    }

    /// Gives each vector variables of its own, where they may be used on both sides of a barrier.
    void moveVariables() {
        const auto before = reachable(false);
        const auto after = reachable(true);
        const llvm::DataLayout& layout = m_function.getParent()->getDataLayout();
        for (Instruction& instruction : m_function.getEntryBlock()) {
            auto* variable = llvm::dyn_cast<llvm::AllocaInst>(&instruction);
            if (variable == nullptr || simd::isTemporary(*variable))
                continue;
            Uses uses = trace(*variable);
            const auto isIn = [](const auto& blocks) {
                return [&](BasicBlock* block) { return blocks.contains(block); };
            };
            const bool crosses = uses.escapes || (llvm::any_of(uses.blocks, isIn(before)) &&
                                                  llvm::any_of(uses.blocks, isIn(after)));
            const auto size = variable->getAllocationSize(layout);
            if (!crosses || !uses.isOfLoop || uses.blocks.empty() || !size)
                continue;
            const std::uint64_t offset = m_frame.add(size->getFixedValue(), variable->getAlign());
            m_moved.push_back({variable, std::move(uses), offset});
        }
    }

    struct MovedVariable {
        llvm::AllocaInst* variable;
        Uses uses;
        std::uint64_t offset;
    };

    // --- Control flow ----------------------------------------------------------------------------

    /// Finds the vector's frame where the body begins.
    void addFrame(std::uint64_t bytes) {
        llvm::Argument& memory = *m_loop.memory[1];
        llvm::IRBuilder<> entry(m_function.getContext());
        entry.SetInsertPointPastAllocas(&m_function);
        llvm::Value* frames = entry.CreateAlignedLoad(
            entry.getPtrTy(),
            entry.CreateConstGEP1_64(entry.getInt8Ty(), &memory, offsetof(KernelMemory, vectors)),
            llvm::Align(alignof(KernelMemory)));
        llvm::IRBuilder<> builder(&*m_header.getFirstNonPHIIt());
        llvm::Value* number = builder.CreateAnd(
            builder.CreateLShr(m_loop.position, llvm::Log2_32(m_loop.lanes)), vectors() - 1);
        llvm::Value* offset = builder.CreateMul(builder.CreateZExt(number, builder.getInt64Ty()),
                                                builder.getInt64(bytes));
        m_framePointer =
            llvm::cast<Instruction>(builder.CreateGEP(builder.getInt8Ty(), frames, offset));
        for (const MovedVariable& moved : m_moved) {
            for (llvm::User* user : llvm::make_early_inc_range(moved.variable->users()))
                if (auto* marker = llvm::dyn_cast<llvm::IntrinsicInst>(user);
                    marker != nullptr && marker->isLifetimeStartOrEnd())
                    marker->eraseFromParent();
            moved.variable->replaceAllUsesWith(
                builder.CreateConstGEP1_64(builder.getInt8Ty(), m_framePointer, moved.offset));
            moved.variable->eraseFromParent();
        }
        // Addresses computed before the loop follow their variables, each behind its operands.
        llvm::SmallPtrSet<Instruction*, 16> toMove;
        for (const MovedVariable& moved : m_moved)
            toMove.insert(moved.uses.outside.begin(), moved.uses.outside.end());
        Instruction* place = &*builder.GetInsertPoint();
        for (BasicBlock& block : m_function)
            if (!toMove.empty() && !m_body.contains(&block) && &block != &m_header)
                for (Instruction& instruction : llvm::make_early_inc_range(block))
                    if (toMove.contains(&instruction))
                        instruction.moveBefore(place);
    }

    /// The row's block, or the last one of the tables that are filled first (IterationTables.h).
    BasicBlock* blockBeforeLoop() const {
        for (BasicBlock* before : llvm::predecessors(&m_header))
            if (before != &m_latch)
                return before;
        llvm_unreachable("the loop over vectors is never entered");
    }

    void addDispatch() {
        llvm::LLVMContext& context = m_function.getContext();
        BasicBlock* before = blockBeforeLoop();
        const auto newBlock = [&](const char* name) {
            return BasicBlock::Create(context, name, &m_function, &m_latch);
        };
        BasicBlock* outer = newBlock("outer");
        BasicBlock* again = newBlock("outer.latch");
        BasicBlock* finished = newBlock("finished");
        llvm::IRBuilder<> builder(context);

        before->getTerminator()->replaceSuccessorWith(&m_header, outer);
        m_header.replacePhiUsesWith(before, outer);
        builder.SetInsertPoint(outer);
        llvm::PHINode* isFirst = builder.CreatePHI(builder.getInt1Ty(), 2);
        isFirst->addIncoming(builder.getTrue(), before);
        isFirst->addIncoming(builder.getFalse(), again);
        builder.CreateBr(&m_header);

        builder.SetInsertPoint(finished);
        for (BasicBlock* last : llvm::SmallVector<BasicBlock*>(llvm::predecessors(&m_latch)))
            last->getTerminator()->replaceSuccessorWith(&m_latch, finished);
        VectorFrame::store(builder, builder.getInt32(doneState()), *m_framePointer, 0);
        builder.CreateBr(&m_latch);

        builder.SetInsertPoint(&m_header, m_header.begin());
        llvm::PHINode* wasWaiting = builder.CreatePHI(builder.getInt1Ty(), 2);
        builder.SetInsertPoint(&m_latch, m_latch.begin());
        llvm::PHINode* isWaiting =
            builder.CreatePHI(builder.getInt1Ty(), static_cast<unsigned>(m_barriers.size() + 2));
        wasWaiting->addIncoming(builder.getFalse(), outer);
        wasWaiting->addIncoming(isWaiting, &m_latch);
        isWaiting->addIncoming(wasWaiting, finished);

        for (unsigned i = 0; i < m_barriers.size(); ++i) {
            BasicBlock* waiting = m_barriers[i].before;
            waiting->getTerminator()->eraseFromParent();
            builder.SetInsertPoint(waiting);
            VectorFrame::store(builder, builder.getInt32(i + 1), *m_framePointer, 0);
            builder.CreateBr(&m_latch);
            isWaiting->addIncoming(builder.getTrue(), waiting);
        }

        m_header.getTerminator()->eraseFromParent();
        builder.SetInsertPoint(&m_header);
        llvm::Value* state = builder.CreateSelect(
            isFirst, builder.getInt32(0),
            VectorFrame::load(builder, *builder.getInt32Ty(), *m_framePointer, 0));
        BasicBlock* leave = newBlock("done");
        branchOn(*state, 0, doneState(), leave);
        builder.SetInsertPoint(leave);
        builder.CreateBr(&m_latch);
        isWaiting->addIncoming(wasWaiting, leave);

        auto* exit = llvm::cast<llvm::BranchInst>(m_latch.getTerminator());
        BasicBlock* rowEnd = exit->getSuccessor(exit->getSuccessor(0) == &m_header ? 1 : 0);
        exit->replaceSuccessorWith(rowEnd, again);
        rowEnd->replacePhiUsesWith(&m_latch, again);
        builder.SetInsertPoint(again);
        builder.CreateCondBr(isWaiting, outer, rowEnd);
    }

    unsigned doneState() const { return static_cast<unsigned>(m_barriers.size() + 1); }

    /// Ends the block at whose end the builder stands by a tree of branches to the place that each
    /// state from `first` to `last` stands for.
    void branchOn(llvm::Value& state, unsigned first, unsigned last, BasicBlock* leave) {
        // A list of what is still to be emitted, since there may be thousands.
        struct Range {
            BasicBlock* at;
            unsigned first;
            unsigned last;
        };
        llvm::SmallVector<Range> open = {{&m_header, first, last}};
        const auto target = [&](unsigned number) {
            return number == 0             ? m_start
                   : number == doneState() ? leave
                                           : m_barriers[number - 1].after;
        };
        while (!open.empty()) {
            const Range range = open.pop_back_val();
            llvm::IRBuilder<> builder(range.at);
            const unsigned middle = range.first + (range.last - range.first) / 2;
            const auto side = [&](unsigned low, unsigned high) {
                if (low == high)
                    return target(low);
                auto* block =
                    BasicBlock::Create(m_function.getContext(), "resume", &m_function, &m_latch);
                open.push_back({block, low, high});
                return block;
            };
            BasicBlock* lower = side(range.first, middle);
            BasicBlock* upper = side(middle + 1, range.last);
            builder.CreateCondBr(builder.CreateICmpULE(&state, builder.getInt32(middle)), lower,
                                 upper);
        }
    }

    const ThreadLoop& m_loop;
    std::string_view m_kernel;
    llvm::Function& m_function;
    BasicBlock& m_header;
    BasicBlock& m_latch;
    BasicBlock* m_start = nullptr; ///< of the body
    llvm::SetVector<BasicBlock*> m_body;
    std::vector<Barrier> m_barriers;
    llvm::SmallPtrSet<BasicBlock*, 16> m_afterBarrier;
    llvm::MapVector<Instruction*, Places> m_live;
    std::vector<MovedVariable> m_moved;
    VectorFrame m_frame;
    Instruction* m_framePointer = nullptr;
    static constexpr unsigned mostRecomputed = 24;
    static constexpr unsigned maxAddressSteps = 4;
};

} // namespace

platform::Result<std::uint64_t> splitAtBarriers(const ThreadLoop& loop, std::string_view kernel) {
    return Splitter(loop, kernel).run();
}

} // namespace compute::host
