// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/host/HostKernel.h"

#include "compute/backend/GridRecord.h"
#include "compute/host/CodeGeneration.h"
#include "compute/host/loop/ThreadLoop.h"
#include "compute/host/memory/LeasedMemory.h"
#include "compute/kernel/GroupOperations.h"
#include "compute/kernel/KernelSignature.h"
#include "compute/workers/Workers.h"
#include "platform/base/Fatal.h"

#include <llvm/IR/IRBuilder.h>
#include <llvm/Support/xxhash.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <immintrin.h>
#include <limits>

namespace compute::host {
namespace {

static_assert(offsetof(Bindings, threadgroupBytes) == kernel::slotCount * sizeof(void*) &&
              offsetof(Bindings, textures) == kernel::firstTextureSlot * sizeof(void*) &&
              offsetof(Bindings, samplers) == kernel::firstSamplerSlot * sizeof(void*) &&
              sizeof(SamplerRecord) == kernel::samplerWords * 8);

/// Replaces null pointers by an address in the region of kernels, because generated code takes
/// every bound pointer for one and adds offsets to it.
Bindings withoutNull(Bindings bindings) {
    std::byte* nowhere = memory::AddressRegion::nowhere();
    std::ranges::replace(bindings.buffers, nullptr, nowhere);
    std::ranges::replace(bindings.textures, nullptr, reinterpret_cast<const TextureView*>(nowhere));
    std::ranges::replace(bindings.samplers, nullptr,
                         reinterpret_cast<const SamplerRecord*>(nowhere));
    return bindings;
}

static_assert(sizeof(GridRecord) == kernel::gridRecordWords * sizeof(std::uint32_t));

/// The record that ThreadLoop.h describes.
struct TileRecord {
    std::array<std::uint32_t, 3> begin;
    std::array<std::uint32_t, 3> end;
};

using PrepareFunction = void(const Bindings*, const GridRecord*, void* common, const KernelMemory*);
using TileFunction = void(const Bindings*, const GridRecord*, const void* common,
                          const KernelMemory*, const TileRecord*);

/// Denormal numbers count as zeros while this lives: they are slow, and GPUs have none.
class FlushDenormals {
public:
    FlushDenormals() : m_saved(_mm_getcsr()) {
        _mm_setcsr(m_saved | flushToZero | denormalsAreZero);
    }
    FlushDenormals(const FlushDenormals&) = delete;
    ~FlushDenormals() { _mm_setcsr(m_saved); }

private:
    static constexpr unsigned flushToZero = 0x8000;
    static constexpr unsigned denormalsAreZero = 0x0040;
    unsigned m_saved;
};

/// Divides a grid into tiles of whole rows, or pieces of a row where rows are long.
class Tiling {
public:
    /// The positions along x start at `begin`.
    Tiling(Extent grid, std::uint32_t begin) : m_grid(grid), m_begin(begin) {
        // Large enough that the cost of starting a tile is small, small enough that all cores
        // finish at about the same time.
        constexpr std::uint32_t threadsPerTile = 2048;
        const std::uint32_t pieces =
            std::max(1u, (grid.width + threadsPerTile / 2) / threadsPerTile);
        m_width = (grid.width + pieces - 1) / pieces;
        if (grid.height * grid.depth == 1)
            m_width = std::min(m_width, std::max(64u, (grid.width + 15) / 16));
        // Whole vectors, except at the end of a row.
        m_width = (m_width + target::mostLanes - 1) / target::mostLanes * target::mostLanes;
        m_height = std::clamp(threadsPerTile / m_width, 1u, grid.height);
        m_columns = (grid.width + m_width - 1) / m_width;
        m_rows = (grid.height + m_height - 1) / m_height;
    }

    std::uint32_t count() const { return m_columns * m_rows * m_grid.depth; }

    TileRecord tile(std::uint32_t index) const {
        const std::uint32_t x = index % m_columns * m_width;
        const std::uint32_t y = index / m_columns % m_rows * m_height;
        const std::uint32_t z = index / m_columns / m_rows;
        return {{m_begin + x, y, z},
                {m_begin + std::min(x + m_width, m_grid.width),
                 std::min(y + m_height, m_grid.height), z + 1}};
    }

private:
    Extent m_grid;
    std::uint32_t m_begin;
    std::uint32_t m_width = 1;
    std::uint32_t m_height = 1;
    std::uint32_t m_columns = 1;
    std::uint32_t m_rows = 1;
};

/// Divides a grid into threadgroups, with numbers that KernelSignature.h describes.
class Groups {
public:
    Groups(Extent grid, Extent group)
        : m_grid(grid),
          m_group(group),
          m_columns((grid.width - 1) / group.width + 1),
          m_rows((grid.height - 1) / group.height + 1) {}

    std::uint64_t count() const {
        return std::uint64_t{m_columns} * m_rows * ((m_grid.depth - 1) / m_group.depth + 1);
    }
    /// Position of the first thread along x.
    std::uint32_t begin(std::uint32_t index) const { return index % m_columns * m_group.width; }

    TileRecord tile(std::uint32_t index) const {
        const std::uint32_t y = index / m_columns % m_rows * m_group.height;
        const std::uint32_t z = index / m_columns / m_rows * m_group.depth;
        const std::uint32_t threads = std::min(m_group.width, m_grid.width - begin(index)) *
                                      std::min(m_group.height, m_grid.height - y) *
                                      std::min(m_group.depth, m_grid.depth - z);
        return {{0, index, 0}, {threads, index + 1, 1}};
    }

private:
    Extent m_grid;
    Extent m_group;
    std::uint32_t m_columns;
    std::uint32_t m_rows;
};

using Block = std::shared_ptr<memory::GuardedMemory>;

/// Null when the kernel has no tables in the region.
platform::Result<Block> loadTables(const TableImage& image) {
    if (image.isEmpty())
        return Block();
    Block memory = SL42_TRY(memory::GuardedMemory::allocatePacked(image.size()));
    image.copyTo(memory->data());
    return memory;
}

/// The fingerprint of the code and its tables.
Fingerprint combine(const Fingerprint& code, std::span<const std::byte> tables) {
    if (tables.empty())
        return code;
    const llvm::XXH128_hash_t hash =
        llvm::xxh3_128bits({reinterpret_cast<const std::uint8_t*>(tables.data()), tables.size()});
    return {code.low ^ hash.low64, code.high ^ hash.high64};
}

class HostKernel final : public Kernel {
public:
    HostKernel(KernelDescription description, GeneratedCode&& generated, Block tables)
        : Kernel(std::move(description)),
          m_code(std::move(generated.code)),
          m_locations(std::move(generated.locations)),
          m_tables(std::move(tables)),
          m_commonMemory(generated.hoistedBytes),
          m_frames(generated.placement.frameBytes),
          m_groups(generated.groups),
          m_sharedBytes(generated.placement.sharedBytes),
          m_groupMemory(groupBytes()) {}

    const SourceLocations* locations() const override { return &m_locations; }

    void run(const Bindings& given, Extent grid, Extent threadsPerThreadgroup, std::uint32_t begin,
             std::uint32_t end) const override {
        if (begin >= end || grid.height == 0 || grid.depth == 0)
            return;
        const Bindings bindings = withoutNull(given);
        const GridRecord record = gridRecordOf(given, grid, threadsPerThreadgroup);
        const LeasedMemory::Lease common(m_commonMemory);
        prepare(bindings, record, common.data());
        if (m_groups.worksInGroups)
            return runGroups(bindings, record, common.data(), begin, end);
        const Tiling tiling({end - begin, grid.height, grid.depth}, begin);
        workers::run(tiling.count(), [&](std::uint32_t first, std::uint32_t last) {
            runTiles(bindings, record, common.data(), tiling, first, last);
        });
    }

private:
    // Generated code has no type in front of it that a sanitizer could check.

    /// Runs the kernel's code that computes hoisted values, once for the grid.
    [[clang::no_sanitize("function")]]
    void prepare(const Bindings& bindings, const GridRecord& grid, std::byte* common) const {
        auto* function = reinterpret_cast<PrepareFunction*>(m_code.entry(PrepareEntry));
        const FlushDenormals flushDenormals;
        const LeasedMemory::Lease frame(m_frames);
        const KernelMemory memory = memoryWith(frame);
        function(&bindings, &grid, common, &memory);
    }

    [[clang::no_sanitize("function")]]
    void runTiles(const Bindings& bindings, const GridRecord& grid, const std::byte* common,
                  const Tiling& tiling, std::uint32_t first, std::uint32_t last) const {
        auto* function = reinterpret_cast<TileFunction*>(m_code.entry(TileEntry));
        const FlushDenormals flushDenormals;
        const LeasedMemory::Lease frame(m_frames);
        const KernelMemory memory = memoryWith(frame);
        for (std::uint32_t index = first; index < last; ++index) {
            const TileRecord tile = tiling.tile(index);
            function(&bindings, &grid, common, &memory, &tile);
        }
    }

    /// Those threadgroups whose first thread lies between `begin` and `end`.
    void runGroups(const Bindings& bindings, const GridRecord& record, const std::byte* common,
                   std::uint32_t begin, std::uint32_t end) const {
        const std::uint64_t threads = std::uint64_t{record.group.width} * record.group.height;
        if (threads == 0 || record.group.depth == 0 || threads > kernel::maxGroupThreads ||
            threads * record.group.depth > kernel::maxGroupThreads)
            return; // nobody who is honest asks for that
        const Groups groups(record.grid, record.group);
        if (groups.count() > std::numeric_limits<std::uint32_t>::max())
            return;
        workers::run(static_cast<std::uint32_t>(groups.count()),
                     [&](std::uint32_t first, std::uint32_t last) {
                         runGroups(bindings, record, common, groups, {first, last}, {begin, end});
                     });
    }

    struct Range {
        std::uint32_t begin;
        std::uint32_t end;
    };

    [[clang::no_sanitize("function")]]
    void runGroups(const Bindings& bindings, const GridRecord& grid, const std::byte* common,
                   const Groups& groups, Range numbers, Range positions) const {
        auto* function = reinterpret_cast<TileFunction*>(m_code.entry(TileEntry));
        const FlushDenormals flushDenormals;
        const LeasedMemory::Lease frame(m_frames);
        const LeasedMemory::Lease group(m_groupMemory);
        KernelMemory memory = memoryWith(frame);
        memory.shared = group.data();
        memory.vectors = group.data() + vectorsOffset();
        for (std::uint32_t index = numbers.begin; index < numbers.end; ++index) {
            const std::uint32_t x = groups.begin(index);
            if (x < positions.begin || x >= positions.end)
                continue;
            const TileRecord tile = groups.tile(index);
            std::memset(memory.shared, 0, bytesToClear());
            function(&bindings, &grid, common, &memory, &tile);
        }
    }

    KernelMemory memoryWith(const LeasedMemory::Lease& frame) const {
        std::byte* nowhere = memory::AddressRegion::nowhere();
        return {.frame = frame.data(),
                .tables = m_tables ? m_tables->data() : nowhere,
                .shared = nowhere,
                .vectors = nowhere};
    }

    // --- Memory of a threadgroup: what its threads share, its arguments, the frames of vectors ---

    bool hasArguments() const {
        return std::ranges::any_of(description().parameters, [](const Parameter& one) {
            return one.kind == ParameterKind::ThreadgroupMemory;
        });
    }
    std::uint64_t vectorsOffset() const {
        constexpr std::uint64_t alignment = 4096;
        const std::uint64_t bytes = m_sharedBytes + (hasArguments() ? kernel::maxGroupBytes : 0);
        return (bytes + alignment - 1) / alignment * alignment;
    }
    std::uint64_t groupBytes() const {
        return m_groups.worksInGroups
                   ? vectorsOffset() +
                         m_groups.vectorBytes * (kernel::maxGroupThreads / m_groups.lanes)
                   : 0;
    }
    /// Bytes to clear before a threadgroup runs.
    std::uint64_t bytesToClear() const { return hasArguments() ? vectorsOffset() : m_sharedBytes; }

    MachineCode m_code;
    SourceLocations m_locations;
    Block m_tables; ///< null when all of them lie with the code
    mutable LeasedMemory m_commonMemory;
    mutable LeasedMemory m_frames;
    GroupLayout m_groups;
    std::uint64_t m_sharedBytes;
    mutable LeasedMemory m_groupMemory;
};

/// Makes the compiler build its tables and the system page its code in, so that a program's first
/// kernel compiles as quickly as its second.
void compileTrivialKernel(const target::HostTarget& target) {
    kernel::Program program;
    program.context = std::make_unique<llvm::LLVMContext>();
    program.module = std::make_unique<llvm::Module>("warm-up", *program.context);
    llvm::IRBuilder<> builder(*program.context);
    auto* type = llvm::FunctionType::get(builder.getVoidTy(), {builder.getPtrTy()}, false);
    auto* function =
        llvm::Function::Create(type, llvm::GlobalValue::ExternalLinkage, "warmUp", *program.module);
    builder.SetInsertPoint(llvm::BasicBlock::Create(*program.context, "", function));
    llvm::Value* number = builder.CreateLoad(builder.getFloatTy(), function->getArg(0));
    builder.CreateStore(builder.CreateFMul(number, number), function->getArg(0));
    builder.CreateRetVoid();
    program.kernels.push_back({.name = "warmUp",
                               .symbol = "warmUp",
                               .parameters = {{.name = "buffer", .kind = ParameterKind::Buffer}},
                               .unsupported = {}});
    auto canonical = kernel::canonicalise(program, "warmUp", {}, *target.takeMachine());
    if (!canonical || !generate(std::move(*canonical), target))
        platform::fatalError("the code generator does not work on this machine");
}

} // namespace

platform::Result<std::shared_ptr<Kernel>> generate(kernel::CanonicalKernel kernel,
                                                   const target::HostTarget& target,
                                                   const kernel::CompilerOptions& options,
                                                   const kernel::Dump* dump) {
    const auto start = std::chrono::steady_clock::now();
    GeneratedCode code = SL42_TRY(generateCode(kernel, target, options, dump));
    Block tables = SL42_TRY(loadTables(code.placement.tables));
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    KernelDescription description{
        .name = std::move(kernel.name),
        .parameters = std::move(kernel.parameters),
        .fingerprint = combine(code.code.fingerprint(), code.placement.tables.bytes()),
        .worksInGroups = code.groups.worksInGroups,
        .optimiserMilliseconds = kernel.optimiserMilliseconds,
        .codeGenerationMilliseconds = time.count()};
    return std::shared_ptr<Kernel>(
        std::make_shared<HostKernel>(std::move(description), std::move(code), std::move(tables)));
}

void warmUp(const target::HostTarget& target) {
    if (auto region = memory::AddressRegion::get(); !region)
        platform::fatalError(region.error().message);
    workers::start(nullptr);
    compileTrivialKernel(target);
}

} // namespace compute::host
