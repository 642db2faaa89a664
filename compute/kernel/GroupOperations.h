// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the threads of a threadgroup do together, as it appears in intermediate code: calls of a few
// functions that are declared and nowhere defined, and variables that all of them share. A kernel
// with any of these runs threadgroup by threadgroup (KernelSignature.h). The language's library
// expresses everything else by these functions:
//
//     void __sl42_threadgroup_barrier()
//     void __sl42_simdgroup_barrier()
//     i32  __sl42_simd_lane()                        the thread's number in its SIMD-group
//     i32  __sl42_simd_ballot(i1)                    one bit for each thread
//     i32  __sl42_simd_shuffle(i32 value, i32 lane)  the value of another thread
//     i32  __sl42_simd_broadcast(i32 value, i32 lane)  the same, of one thread for all
//     i32  __sl42_simd_first(i32 value)              that of the first active thread
//     i32  __sl42_simd_reduce(i32 value, i32 operation, i32 width)
//     i32  __sl42_simd_scan(i32 value, i32 operation, i32 width, i32 isExclusive)
//
// `width` is 32 for the SIMD-group and 4 for the quad-group; threads that do not take part count as
// the operation's neutral element. `operation` is a Combination.
#pragma once

#include "compute/types/Parameter.h"

#include <llvm/IR/Function.h>
#include <llvm/IR/GlobalVariable.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/InstrTypes.h>
#include <llvm/IR/Module.h>

#include <cstdint>

namespace compute::kernel {

/// Threads of a SIMD-group, at every width of the processor's vectors.
inline constexpr unsigned simdgroupThreads = 32;
inline constexpr unsigned quadgroupThreads = 4;
/// At most, of kernels whose threads work together.
inline constexpr unsigned maxGroupThreads = maxThreadsOfGroup;
/// Memory that the threads of a threadgroup may share.
inline constexpr std::uint64_t maxGroupBytes = maxThreadgroupBytes;

enum class GroupOperation : std::uint8_t {
    None,
    ThreadgroupBarrier,
    SimdgroupBarrier,
    Lane,
    Ballot,
    Shuffle,
    Broadcast,
    First,
    Reduce,
    Scan
};

/// The operations of reductions and scans. The library's headers spell the same numbers.
enum class Combination : std::uint8_t {
    Add,
    Multiply,
    SignedMin,
    SignedMax,
    UnsignedMin,
    UnsignedMax,
    And,
    Or,
    Xor,
    FloatAdd,
    FloatMultiply,
    FloatMin,
    FloatMax
};

/// One step of a reduction or scan; floats and vectors of them for the combinations of floats.
llvm::Value* combine(llvm::IRBuilderBase& builder, Combination combination, llvm::Value* a,
                     llvm::Value* b);

constexpr bool isOfFloats(Combination combination) {
    return combination >= Combination::FloatAdd;
}
/// What changes nothing when it is combined with another number of this type: an integer, or float
/// for the combinations of floats.
llvm::Constant* neutralElement(Combination combination, llvm::Type* type);

GroupOperation groupOperation(const llvm::Function& function);
/// None for anything but a call of such a function.
GroupOperation groupOperation(const llvm::Value& value);
/// Whether all threads that execute the call together get the same result.
bool hasUniformResult(const llvm::CallBase& call);
/// The argument, when it is constant; else `other`.
std::uint64_t constantArgument(const llvm::CallBase& call, unsigned index, std::uint64_t other);

/// Memory that a threadgroup shares is a variable of the module with this attribute.
inline constexpr llvm::StringLiteral groupVariableAttribute = "sl42-threadgroup";
bool isGroupVariable(const llvm::Value& value);
/// Among them the memory of all arguments, whose length is only known when the kernel runs.
inline constexpr llvm::StringLiteral groupArgumentsSymbol = "sl42.threadgroup.arguments";
/// Whether the memory that the pointer leads into is shared by a threadgroup, as far as one sees.
bool leadsToGroupVariable(const llvm::Value& pointer);

// Attributes of the canonical function.

/// The kernel runs threadgroup by threadgroup.
inline constexpr llvm::StringLiteral groupKernelAttribute = "sl42-groups";
/// Its SIMD-groups run together.
inline constexpr llvm::StringLiteral simdgroupKernelAttribute = "sl42-simdgroups";

/// Whether anything in the module works on threadgroups.
bool worksInGroups(const llvm::Module& module);

/// Tells the optimiser what the functions do, and marks those that lead to them: such calls stay
/// where they are in the control flow. Marks the canonical function.
void describeGroupOperations(llvm::Module& module, llvm::Function* entry);

} // namespace compute::kernel
