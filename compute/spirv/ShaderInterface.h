// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a shader and the device that runs it agree on: how memory is handed over, how threads are
// counted, what the device must have. No header of the compiler or of a driver is needed here.
//
// A shader is one Vulkan compute pipeline. All that it is told stands in push constants and in
// memory that these lead to. The buffers that it names are bound by descriptors besides, where the
// device has such as it takes (Features::descriptors): binding n of set 0 is a storage buffer, that
// of Shader::describedBuffers[n].
//
// Threads. A plain kernel runs once for each (x, y, z): x is begin + GlobalInvocationId.x, up to
// `end`, which is not included; y and z are those of GlobalInvocationId. Threads outside of the
// grid, by `end` or its height, do nothing; beyond its depth there are none. A shader that
// `runsInGroups` runs threadgroup by threadgroup instead: the number of a thread is
// LocalInvocationIndex (or by its subgroup, see runsInSubgroups), that of its threadgroup is begin
// + the number of the workgroup in the dispatch, x fastest, up to `end`, so that one-dimensional
// dispatches do. Its workgroups have the threads of a threadgroup; should some at the far edge have
// no place in the grid, they do nothing, but come to no barrier either, so that they had better not
// be there.
//
// Specialisation constants: 0, 1 and 2 are the size of the workgroup (for plain kernels any, with a
// depth of 1; for others x is the number of threads in a threadgroup, y and z are 1), 3 is the
// number of bytes that the arguments in threadgroup memory take together, a multiple of 16; 0
// without any. From 4 on: how many bytes before the buffer each descriptor begins, where its place
// is not one at which a descriptor may; 0 unless said.
#pragma once

#include "compute/kernel/KernelSignature.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace compute::spirv {

/// A piece of memory that a kernel may read and write. The address of a buffer is a multiple of 4,
/// all others are multiples of 16. No more than `bytes` are touched; nothing bound is a length of
/// 0.
struct BufferRecord {
    std::uint64_t address = 0;
    std::uint64_t bytes = 0;
};

/// After the slots of KernelSignature.h: memory of the dispatch's own, at least spareBytes, all
/// zero, that accesses which lead outside are sent to.
inline constexpr unsigned spareSlot = kernel::slotCount;
inline constexpr unsigned bindingRecords = spareSlot + 1;
inline constexpr std::uint64_t spareBytes = 64;

/// All memory that pointers may lead to once they have been in memory: every buffer that is bound,
/// those that argument buffers lead to, the texture views and their texels. `count` records of type
/// BufferRecord follow this one at once, ordered by address, none overlapping: what does is merged.
/// A pointer that leads into none of them leads to the spare memory.
struct MemoryTable {
    std::uint64_t count = 0;
    std::uint64_t unused = 0;
};

/// So many records a shader may have at hand in the push constants.
inline constexpr unsigned directRecords = 4;

/// So many buffers a shader may have by descriptor.
inline constexpr unsigned mostDescribed = 8;
/// No descriptor covers more than this: indices of bytes are to be positive numbers of 32 bits.
inline constexpr std::uint64_t mostDescribedBytes = std::uint64_t{1} << 31;

/// Layout of the push constants. All addresses are multiples of 16 and of the device. What nearly
/// every thread needs is in here, since loads from memory cost it more; it says the same as what
/// `bindings` and `grid` lead to.
struct PushConstants {
    /// bindingRecords of type BufferRecord. Buffers, texture views (compute/backend/TextureView.h
    /// with addresses of the device) and samplers in the slots that KernelSignature.h gives them.
    std::uint64_t bindings = 0;
    /// kernel::gridRecordWords numbers of 32 bits.
    std::uint64_t grid = 0;
    /// A MemoryTable. Never 0, also where the shader does not look (Shader::followsPointers).
    std::uint64_t memory = 0;
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
    /// Address of the spare memory.
    std::uint64_t spare = 0;
    /// Of the grid, in threads.
    std::array<std::uint32_t, 3> size{};
    std::uint32_t unused = 0;
    /// Those of Shader::directSlots.
    std::array<BufferRecord, directRecords> direct{};
};
static_assert(sizeof(PushConstants) <= 128, "no device has to take more");

enum SpecialisationConstant : std::uint32_t {
    WorkgroupWidth,
    WorkgroupHeight,
    WorkgroupDepth,
    ThreadgroupArgumentBytes,
    FirstDescriptorBias,
};

/// Threads of a SIMD-group.
inline constexpr std::uint32_t simdgroupThreads = 32;

/// What a device has, for the choices of the back end. int8, int16, int64, physical addresses and
/// 8 and 16 bits in memory are taken for granted: shaderInt8, shaderInt16, shaderInt64,
/// bufferDeviceAddress, storageBuffer8BitAccess, storageBuffer16BitAccess, vulkanMemoryModel with
/// vulkanMemoryModelDeviceScope, shaderZeroInitializeWorkgroupMemory.
struct Features {
    bool float16 = false; ///< shaderFloat16 and shaderRoundingModeRTEFloat16
    bool float64 = false; ///< shaderFloat64
    bool int64Atomics = false;
    bool floatAtomicAdd = false; ///< shaderBufferFloat32AtomicAdd and shaderSharedFloat32AtomicAdd
    bool preservesNan = false;   ///< shaderSignedZeroInfNanPreserveFloat32
    bool flushesDenormals = false; ///< shaderDenormFlushToZeroFloat32
    bool roundsToEven = false;     ///< shaderRoundingModeRTEFloat32
    /// Descriptors of storage buffers which begin and end with the buffer: nothing outside is read
    /// or written, what is read there is 0 (robustBufferAccess2). mostDescribed of them.
    bool descriptors = false;
    /// Of subgroups that can be required, full ones: subgroupSizeControl and computeFullSubgroups,
    /// with as many in a workgroup as it may have threads for; with ballots, shuffles and
    /// arithmetic. simdgroupThreads, or 0 without. A power of two below that makes SIMD-groups as
    /// small: for tests, as the software driver has no larger ones.
    std::uint32_t subgroupThreads = 0;
    /// Whether threads of a subgroup that all went one way go on together behind it, whatever other
    /// subgroups do: shaderSubgroupUniformControlFlow.
    bool subgroupsReconverge = false;
};

/// What a shader makes use of, beyond what is taken for granted.
struct Requirements {
    bool float16 = false;
    bool float64 = false;
    bool int64Atomics = false;
    bool floatAtomicAdd = false;
    /// Of subgroups, where runsInSubgroups() says so; 0 when the shader never uses any.
    std::uint32_t subgroupThreads = 0;
};

struct DescribedBuffer {
    std::uint32_t slot = 0;
    /// The bias of its descriptor must be a multiple of this: a power of two, at most 16.
    std::uint32_t alignment = 1;
};

struct Shader {
    std::vector<std::uint32_t> words; ///< SPIR-V 1.5
    std::string entry;                ///< name of the entry point
    Requirements requirements;
    bool runsInGroups = false;
    /// Whether the memory table is looked at.
    bool followsPointers = false;
    /// The slots whose records belong into PushConstants::direct, in that order.
    std::vector<std::uint32_t> directSlots;
    std::vector<DescribedBuffer> describedBuffers;
    /// Of workgroup memory, without what the threadgroup arguments take.
    std::uint32_t groupBytes = 0;
    /// And for each thread, see groupBytesOf().
    std::uint32_t groupBytesOfThread = 0;
};

/// Whether a workgroup of so many threads, when the shader runs in groups, must consist of full
/// subgroups of the size that the shader requires. It counts on that and numbers its threads by
/// them. Other workgroups work through memory instead.
inline bool runsInSubgroups(const Shader& shader, std::uint32_t threads) {
    return shader.requirements.subgroupThreads != 0 &&
           threads % shader.requirements.subgroupThreads == 0;
}

/// The workgroup memory of so many threads, without that of threadgroup arguments.
inline std::uint32_t groupBytesOf(const Shader& shader, std::uint32_t threads) {
    const std::uint32_t places =
        runsInSubgroups(shader, threads) ? 1 : (threads + simdgroupThreads - 1) & -simdgroupThreads;
    return shader.groupBytes + shader.groupBytesOfThread * places;
}

/// Copies the records that a shader wants at hand from all that are bound.
inline void putAtHand(PushConstants& constants, const Shader& shader,
                      std::span<const BufferRecord, bindingRecords> bindings) {
    for (std::size_t i = 0; i < shader.directSlots.size(); ++i)
        constants.direct[i] = bindings[shader.directSlots[i]];
    constants.spare = bindings[spareSlot].address;
}

} // namespace compute::spirv
