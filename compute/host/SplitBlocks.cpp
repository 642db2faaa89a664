// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/host/SplitBlocks.h"

#include <llvm/ADT/STLExtras.h>
#include <llvm/IR/BasicBlock.h>
#include <llvm/IR/Instructions.h>

#include <vector>

namespace compute::host {
namespace {

/// The length of a piece in instructions.
constexpr std::size_t pieceLength = 500;

} // namespace

void splitBlocks(llvm::Function& function) {
    std::vector<llvm::BasicBlock*> blocks;
    for (llvm::BasicBlock& block : function)
        blocks.push_back(&block);
    for (llvm::BasicBlock* block : blocks) {
        auto start = block->getFirstNonPHIOrDbgOrAlloca();
        while (llvm::hasNItemsOrMore(llvm::make_range(start, block->end()), 2 * pieceLength)) {
            block = block->splitBasicBlock(std::next(start, pieceLength));
            start = block->begin();
        }
    }
}

} // namespace compute::host
