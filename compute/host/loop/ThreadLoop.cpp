// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/host/loop/ThreadLoop.h"

#include "compute/host/loop/HoistedValues.h"
#include "compute/host/loop/Hoisting.h"
#include "compute/host/loop/IterationTables.h"
#include "compute/host/memory/PlaceVariables.h"
#include "compute/kernel/KernelSignature.h"
#include "compute/kernel/containment/AddressRanges.h"

#include <llvm/IR/IRBuilder.h>

#include <array>

namespace compute::host {
namespace {

/// The two functions that a kernel becomes; the tile function holds an empty nest of loops.
struct LoopNest {
    llvm::Function* prepare = nullptr;
    llvm::Function* tile = nullptr;
    llvm::BasicBlock* entry = nullptr;                  ///< of the tile function
    std::array<llvm::BasicBlock*, LevelCount> blocks{}; ///< for the values of each level
    std::array<llvm::PHINode*, 3> position{};           ///< x, y, z
    llvm::BasicBlock* rowEnd = nullptr;                 ///< the latch of the innermost loop
    llvm::Value* end = nullptr;                         ///< of the row
};

/// The positions of the parameters; the last is the tile function's alone.
enum Argument : unsigned { Bindings, Grid, Hoisted, Memory, Tile };

/// Annotates the parameters with what the caller guarantees about the memory behind them.
void describeMemory(llvm::Function& function) {
    constexpr std::array<std::size_t, Tile + 1> recordBytes = {
        kernel::slotCount * sizeof(void*), kernel::gridRecordWords * sizeof(std::uint32_t), 0,
        sizeof(KernelMemory), 6 * sizeof(std::uint32_t)};
    llvm::LLVMContext& context = function.getContext();
    for (llvm::Argument& parameter : function.args()) {
        const unsigned number = parameter.getArgNo();
        if (number == Hoisted) {
            parameter.addAttr(llvm::Attribute::get(context, kernel::regionAttribute));
            continue;
        }
        kernel::describeRecord(parameter, recordBytes[number],
                               number == Bindings || number == Memory);
    }
}

/// A function with `parameters` pointers that do not alias and are read-only, but for the hoisted
/// memory if `writesHoisted`.
llvm::Function* createFunction(llvm::Function& kernel, std::string_view name, unsigned parameters,
                               bool writesHoisted) {
    llvm::LLVMContext& context = kernel.getContext();
    const llvm::SmallVector<llvm::Type*> pointers(parameters, llvm::PointerType::get(context, 0));
    auto* type = llvm::FunctionType::get(llvm::Type::getVoidTy(context), pointers, false);
    auto* function =
        llvm::Function::Create(type, llvm::GlobalValue::ExternalLinkage,
                               llvm::StringRef(name.data(), name.size()), kernel.getParent());
    function->copyAttributesFrom(&kernel);
    function->setAttributes(llvm::AttributeList::get(
        context, kernel.getAttributes().getFnAttrs(), {},
        {kernel.getAttributes().getParamAttrs(0), kernel.getAttributes().getParamAttrs(1)}));
    for (unsigned i = Hoisted; i < parameters; ++i) {
        function->addParamAttr(i, llvm::Attribute::NoAlias);
        if (i != Hoisted || !writesHoisted)
            function->addParamAttr(i, llvm::Attribute::ReadOnly);
    }
    describeMemory(*function);
    // A frame larger than the guard page below the stack must not step over it.
    function->addFnAttr("probe-stack", "inline-asm");
    return function;
}

/// `lanes`: the number of threads that one iteration of the innermost loop runs.
LoopNest createLoopNest(llvm::Function& kernel, unsigned lanes) {
    LoopNest nest;
    nest.prepare = createFunction(kernel, prepareSymbol, Memory + 1, true);
    nest.tile = createFunction(kernel, tileSymbol, Tile + 1, false);
    llvm::LLVMContext& context = kernel.getContext();
    llvm::BasicBlock* grid = llvm::BasicBlock::Create(context, "grid", nest.prepare);
    llvm::IRBuilder<>(grid).CreateRetVoid();

    const auto block = [&](const char* name) {
        return llvm::BasicBlock::Create(context, name, nest.tile);
    };
    nest.entry = block("tile");
    nest.blocks = {grid, block("slice"), block("row"), block("thread")};
    llvm::IRBuilder<> builder(nest.entry);
    std::array<llvm::Value*, 6> bounds;
    for (unsigned i = 0; i < bounds.size(); ++i)
        bounds[i] = builder.CreateLoad(
            builder.getInt32Ty(),
            builder.CreateConstGEP1_32(builder.getInt32Ty(), nest.tile->getArg(Tile), i));

    const std::array<llvm::BasicBlock*, 3> ends = {block("thread.end"), block("row.end"),
                                                   block("slice.end")};
    llvm::BasicBlock* done = block("done");
    for (unsigned axis = 0; axis < 3; ++axis) {
        llvm::BasicBlock* outside = axis == 2 ? nest.entry : nest.blocks[PerRow - axis];
        llvm::BasicBlock* inside = nest.blocks[PerThread - axis];
        builder.SetInsertPoint(outside);
        builder.CreateBr(inside);
        builder.SetInsertPoint(inside, inside->begin());
        llvm::PHINode* position = builder.CreatePHI(builder.getInt32Ty(), 2);
        builder.SetInsertPoint(ends[axis]);
        llvm::Value* next = builder.CreateNUWAdd(position, builder.getInt32(axis == 0 ? lanes : 1));
        builder.CreateCondBr(builder.CreateICmpULT(next, bounds[3 + axis]), inside,
                             axis == 2 ? done : ends[axis + 1]);
        position->addIncoming(bounds[axis], outside);
        position->addIncoming(next, ends[axis]);
        nest.position[axis] = position;
    }
    nest.rowEnd = ends[0];
    nest.end = bounds[3];
    builder.SetInsertPoint(done);
    builder.CreateRetVoid();
    return nest;
}

/// Makes lookup tables for the kernel's loops. Tables that every row fills are small, since filling
/// a large one would take longer than the row. Returns the bytes of hoisted memory in use.
unsigned makeIterationTables(const LoopNest& nest, llvm::Function& kernel,
                             kernel::Analyses& analyses, const Hoisting& hoisting) {
    constexpr unsigned maxIterations = 256;
    constexpr unsigned maxIterationsOfRow = 32;
    constexpr unsigned maxBytes = 24u << 10;
    constexpr unsigned maxBytesOfRow = 2048;
    IterationTables tables(kernel, analyses, hoisting);
    TableMemory ofGrid{.written = *nest.prepare->getArg(Hoisted),
                       .read = *nest.tile->getArg(Hoisted),
                       .maxBytes = maxBytes};
    tables.make(PerDispatch, *nest.blocks[PerDispatch], ofGrid, maxIterations);

    llvm::IRBuilder<> builder(nest.entry, nest.entry->begin());
    llvm::AllocaInst* row = builder.CreateAlloca(builder.getInt8Ty(), builder.getInt32(0));
    row->setAlignment(llvm::Align(8));
    TableMemory ofRow{.written = *row, .read = *row, .maxBytes = maxBytesOfRow};
    tables.make(PerRow, *nest.blocks[PerRow], ofRow, maxIterationsOfRow);
    row->setOperand(0, builder.getInt32(ofRow.bytes));
    if (ofRow.bytes == 0)
        row->eraseFromParent();
    return ofGrid.bytes;
}

/// Moves hoisted instructions to their levels. Returns the bytes of hoisted memory in use.
unsigned fillOuterLoops(const LoopNest& nest, llvm::Function& kernel, const Hoisting& hoisting,
                        unsigned bytes) {
    for (unsigned level = PerDispatch; level < PerThread; ++level)
        for (llvm::Instruction* instruction : hoisting.instructions(static_cast<Level>(level)))
            instruction->moveBefore(nest.blocks[level]->getTerminator());
    for (const unsigned argument : {Bindings, Grid}) {
        kernel.getArg(argument)->replaceUsesWithIf(
            nest.prepare->getArg(argument), [&](const llvm::Use& use) {
                return llvm::cast<llvm::Instruction>(use.getUser())->getFunction() == nest.prepare;
            });
        kernel.getArg(argument)->replaceAllUsesWith(nest.tile->getArg(argument));
    }
    HoistedValues values(*nest.prepare->getArg(Hoisted), *nest.tile->getArg(Hoisted), bytes);
    for (llvm::Instruction& instruction : *nest.blocks[PerDispatch])
        if (!instruction.getType()->isVoidTy())
            values.pass(instruction);
    kernel.getArg(kernel::YArgument)->replaceAllUsesWith(nest.position[1]);
    kernel.getArg(kernel::ZArgument)->replaceAllUsesWith(nest.position[2]);
    return values.bytes();
}

/// Moves the kernel's blocks into the innermost loop.
void fillWithThread(const LoopNest& nest, llvm::Function& kernel) {
    for (llvm::Instruction& instruction : llvm::make_early_inc_range(kernel.getEntryBlock()))
        if (auto* variable = llvm::dyn_cast<llvm::AllocaInst>(&instruction))
            variable->moveBefore(*nest.entry, nest.entry->begin());

    llvm::BasicBlock* first = &kernel.getEntryBlock();
    for (llvm::BasicBlock& block : kernel)
        if (auto* leave = llvm::dyn_cast<llvm::ReturnInst>(block.getTerminator())) {
            llvm::IRBuilder<>(leave).CreateBr(nest.rowEnd);
            leave->eraseFromParent();
        }
    nest.tile->splice(nest.rowEnd->getIterator(), &kernel);
    llvm::IRBuilder<>(nest.blocks[PerThread]).CreateBr(first);
    kernel.getArg(kernel::XArgument)->replaceAllUsesWith(nest.position[0]);
}

void fillWithLanes(const LoopNest& nest, simd::Vectoriser& vectoriser) {
    llvm::BasicBlock& last = vectoriser.widen({.entry = *nest.entry,
                                               .body = *nest.blocks[PerThread],
                                               .x = *nest.position[0],
                                               .end = *nest.end});
    llvm::IRBuilder<>(&last).CreateBr(nest.rowEnd);
}

} // namespace

ThreadLoop addThreadLoop(llvm::Function& kernel, kernel::Analyses& analyses,
                         simd::Vectoriser* vectoriser) {
    analyses.forget(kernel);
    const Hoisting hoisting(kernel, analyses);
    const LoopNest nest = createLoopNest(kernel, vectoriser != nullptr ? vectoriser->lanes() : 1);
    const unsigned tables = makeIterationTables(nest, kernel, analyses, hoisting);
    const unsigned bytes = fillOuterLoops(nest, kernel, hoisting, tables);
    if (vectoriser != nullptr)
        fillWithLanes(nest, *vectoriser);
    else
        fillWithThread(nest, kernel);
    analyses.functions().clear(kernel, kernel.getName());
    kernel.dropAllReferences();
    kernel.eraseFromParent();
    return {.prepare = *nest.prepare,
            .tile = *nest.tile,
            .hoistedBytes = bytes,
            .memory = {nest.prepare->getArg(Memory), nest.tile->getArg(Memory)},
            .row = nest.blocks[PerRow],
            .thread = nest.blocks[PerThread],
            .threadEnd = nest.rowEnd,
            .position = nest.position[0],
            .lanes = vectoriser != nullptr ? vectoriser->lanes() : 1};
}

} // namespace compute::host
