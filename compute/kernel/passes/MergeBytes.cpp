// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/passes/MergeBytes.h"

#include <llvm/ADT/MapVector.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/Instructions.h>
#include <llvm/IR/Operator.h>
#include <llvm/IR/PatternMatch.h>

#include <algorithm>

namespace compute::kernel {
namespace {

using namespace llvm::PatternMatch;

/// A pointer as the sum of a root, of terms, and of a constant distance.
struct Address {
    llvm::Value* root = nullptr;
    /// What is added to the root: values, how they are extended to 64 bits, and their factors.
    llvm::SmallVector<std::tuple<llvm::Value*, unsigned, std::int64_t>, 2> terms;
    std::int64_t distance = 0;

    bool isNear(const Address& other) const { return root == other.root && terms == other.terms; }
};

constexpr unsigned notExtended = 0;

void addTerm(Address& address, llvm::Value* index, std::int64_t factor) {
    unsigned extension = notExtended;
    if (auto* cast = llvm::dyn_cast<llvm::CastInst>(index);
        cast != nullptr && llvm::isa<llvm::ZExtInst, llvm::SExtInst>(cast)) {
        extension = cast->getOpcode();
        index = cast->getOperand(0);
    }
    llvm::Value* rest = nullptr;
    const llvm::APInt* constant = nullptr;
    while (match(index, m_Add(m_Value(rest), m_APInt(constant))) ||
           match(index, m_DisjointOr(m_Value(rest), m_APInt(constant)))) {
        address.distance += constant->getSExtValue() * factor;
        index = rest;
    }
    address.terms.emplace_back(index, extension, factor);
}

Address addressOf(llvm::Value* pointer, const llvm::DataLayout& layout) {
    Address address;
    while (auto* step = llvm::dyn_cast<llvm::GEPOperator>(pointer)) {
        llvm::MapVector<llvm::Value*, llvm::APInt> factors;
        llvm::APInt constant(64, 0);
        if (!step->collectOffset(layout, 64, factors, constant))
            break;
        address.distance += constant.getSExtValue();
        for (const auto& [index, factor] : factors)
            addTerm(address, index, factor.getSExtValue());
        pointer = step->getPointerOperand();
    }
    address.root = pointer;
    llvm::sort(address.terms);
    return address;
}

/// One byte of a word: where it is in memory, and how far up in the word.
struct Byte {
    llvm::Instruction* access;
    Address address;
    std::uint64_t shift;
};

/// Whether bytes in order of their shifts lie side by side in memory.
bool formWord(llvm::ArrayRef<Byte> bytes) {
    for (std::size_t i = 1; i < bytes.size(); ++i)
        if (!bytes[i].address.isNear(bytes[0].address) ||
            bytes[i].address.distance != bytes[0].address.distance + static_cast<std::int64_t>(i) ||
            bytes[i].shift != bytes[0].shift + 8 * i)
            return false;
    return true;
}

// --- Loads ---------------------------------------------------------------------------------------

/// The bytes that a tree of "or" puts together, in order; empty when it is anything else.
llvm::SmallVector<Byte, 8> collectBytes(llvm::Value* root, const llvm::DataLayout& layout) {
    llvm::SmallVector<Byte, 8> bytes;
    llvm::SmallVector<llvm::Value*> values = {root};
    while (!values.empty()) {
        llvm::Value* value = values.pop_back_val();
        llvm::Value* first = nullptr;
        llvm::Value* second = nullptr;
        if (match(value, m_Or(m_Value(first), m_Value(second))) &&
            (value == root || value->hasOneUse())) {
            values.push_back(first);
            values.push_back(second);
            continue;
        }
        const llvm::APInt* shift = nullptr;
        llvm::Value* extended = value;
        match(value, m_Shl(m_Value(extended), m_APInt(shift)));
        llvm::Value* narrow = nullptr;
        if (!match(extended, m_ZExt(m_Value(narrow))) || bytes.size() == 8)
            return {};
        auto* load = llvm::dyn_cast<llvm::LoadInst>(narrow);
        if (load == nullptr || !load->isSimple() || !load->getType()->isIntegerTy(8))
            return {};
        bytes.push_back({load, addressOf(load->getPointerOperand(), layout),
                         shift == nullptr ? 0 : shift->getZExtValue()});
    }
    llvm::sort(bytes, [](const Byte& a, const Byte& b) { return a.shift < b.shift; });
    return bytes;
}

/// The last of some instructions of one block when nothing writes to memory between the first and
/// it; else null.
llvm::Instruction* lastWithoutWrites(llvm::ArrayRef<Byte> bytes) {
    llvm::BasicBlock* block = bytes[0].access->getParent();
    llvm::SmallPtrSet<llvm::Instruction*, 8> open;
    for (const Byte& byte : bytes) {
        if (byte.access->getParent() != block)
            return nullptr;
        open.insert(byte.access);
    }
    const std::size_t count = open.size();
    for (llvm::Instruction& instruction : *block) {
        open.erase(&instruction);
        if (open.empty())
            return &instruction;
        if (open.size() < count && instruction.mayWriteToMemory())
            return nullptr;
    }
    return nullptr;
}

bool mergeLoads(llvm::Instruction& root, const llvm::DataLayout& layout) {
    const llvm::SmallVector<Byte, 8> bytes = collectBytes(&root, layout);
    const bool isWord = bytes.size() == 2 || bytes.size() == 4 || bytes.size() == 8;
    if (!isWord || bytes[0].shift != 0 || !formWord(bytes))
        return false;
    llvm::Instruction* last = lastWithoutWrites(bytes);
    if (last == nullptr)
        return false;
    llvm::IRBuilder<> builder(last->getParent(), std::next(last->getIterator()));
    auto* first = llvm::cast<llvm::LoadInst>(bytes[0].access);
    llvm::Value* word =
        builder.CreateAlignedLoad(builder.getIntNTy(static_cast<unsigned>(8 * bytes.size())),
                                  first->getPointerOperand(), llvm::Align(1));
    root.replaceAllUsesWith(builder.CreateZExtOrTrunc(word, root.getType()));
    return true;
}

// --- Stores --------------------------------------------------------------------------------------

/// The value that a store takes a byte of; null for other stores.
llvm::Value* wordOf(const llvm::StoreInst& store, std::uint64_t& shift) {
    shift = 0;
    llvm::Value* word = nullptr;
    if (!store.isSimple() || !store.getValueOperand()->getType()->isIntegerTy(8) ||
        !match(store.getValueOperand(), m_Trunc(m_Value(word))))
        return nullptr;
    llvm::Value* shifted = nullptr;
    const llvm::APInt* amount = nullptr;
    if (match(word, m_LShr(m_Value(shifted), m_APInt(amount)))) {
        shift = amount->getZExtValue();
        return shifted;
    }
    return word;
}

/// Stores of bytes of one value to places near each other, with nothing in between that could tell
/// them apart from one store.
struct Run {
    llvm::Value* word = nullptr;
    llvm::SmallVector<Byte, 8> bytes;

    bool takes(const llvm::Value* value, const Address& address) const {
        return word == value && bytes[0].address.isNear(address) &&
               llvm::none_of(bytes, [&](const Byte& byte) {
                   return byte.address.distance == address.distance;
               });
    }
};

/// Bytes that make a word, in order, become one store in front of `before`.
void storeWord(llvm::Value* value, llvm::ArrayRef<Byte> bytes, llvm::Instruction& before) {
    llvm::IRBuilder<> builder(&before);
    llvm::Value* word =
        builder.CreateLShr(value, llvm::ConstantInt::get(value->getType(), bytes[0].shift));
    word = builder.CreateTrunc(word, builder.getIntNTy(static_cast<unsigned>(8 * bytes.size())));
    builder.CreateAlignedStore(word, llvm::getLoadStorePointerOperand(bytes[0].access),
                               llvm::Align(1));
}

void mergeRun(Run& run) {
    if (run.bytes.size() > 1) {
        llvm::Instruction* last = run.bytes.back().access;
        llvm::sort(run.bytes, [](const Byte& a, const Byte& b) { return a.shift < b.shift; });
        llvm::SmallVector<llvm::Instruction*, 8> merged;
        llvm::ArrayRef<Byte> rest = run.bytes;
        while (!rest.empty()) {
            std::size_t count = llvm::bit_floor(std::min<std::size_t>(rest.size(), 8));
            while (count > 1 && !formWord(rest.take_front(count)))
                count /= 2;
            if (count > 1) {
                storeWord(run.word, rest.take_front(count), *last);
                for (const Byte& byte : rest.take_front(count))
                    merged.push_back(byte.access);
            }
            rest = rest.drop_front(count);
        }
        for (llvm::Instruction* store : merged)
            store->eraseFromParent();
    }
    run = {};
}

void mergeStores(llvm::BasicBlock& block, const llvm::DataLayout& layout) {
    Run run;
    for (llvm::Instruction& instruction : llvm::make_early_inc_range(block)) {
        if (!instruction.mayReadOrWriteMemory())
            continue;
        auto* store = llvm::dyn_cast<llvm::StoreInst>(&instruction);
        std::uint64_t shift = 0;
        llvm::Value* word = store != nullptr ? wordOf(*store, shift) : nullptr;
        if (word == nullptr) {
            mergeRun(run);
            continue;
        }
        const Address address = addressOf(store->getPointerOperand(), layout);
        if (run.word != nullptr && !run.takes(word, address))
            mergeRun(run);
        run.word = word;
        run.bytes.push_back({store, address, shift});
    }
    mergeRun(run);
}

} // namespace

platform::Result<void> mergeBytes(PassContext& context) {
    if (!accessesAnyAddress(context))
        return {};
    const llvm::DataLayout& layout = context.module.getDataLayout();
    for (llvm::Function* function : context.functions()) {
        for (llvm::BasicBlock& block : *function) {
            // From the end: the whole tree of "or" comes before its parts.
            for (llvm::Instruction& instruction : llvm::reverse(block))
                if (instruction.getOpcode() == llvm::Instruction::Or)
                    mergeLoads(instruction, layout);
            mergeStores(block, layout);
        }
        context.analyses.forget(*function);
    }
    return {};
}

} // namespace compute::kernel
