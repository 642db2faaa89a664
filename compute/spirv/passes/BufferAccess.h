// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Loads and stores of buffers that the kernel names, by descriptor: no address is made and nothing
// is tested, since the device keeps such accesses within the buffer. Atomics, and pointers that may
// lead into one of several buffers, go by address (DeviceMemory.h).
#pragma once

#include "compute/spirv/passes/FunctionFacts.h"

#include <functional>

namespace compute::spirv {

/// For one function.
class BufferAccess {
public:
    using OffsetOf = std::function<llvm::Value*(llvm::Value& pointer)>;

    /// `offsetOf`: the distance, in 64 bits, of a pointer from the buffer that it leads into.
    BufferAccess(Lowering& lowering, FunctionFacts& facts, OffsetOf offsetOf)
        : m_lowering(lowering), m_facts(facts), m_offsetOf(std::move(offsetOf)) {}

    /// The descriptor for such an access; none where it goes by address.
    std::optional<unsigned> bindingFor(const MemoryAccess& access);
    /// As an integer of its bytes.
    llvm::Value* load(llvm::IRBuilder<>& builder, const MemoryAccess& access, unsigned binding);
    void store(llvm::IRBuilder<>& builder, const MemoryAccess& access, unsigned binding,
               llvm::Value* bits);

private:
    /// Where an access begins.
    struct Element {
        BufferView view;
        llvm::Value* index = nullptr; ///< 32 bits
        unsigned component = 0;
        std::uint64_t partBytes() const { return view.bits / 8; }
    };
    Element elementOf(llvm::IRBuilder<>& builder, const MemoryAccess& access, unsigned binding);
    llvm::Function* functionOf(ShaderOperation operation, const BufferView& view);
    /// The index and the component of the number that comes so many numbers further on.
    static std::array<llvm::Value*, 2> partOf(llvm::IRBuilder<>& builder, const Element& element,
                                              std::uint64_t number);

    Lowering& m_lowering;
    FunctionFacts& m_facts;
    OffsetOf m_offsetOf;
};

} // namespace compute::spirv
