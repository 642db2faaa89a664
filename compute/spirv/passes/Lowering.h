// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the passes of the back end hand to each other: a canonical kernel on its way to code that
// SPIR-V has an instruction for. From lowerPointers() on there are no pointers but addresses of the
// device, which are numbers of 64 bits that become pointers (in address space 1) right where memory
// is accessed. Variables are read and written by calls of functions that are declared and nowhere
// defined, and so does code find out where its thread and its memory stand.
#pragma once

#include "compute/kernel/Analyses.h"
#include "compute/kernel/GroupOperations.h"
#include "compute/spirv/ShaderInterface.h"
#include "platform/base/Result.h"

#include <llvm/ADT/DenseMap.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/Module.h>

#include <cstdint>
#include <string_view>
#include <vector>

namespace compute::spirv {

/// Memory that is no buffer: an array of numbers that is addressed by index.
struct Variable {
    enum class Storage : std::uint8_t {
        Function,  ///< of one thread, in one function
        Private,   ///< of one thread, in several
        Workgroup, ///< of a threadgroup; all zero at first
        Constant,
    };
    Storage storage = Storage::Function;
    llvm::Type* element = nullptr; ///< an integer or float
    std::uint64_t count = 0;
    /// Of the memory of threadgroup arguments: its length is a specialisation constant, `count` the
    /// number of elements beyond that.
    bool isSizedByArguments = false;
    /// One element for each thread, in whole SIMD-groups, `count` being 0. With subgroups that take
    /// its place there is one in all.
    bool isSizedByThreads = false;
    std::vector<llvm::Constant*> values; ///< of a constant: all elements
};

/// A buffer with a descriptor, seen as an array of numbers or of vectors of them.
struct BufferView {
    unsigned binding = 0; ///< see Shader::describedBuffers
    unsigned bits = 0;    ///< of a number: 8, 16 or 32
    unsigned components = 1;

    bool operator==(const BufferView&) const = default;
    std::uint32_t elementBytes() const { return bits / 8 * components; }
};

/// What a declared function does with a variable, or tells.
enum class ShaderOperation : std::uint8_t {
    None,
    Read,            ///< T (i32 index)
    Write,           ///< void (i32 index, T)
    Atomic,          ///< T (i32 index, T): an AtomicRMWInst::BinOp, see ShaderFunction
    CompareExchange, ///< T (i32 index, T expected, T desired): the value before
    ExchangeAt,      ///< T (ptr, T expected, T desired): the same in memory of the device
    BufferRead,      ///< T (i32 index, i32 component), of a BufferView; the latter is constant
    BufferWrite,     ///< void (i32 index, i32 component, T)
    BufferReadAll,   ///< vector (i32 index): all components
    BufferWriteAll,  ///< void (i32 index, vector)
    Length,          ///< i32 (): elements of the variable, where that is not constant
    BindingsAddress, ///< i64 ()
    GridAddress,     ///< i64 ()
    MemoryAddress,   ///< i64 ()
    SpareAddress,    ///< i64 ()
    DirectRecord,    ///< i64 (i32 word): of PushConstants::direct
    GridSize,        ///< i32 (i32 axis)
    Begin,           ///< i32 ()
    End,             ///< i32 ()
    GlobalId,        ///< i32 (i32 axis)
    WorkgroupId,     ///< i32 (i32 axis)
    WorkgroupCount,  ///< i32 (i32 axis)
    LocalIndex,      ///< i32 ()
    Always,          ///< i1 (): true, which no pass knows
    HasSubgroups,    ///< i1 (): whether the workgroup consists of full subgroups

    // Only in code that HasSubgroups leads to; of the threads that come there together:
    SubgroupNumber,  ///< i32 (): in the workgroup
    SubgroupLane,    ///< i32 (): the thread's number in its subgroup
    SubgroupBarrier, ///< void ()
    SubgroupBallot,  ///< i32 (i1): one bit for each thread
    SubgroupFirst,   ///< i32 (i32): that of the first thread
    SubgroupShuffle, ///< i32 (i32, i32 lane)
    SubgroupXor,     ///< i32 (i32, i32 mask): shuffled with that of the lane ^ mask, a constant
    SubgroupReduce,  ///< i32 (i32): with a kernel::Combination of integers
    SubgroupScan,    ///< i32 (i32): the same of those before and the thread's own
    SubgroupBefore,  ///< i32 (i32): the same without its own
};

struct ShaderFunction {
    ShaderOperation operation = ShaderOperation::None;
    unsigned variable = 0; ///< or the number of a BufferView
    unsigned atomic = 0;   ///< AtomicRMWInst::BinOp, or of ExchangeAt the AtomicOrdering
    unsigned bits = 0;     ///< of ExchangeAt
    kernel::Combination combination = kernel::Combination::Add;
};

/// One kernel on its way.
struct Lowering {
    llvm::Module& module;
    kernel::Analyses& analyses;
    const Features& features;
    std::string_view name; ///< of the kernel, for messages
    llvm::Function* kernel = nullptr;
    // NOLINTBEGIN(readability-redundant-member-init): designated initialisers leave them out
    std::vector<Variable> variables = {};
    llvm::DenseMap<const llvm::Function*, ShaderFunction> functions{};
    std::vector<BufferView> views = {};
    std::vector<std::uint32_t> directSlots = {};        ///< see Shader
    std::vector<DescribedBuffer> describedBuffers = {}; ///< see Shader
    /// Where the ways of a branch meet, of all that have a condition and do not end a loop.
    llvm::DenseMap<const llvm::BasicBlock*, const llvm::BasicBlock*> joins{};
    // NOLINTEND(readability-redundant-member-init)

    /// The function that does so; declared when it is first asked for.
    llvm::Function* function(ShaderOperation operation);
    llvm::Function* function(ShaderFunction what);
    ShaderFunction operationOf(const llvm::Value& value) const;
    bool runsInGroups() const;
    /// Threads of a SIMD-group, see Features::subgroupThreads.
    std::uint32_t lanes() const;
};

struct ShaderPass {
    std::string_view name;
    platform::Result<void> (*run)(Lowering& lowering);
};

/// Address space of pointers to memory of the device.
inline constexpr unsigned deviceSpace = 1;

} // namespace compute::spirv
