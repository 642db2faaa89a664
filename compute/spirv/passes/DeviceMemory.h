// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The pieces of the device's memory that a function's pointers lead into, as values of its code:
// where each begins and how long it is, and the test of an address against that.
#pragma once

#include "compute/spirv/passes/Lowering.h"
#include "compute/spirv/passes/PointerRoots.h"

#include <functional>
#include <map>
#include <optional>

namespace compute::spirv {

/// 64-bit values.
struct Range {
    llvm::Value* start = nullptr;
    llvm::Value* bytes = nullptr;
};

/// For one function.
class DeviceMemory {
public:
    /// `addressOf`: the number that stands for a pointer.
    DeviceMemory(Lowering& lowering, llvm::Function& function, PointerRoots& roots,
                 const llvm::Value* grid, std::function<llvm::Value*(llvm::Value&)> addressOf);

    ~DeviceMemory();
    DeviceMemory(const DeviceMemory&) = delete;
    DeviceMemory& operator=(const DeviceMemory&) = delete;

    /// Where the pointer may lead; of length 0 for variables and null.
    Range rangeOf(llvm::Value& pointer);
    /// The address if so many bytes from there on lie in the range, else that of spare memory.
    llvm::Value* confined(llvm::IRBuilder<>& builder, llvm::Value* address, const Range& range,
                          std::uint64_t bytes);
    llvm::Value* spareAddress();
    /// The address that is bound to a slot.
    llvm::Value* slotAddress(unsigned slot) { return slotRange(slot).start; }
    /// A number of 64 bits in a record that no kernel writes.
    static llvm::Value* loadRecord(llvm::IRBuilder<>& builder, llvm::Value* address);

private:
    Range slotRange(unsigned slot);
    /// From the push constants, if there is room for the slot.
    std::optional<Range> directRange(unsigned slot);
    Range rangeOfMerge(llvm::Instruction& merge);
    Range lookedUp(llvm::Value& pointer);
    llvm::IRBuilder<> builderBehind(llvm::Value& value);
    llvm::IRBuilder<> builderAtStart();
    /// The first offset that is too far for so many bytes.
    llvm::Value* limit(const Range& range, std::uint64_t bytes);
    llvm::Function* findFunction();

    Lowering& m_lowering;
    llvm::Function& m_function;
    PointerRoots& m_roots;
    const llvm::Value* m_grid;
    std::function<llvm::Value*(llvm::Value&)> m_addressOf;
    llvm::Instruction* m_start; ///< what the function needs from the beginning comes before this
    llvm::Value* m_spare = nullptr;
    std::map<unsigned, Range> m_slots;
    llvm::DenseMap<llvm::Value*, Range> m_ranges;
    std::map<std::pair<llvm::Value*, std::uint64_t>, llvm::Value*> m_limits;
};

} // namespace compute::spirv
