// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/DeviceMemory.h"

#include "compute/kernel/KernelSignature.h"

#include <algorithm>

namespace compute::spirv {
namespace {

constexpr llvm::StringLiteral findSymbol = "sl42.find";

llvm::Value* recordAt(llvm::IRBuilder<>& builder, llvm::Value* first, llvm::Value* number) {
    return builder.CreateAdd(first,
                             builder.CreateMul(number, builder.getInt64(sizeof(BufferRecord))));
}

/// The function of sl42.find: the address of the last record of the memory table that begins at or
/// before an address, if the address lies in it or right behind it, else that of the spare record.
void fillFindFunction(Lowering& lowering, llvm::Function& function) {
    llvm::LLVMContext& context = function.getContext();
    auto* entry = llvm::BasicBlock::Create(context, "", &function);
    auto* loop = llvm::BasicBlock::Create(context, "halve", &function);
    auto* check = llvm::BasicBlock::Create(context, "check", &function);
    auto* end = llvm::BasicBlock::Create(context, "end", &function);
    llvm::Value* wanted = function.getArg(0);

    llvm::IRBuilder<> builder(entry);
    llvm::Value* table = builder.CreateCall(lowering.function(ShaderOperation::MemoryAddress));
    llvm::Value* count = DeviceMemory::loadRecord(builder, table);
    llvm::Value* first = builder.CreateAdd(table, builder.getInt64(sizeof(MemoryTable)));
    llvm::Value* spare =
        builder.CreateAdd(builder.CreateCall(lowering.function(ShaderOperation::BindingsAddress)),
                          builder.getInt64(spareSlot * sizeof(BufferRecord)));
    builder.CreateCondBr(builder.CreateIsNull(count), end, loop);

    // Of `left` records from `low` on, the last one that begins at or before the address.
    builder.SetInsertPoint(loop);
    llvm::PHINode* low = builder.CreatePHI(builder.getInt64Ty(), 2);
    llvm::PHINode* left = builder.CreatePHI(builder.getInt64Ty(), 2);
    llvm::Value* half = builder.CreateLShr(left, 1);
    llvm::Value* middle = builder.CreateAdd(low, half);
    llvm::Value* begins = DeviceMemory::loadRecord(builder, recordAt(builder, first, middle));
    llvm::Value* isUpper = builder.CreateICmpULE(begins, wanted);
    llvm::Value* nextLow = builder.CreateSelect(isUpper, middle, low);
    llvm::Value* nextLeft = builder.CreateSelect(isUpper, builder.CreateSub(left, half), half);
    builder.CreateCondBr(builder.CreateICmpUGT(left, builder.getInt64(1)), loop, check);
    low->addIncoming(builder.getInt64(0), entry);
    low->addIncoming(nextLow, loop);
    left->addIncoming(count, entry);
    left->addIncoming(nextLeft, loop);

    builder.SetInsertPoint(check);
    llvm::Value* record = recordAt(builder, first, nextLow);
    llvm::Value* start = DeviceMemory::loadRecord(builder, record);
    llvm::Value* bytes =
        DeviceMemory::loadRecord(builder, builder.CreateAdd(record, builder.getInt64(8)));
    llvm::Value* isInside = builder.CreateICmpULE(builder.CreateSub(wanted, start), bytes);
    llvm::Value* chosen = builder.CreateSelect(isInside, record, spare);
    builder.CreateBr(end);
    builder.SetInsertPoint(end);
    llvm::PHINode* result = builder.CreatePHI(builder.getInt64Ty(), 2);
    result->addIncoming(spare, entry);
    result->addIncoming(chosen, check);
    builder.CreateRet(result);
}

} // namespace

DeviceMemory::DeviceMemory(Lowering& lowering, llvm::Function& function, PointerRoots& roots,
                           const llvm::Value* grid,
                           std::function<llvm::Value*(llvm::Value&)> addressOf)
    : m_lowering(lowering),
      m_function(function),
      m_roots(roots),
      m_grid(grid),
      m_addressOf(std::move(addressOf)),
      m_start(llvm::BinaryOperator::CreateNot(llvm::ConstantInt::getFalse(function.getContext()),
                                              "", function.getEntryBlock().getFirstInsertionPt())) {
}

DeviceMemory::~DeviceMemory() {
    m_start->eraseFromParent();
}

llvm::Value* DeviceMemory::loadRecord(llvm::IRBuilder<>& builder, llvm::Value* address) {
    llvm::Type* pointer = llvm::PointerType::get(builder.getContext(), deviceSpace);
    llvm::LoadInst* load = builder.CreateAlignedLoad(
        builder.getInt64Ty(), builder.CreateIntToPtr(address, pointer), llvm::Align(8));
    load->setMetadata(llvm::LLVMContext::MD_invariant_load,
                      llvm::MDNode::get(builder.getContext(), {}));
    return load;
}

llvm::IRBuilder<> DeviceMemory::builderAtStart() {
    return llvm::IRBuilder<>(m_start);
}

llvm::IRBuilder<> DeviceMemory::builderBehind(llvm::Value& value) {
    auto* instruction = llvm::dyn_cast<llvm::Instruction>(&value);
    if (instruction == nullptr)
        return builderAtStart();
    return {instruction->getParent(), *instruction->getInsertionPointAfterDef()};
}

llvm::Value* DeviceMemory::spareAddress() {
    if (m_spare == nullptr)
        m_spare = builderAtStart().CreateCall(m_lowering.function(ShaderOperation::SpareAddress));
    return m_spare;
}

std::optional<Range> DeviceMemory::directRange(unsigned slot) {
    std::vector<std::uint32_t>& slots = m_lowering.directSlots;
    auto place = std::ranges::find(slots, slot);
    if (place == slots.end()) {
        if (slots.size() == directRecords)
            return std::nullopt;
        place = slots.insert(slots.end(), slot);
    }
    const auto word = static_cast<std::uint32_t>(2 * (place - slots.begin()));
    llvm::IRBuilder<> builder = builderAtStart();
    llvm::Function* record = m_lowering.function(ShaderOperation::DirectRecord);
    return Range{builder.CreateCall(record, {builder.getInt32(word)}),
                 builder.CreateCall(record, {builder.getInt32(word + 1)})};
}

Range DeviceMemory::slotRange(unsigned slot) {
    Range& range = m_slots[slot];
    if (range.start != nullptr)
        return range;
    if (const auto direct = directRange(slot)) {
        range = *direct;
    } else {
        llvm::IRBuilder<> builder = builderAtStart();
        llvm::Value* record = builder.CreateAdd(
            builder.CreateCall(m_lowering.function(ShaderOperation::BindingsAddress)),
            builder.getInt64(slot * sizeof(BufferRecord)));
        range.start = loadRecord(builder, record);
        range.bytes = loadRecord(builder, builder.CreateAdd(record, builder.getInt64(8)));
    }
    return range;
}

Range DeviceMemory::rangeOf(llvm::Value& pointer) {
    if (const auto known = m_ranges.find(&pointer); known != m_ranges.end())
        return known->second;
    llvm::IRBuilder<> builder(m_function.getContext());
    Range range{builder.getInt64(0), builder.getInt64(0)};
    const Roots roots = m_roots.of(pointer);
    if (roots.addresses.empty())
        return m_ranges[&pointer] = range;
    if (const auto slot = m_roots.onlySlotOf(roots)) {
        range = slotRange(*slot);
    } else if (roots.addresses.size() == 1 && !isDerived(pointer)) {
        range = lookedUp(pointer);
    } else if (roots.addresses.size() == 1 && roots.variables.empty()) {
        range = rangeOf(*roots.addresses.front());
    } else if (llvm::isa<llvm::PHINode, llvm::SelectInst>(pointer)) {
        return rangeOfMerge(llvm::cast<llvm::Instruction>(pointer));
    } else {
        range = rangeOf(*sourcesOf(pointer).front());
    }
    return m_ranges[&pointer] = range;
}

Range DeviceMemory::rangeOfMerge(llvm::Instruction& merge) {
    llvm::IRBuilder<> builder(&merge);
    if (auto* select = llvm::dyn_cast<llvm::SelectInst>(&merge)) {
        const Range yes = rangeOf(*select->getTrueValue());
        const Range no = rangeOf(*select->getFalseValue());
        return m_ranges[&merge] = {
                   builder.CreateSelect(select->getCondition(), yes.start, no.start),
                   builder.CreateSelect(select->getCondition(), yes.bytes, no.bytes)};
    }
    auto& phi = llvm::cast<llvm::PHINode>(merge);
    llvm::PHINode* start = builder.CreatePHI(builder.getInt64Ty(), phi.getNumIncomingValues());
    llvm::PHINode* bytes = builder.CreatePHI(builder.getInt64Ty(), phi.getNumIncomingValues());
    m_ranges[&merge] = {start, bytes};
    for (unsigned i = 0; i < phi.getNumIncomingValues(); ++i) {
        const Range incoming = rangeOf(*phi.getIncomingValue(i));
        start->addIncoming(incoming.start, phi.getIncomingBlock(i));
        bytes->addIncoming(incoming.bytes, phi.getIncomingBlock(i));
    }
    return {start, bytes};
}

Range DeviceMemory::lookedUp(llvm::Value& pointer) {
    llvm::Value* address = m_addressOf(pointer);
    if (&pointer == m_grid) {
        llvm::IRBuilder<> builder(m_function.getContext());
        return {address, builder.getInt64(kernel::gridRecordWords * sizeof(std::uint32_t))};
    }
    llvm::IRBuilder<> builder = builderBehind(*address);
    llvm::Value* record = builder.CreateCall(findFunction(), {address});
    return {loadRecord(builder, record),
            loadRecord(builder, builder.CreateAdd(record, builder.getInt64(8)))};
}

llvm::Function* DeviceMemory::findFunction() {
    if (llvm::Function* known = m_lowering.module.getFunction(findSymbol))
        return known;
    llvm::Type* word = llvm::Type::getInt64Ty(m_function.getContext());
    auto* made =
        llvm::Function::Create(llvm::FunctionType::get(word, {word}, false),
                               llvm::GlobalValue::InternalLinkage, findSymbol, m_lowering.module);
    made->setDoesNotThrow();
    made->setWillReturn();
    made->setMemoryEffects(llvm::MemoryEffects::none()); // its records never change
    fillFindFunction(m_lowering, *made);
    return made;
}

llvm::Value* DeviceMemory::limit(const Range& range, std::uint64_t bytes) {
    if (bytes == 1)
        return range.bytes;
    llvm::Value*& known = m_limits[{range.bytes, bytes}];
    if (known == nullptr) {
        llvm::IRBuilder<> builder = builderBehind(*range.bytes);
        llvm::Value* last = builder.getInt64(bytes - 1);
        known = builder.CreateSelect(builder.CreateICmpUGT(range.bytes, last),
                                     builder.CreateSub(range.bytes, last), builder.getInt64(0));
    }
    return known;
}

llvm::Value* DeviceMemory::confined(llvm::IRBuilder<>& builder, llvm::Value* address,
                                    const Range& range, std::uint64_t bytes) {
    llvm::Value* offset = builder.CreateSub(address, range.start);
    return builder.CreateSelect(builder.CreateICmpULT(offset, limit(range, bytes)), address,
                                spareAddress());
}

} // namespace compute::spirv
