// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Programs that try to reach memory of the process by every means that the language has. A secret
// lies outside of the region of kernels; a place in the region shares the lower bits of its address
// and is where a forged pointer leads instead. Runs at every width.
#include "compute/memory/KernelAddresses.h"
#include "compute/memory/RegionAllocator.h"
#include "tests/compute/host/CompiledText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <sys/mman.h>

namespace tests {
namespace {

using namespace compute;

constexpr std::size_t pageBytes = 4096;
constexpr std::uint32_t secret = 0x5ec2e700;
constexpr std::uint32_t threads = 40;

void* mapAt(std::uint64_t address, int flags) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): which address it is matters here
    return ::mmap(reinterpret_cast<void*>(address), 2 * pageBytes, PROT_READ | PROT_WRITE,
                  MAP_PRIVATE | MAP_ANONYMOUS | flags, -1, 0);
}

/// Memory of the process, and where pointers to it lead kernels.
class Prey {
public:
    Prey() : m_memory(static_cast<std::uint32_t*>(mapAt(0, 0))) {
        EXPECT_TRUE(memory::AddressRegion::get());
        for (std::uint32_t& word : words())
            word = secret;
        const auto address = reinterpret_cast<std::uintptr_t>(m_memory);
        m_landing = static_cast<std::uint32_t*>(
            mapAt(memory::regionStart | (address & (memory::regionBytes - 1)), MAP_FIXED));
    }
    Prey(const Prey&) = delete;
    ~Prey() {
        ::munmap(m_memory, 2 * pageBytes);
        [[maybe_unused]] void* reserved =
            ::mmap(m_landing, 2 * pageBytes, PROT_NONE,
                   MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED, -1, 0);
    }

    std::span<std::uint32_t> words() const { return {m_memory, 2 * pageBytes / 4}; }
    /// In the middle, so that accesses on either side hit it as well.
    std::uint32_t* middle() const { return m_memory + words().size() / 2; }
    bool isUntouched() const {
        return std::ranges::all_of(words(), [](std::uint32_t word) { return word == secret; });
    }
    bool landingIsHit() const {
        return std::ranges::any_of(std::span(m_landing, words().size()),
                                   [](std::uint32_t word) { return word != 0; });
    }

private:
    std::uint32_t* m_memory;
    std::uint32_t* m_landing = nullptr;
};

struct Attack {
    const char* name;
    /// Of a kernel with `device ulong* prey`, whose first word is the address, `device uint* out`,
    /// `uint id`, and what stands before it.
    const char* body;
    const char* before = "";
};

std::shared_ptr<Kernel> compile(const Attack& attack) {
    return tests::compile(programOf(attack.before +
                                    std::string("kernel void k(device ulong* prey [[buffer(0)]],"
                                                " device uint* out [[buffer(1)]],"
                                                " constant uint& zero [[buffer(2)]],"
                                                " uint id [[thread_position_in_grid]]) {\n") +
                                    attack.body + "}\n"));
}

/// Runs the attack; false when the code could not be made.
bool run(const Attack& attack, const Prey& prey, memory::RegionVector<std::uint32_t>& out) {
    const auto compiled = compile(attack);
    if (compiled == nullptr)
        return false;
    memory::RegionVector<std::uint64_t> words(1024);
    words[0] = reinterpret_cast<std::uintptr_t>(prey.middle());
    memory::RegionVector<std::uint32_t> zero(1);
    Bindings bindings;
    bindings.buffers[0] = reinterpret_cast<std::byte*>(words.data());
    bindings.buffers[1] = reinterpret_cast<std::byte*>(out.data());
    bindings.buffers[2] = reinterpret_cast<std::byte*>(zero.data());
    compiled->run(bindings, {threads, 1, 1}, {32, 1, 1});
    return true;
}

constexpr Attack writes[] = {
    {"APointerMadeOfANumber", "*(device uint*)prey[0] = 0xbad0bad0;"},
    {"OneForEachThread", "*(device uint*)(prey[0] + 4 * id) = 0xbad0bad0;"},
    {"OneForEachThreadFarApart", "*(device uint*)(prey[0] + 20 * id) = 0xbad0bad0;"},
    {"Bytes", "*(device uchar*)(prey[0] + id) = 0xba;"},
    {"Halves", "*(device half*)(prey[0] + 6 * id) = 1.5h;"},
    {"WideNumbers", "*(device ulong*)(prey[0] + 8 * id) = 0xbad0bad0bad0bad0ul;"},
    {"Structures", "((device float4*)prey[0])[id] = float4(1, 2, 3, 4);"},
    {"APointerReadFromMemory", "*((device One*)prey)->target = 0xbad0bad0;",
     "struct One { device uint* target; };\n"},
    {"APointerWrittenAndRead",
     "device One* one = (device One*)(prey + 8);\n"
     "prey[8] = prey[0]; *one->target = 0xbad0bad0;",
     "struct One { device uint* target; };\n"},
    {"AnIndexOf64Bits", "device uint* words = (device uint*)prey;\n"
                        "words[long(prey[0] - (ulong)words) / 4 + id] = 0xbad0bad0;"},
    {"BytesFromABuffer", "((device uchar*)out)[prey[0] - (ulong)out] = 0xba;"},
    {"DifferencesOfPointers", "device uint* goal = (device uint*)prey[0];\n"
                              "const long distance = goal - out; *(out + distance) = 0xbad0bad0;"},
    {"ABufferOrANumber", "device uint* either = id == 7 + zero ? out : (device uint*)prey[0];\n"
                         "either[id] = 0xbad0bad0;"},
    {"APointerThatWalks", "device uint* p = (device uint*)prey[0];\n"
                          "for (uint i = 0; i < 8 + zero; ++i)\n"
                          "    *p++ = 0xbad0bad0;"},
    {"APointerThatLeapsFromABuffer", "device uint* p = out;\n"
                                     "for (uint i = 0; i < 2 + zero; ++i)\n"
                                     "    p += (long(prey[0]) - long((ulong)out)) / 8;\n"
                                     "*p = 0xbad0bad0;"},
    {"AnArrayOfItsOwn",
     "uint local[4] = {id, 1, 2, 3};\n"
     "thread uint* p = &local[zero];\n"
     "*(thread uint*)(prey[0] + ((ulong)p - (ulong)p)) = 0xbad0bad0; out[id] = local[1];"},
    {"AnotherAddressSpace", "*(thread uint*)(ulong)prey[0] = 0xbad0bad0;"},
    {"WriteThroughConstant", "*(device uint*)(ulong)(constant uint*)prey[0] = 0xbad0bad0;"},
    {"Atomics",
     "atomic_fetch_add_explicit((device atomic_uint*)prey[0], 5, memory_order_relaxed);"},
    {"ExchangesOfEachThread",
     "atomic_exchange_explicit((device atomic_uint*)(prey[0] + 4 * id), 5, memory_order_relaxed);"},
    {"CopiesOfLargeStructures",
     "Large large; for (uint i = 0; i < 100; ++i) large.words[i] = i + id + zero;\n"
     "*(device Large*)prey[0] = large;",
     "struct Large { uint words[100]; };\n"},
    {"VectorsOfBits", "const uint2 bits = as_type<uint2>(prey[0]);\n"
                      "*(device uint*)as_type<ulong>(bits) = 0xbad0bad0;"},
    {"PointersInAPrivateList",
     "device uint* list[4] = {out, (device uint*)prey[0], out + 4, out + 8};\n"
     "*list[1 + (id + zero) % 2] = 0xbad0bad0;"},
    {"FunctionsThatAreCalled", "poke((device uint*)prey[0] + id);",
     "[[gnu::noinline]] void poke(device uint* p) { *p = 0xbad0bad0; }\n"},
};

TEST(ContainmentTests, WritesLeaveTheProcessAlone) {
    for (const Attack& attack : writes) {
        SCOPED_TRACE(attack.name);
        const Prey prey;
        memory::RegionVector<std::uint32_t> out(1024);
        ASSERT_TRUE(run(attack, prey, out));
        EXPECT_TRUE(prey.isUntouched());
        EXPECT_TRUE(prey.landingIsHit()) << "the attack did not get anywhere";
    }
}

constexpr Attack reads[] = {
    {"APointerMadeOfANumber", "out[id] = *(device uint*)prey[0];"},
    {"OneForEachThread", "out[id] = *(device uint*)(prey[0] + 4 * id);"},
    {"Bytes", "out[id] = *(device uchar*)(prey[0] + id);"},
    {"Halves", "out[id] = *(device ushort*)(prey[0] + 2 * (id % 8));"},
    {"Structures", "const uint4 v = ((device uint4*)prey[0])[id]; out[id] = v.x | v.y | v.w;"},
    {"Constants", "out[id] = *((constant uint*)prey[0] + id);"},
    {"AnIndexOf64Bits", "out[id] = out[long(prey[0] - (ulong)out) / 4 + id];"},
    {"ANegativeIndex", "out[id] = *(out - long((ulong)out - prey[0]) / 4);"},
};

TEST(ContainmentTests, ReadsLearnNothing) {
    for (const Attack& attack : reads) {
        SCOPED_TRACE(attack.name);
        const Prey prey;
        memory::RegionVector<std::uint32_t> out(1024, 1);
        ASSERT_TRUE(run(attack, prey, out));
        for (std::uint32_t i = 0; i < threads; ++i)
            EXPECT_EQ(out[i], 0u) << i; // what lies at the landing
    }
}

constexpr Attack indices[] = {
    {"ADistanceFromAnArrayOfItsOwn",
     "uint local[4] = {id, 1, 2, 3};\n"
     "thread uint* p = &local[zero]; prey[100 + id] = (ulong)p;\n"
     "p[long(prey[0] - prey[100 + id]) / 4] = 0xbad0bad0; out[id] = local[1];"},
    {"AConstantTable", "out[id] = table[long(prey[0] - (ulong)&table[zero]) / 4];",
     "constant uint table[4] = {4, 3, 2, 1};\n"},
};

TEST(ContainmentTests, IndicesStayInTheirArray) {
    for (const Attack& attack : indices) {
        SCOPED_TRACE(attack.name);
        const Prey prey;
        memory::RegionVector<std::uint32_t> out(1024);
        ASSERT_TRUE(run(attack, prey, out));
        EXPECT_TRUE(prey.isUntouched());
        EXPECT_FALSE(prey.landingIsHit());
        for (std::uint32_t i = 0; i < threads; ++i)
            EXPECT_EQ(out[i], 1u) << i;
    }
}

/// What overwriting return addresses takes: all around a private array, through a pointer that the
/// compiler has lost sight of.
TEST(StackTests, NothingAroundAPrivateArrayIsTheStack) {
    const Attack attack = {"Walk", R"(
        uint local[8] = {};
        local[id % 8] = id;
        thread uint* p = local;
        prey[id + 1] = (ulong)p;
        p = (thread uint*)prey[id + 1];
        uint found = 0;
        for (int i = 0; i < 200; ++i)
            found |= p[i] == 0x5ec2e700 + zero ? 1 : 0;
        for (int i = 8; i < 200; ++i)
            p[i] = 0x41414141;
        out[id] = found;
    )"};
    const volatile std::uint32_t mine[64] = {secret, secret, secret};
    (void)mine;
    const Prey prey;
    memory::RegionVector<std::uint32_t> out(1024, 1);
    ASSERT_TRUE(run(attack, prey, out));
    for (std::uint32_t i = 0; i < threads; ++i)
        EXPECT_EQ(out[i], 0u) << i;
}

/// A pointer to a variable of a function that has returned leads to memory that is the kernel's.
TEST(StackTests, PointersOutliveTheirVariablesWithoutHarm) {
    const Attack attack = {"Dangling",
                           "device Kept* kept = (device Kept*)(prey + 8 + id);\n"
                           "keep(kept, id); scribble(id);\n"
                           "*kept->pointer = 0x41414141; out[id] = 0;",
                           "struct Kept { thread uint* pointer; };\n"
                           "void keep(device Kept* kept, uint id) {\n"
                           "    uint local[4] = {id, id, id, id}; kept->pointer = &local[id % 4];\n"
                           "}\n"
                           "void scribble(uint id) { volatile uint other[4] = {id, 1, 2, 3}; }\n"};
    const Prey prey;
    memory::RegionVector<std::uint32_t> out(1024, 1);
    ASSERT_TRUE(run(attack, prey, out));
    EXPECT_TRUE(prey.isUntouched());
    EXPECT_EQ(out[threads - 1], 0u);
}

} // namespace
} // namespace tests
