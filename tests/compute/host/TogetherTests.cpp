// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Kernels whose threads share memory of a threadgroup and wait for each other at barriers. What
// they should compute is computed anew, thread by thread.
#include "compute/host/HostBackend.h"
#include "tests/compute/host/Together.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

namespace {

using namespace compute;
using namespace tests;

Words prefixSums(Words values) {
    std::inclusive_scan(values.begin(), values.end(), values.begin());
    return values;
}

const TogetherCase cases[] = {
    {"reverse", R"(
        threadgroup uint tile[1024];
        tile[i] = in[place];
        threadgroup_barrier(mem_flags::mem_threadgroup);
        out[place] = tile[n - 1 - i];)",
     [](Words values) {
         std::ranges::reverse(values);
         return values;
     }},
    {"tree reduction in a loop", R"(
        threadgroup uint tile[1024];
        tile[i] = in[place];
        threadgroup_barrier(mem_flags::mem_threadgroup);
        for (uint half = 512; half > 0; half /= 2) {
            if (i < half && i + half < n)
                tile[i] += tile[i + half];
            threadgroup_barrier(mem_flags::mem_threadgroup);
        }
        out[place] = tile[0] + i;)",
     [](const Words& values) {
         Words sums(values.size());
         std::iota(sums.begin(), sums.end(), std::reduce(values.begin(), values.end()));
         return sums;
     }},
    {"scan with values across barriers", R"(
        threadgroup uint tile[1024];
        uint sum = in[place];
        tile[i] = sum;
        threadgroup_barrier(mem_flags::mem_threadgroup);
        for (uint distance = 1; distance < n; distance *= 2) {
            const uint other = i >= distance ? tile[i - distance] : 0;
            threadgroup_barrier(mem_flags::mem_threadgroup);
            sum += other;
            tile[i] = sum;
            threadgroup_barrier(mem_flags::mem_threadgroup);
        }
        out[place] = sum;)",
     prefixSums},
    {"bitonic sort", R"(
        threadgroup uint tile[1024];
        uint all = 2;
        while (all < n)
            all *= 2;
        for (uint j = i; j < all; j += n)
            tile[j] = 0xffffffff;
        threadgroup_barrier(mem_flags::mem_threadgroup);
        tile[i] = in[place];
        for (uint size = 2; size <= all; size *= 2)
            for (uint step = size / 2; step > 0; step /= 2) {
                threadgroup_barrier(mem_flags::mem_threadgroup);
                for (uint j = i; j < all; j += n) {
                    const uint other = j ^ step;
                    if (other > j && (tile[j] > tile[other]) == ((j & size) == 0)) {
                        const uint kept = tile[j];
                        tile[j] = tile[other];
                        tile[other] = kept;
                    }
                }
            }
        threadgroup_barrier(mem_flags::mem_threadgroup);
        out[place] = tile[i];)",
     [](Words values) {
         std::ranges::sort(values);
         return values;
     }},
    {"histogram by atomics", R"(
        threadgroup atomic_uint bins[16];
        if (i < 16)
            atomic_store_explicit(&bins[i], 0, memory_order_relaxed);
        for (uint j = i; j < 16; j += n)
            atomic_store_explicit(&bins[j], 0, memory_order_relaxed);
        threadgroup_barrier(mem_flags::mem_threadgroup);
        atomic_fetch_add_explicit(&bins[in[place] % 16], 1, memory_order_relaxed);
        threadgroup_barrier(mem_flags::mem_threadgroup);
        out[place] = atomic_load_explicit(&bins[i % 16], memory_order_relaxed);)",
     [](const Words& values) {
         Words counts(values.size());
         for (std::size_t i = 0; i < values.size(); ++i)
             counts[i] = static_cast<std::uint32_t>(std::ranges::count_if(
                 values, [&](std::uint32_t value) { return value % 16 == i % 16; }));
         return counts;
     }},
    {"structures and private arrays across barriers", R"(
        struct Pair { uint a; float4 b; };
        threadgroup Pair pairs[128];
        uint own[8];
        for (uint j = 0; j < 8; ++j)
            own[(j * 3 + in[place]) & 7] = in[place] + j;
        if (i < 128)
            pairs[i] = Pair{in[place], float4(float(i), 1, 2, 3)};
        threadgroup_barrier(mem_flags::mem_threadgroup);
        const uint next = (i + 1) % min(n, 128u);
        own[in[place] & 7] += pairs[next].a + uint(pairs[next].b.x);
        threadgroup_barrier(mem_flags::mem_threadgroup);
        uint sum = 0;
        for (uint j = 0; j < 8; ++j)
            sum = sum * 3 + own[j];
        out[place] = sum;)",
     [](const Words& values) {
         Words sums;
         const std::size_t n = std::min<std::size_t>(values.size(), 128);
         for (std::size_t i = 0; i < values.size(); ++i) {
             Words own(8);
             for (std::uint32_t j = 0; j < 8; ++j)
                 own[(j * 3 + values[i]) & 7] = values[i] + j;
             const std::size_t next = (i + 1) % n;
             own[values[i] & 7] += values[next] + static_cast<std::uint32_t>(next);
             std::uint32_t sum = 0;
             for (const std::uint32_t one : own)
                 sum = sum * 3 + one;
             sums.push_back(sum);
         }
         return sums;
     }},
    {"a barrier in a branch and one in a function", R"(
        threadgroup uint tile[1024];
        threadgroup uint total;
        tile[i] = in[place];
        if (n > 5) {
            threadgroup_barrier(mem_flags::mem_threadgroup);
            if (i == 0)
                for (uint j = 0; j < n; ++j)
                    total += tile[j];
        } else if (i == 0) {
            total = 7;
        }
        wait();
        out[place] = total ^ i;)",
     [](const Words& values) {
         Words all(values.size());
         const std::uint32_t total =
             values.size() > 5 ? std::reduce(values.begin(), values.end()) : 7;
         for (std::uint32_t i = 0; i < all.size(); ++i)
             all[i] = total ^ i;
         return all;
     }},
    {"memory is empty at first", R"(
        threadgroup uint tile[1024];
        const uint found = tile[i];
        threadgroup_barrier(mem_flags::mem_threadgroup);
        tile[i] = in[place];
        out[place] = found;)",
     [](const Words& values) { return Words(values.size()); }},
};

TEST(TogetherTests, ThreadgroupsShareMemoryAndWait) {
    checkTogether(cases);
}

TEST(TogetherTests, ArgumentsOfThreadgroupsLieSideBySide) {
    const auto compiled = compile(programOf(R"(
        kernel void k(device uint* in, device uint* out, threadgroup uint* a [[threadgroup(0)]],
                      threadgroup uint* b [[threadgroup(3)]], uint x [[thread_position_in_grid]],
                      uint i [[thread_index_in_threadgroup]], uint n [[threads_per_threadgroup]]) {
            threadgroup uint own[16];
            a[i] = x;
            b[i] = x + 1000;
            own[i] = x + 2000;
            threadgroup_barrier(mem_flags::mem_threadgroup);
            out[x] = a[n - 1 - i] + 3 * b[n - 1 - i] + 7 * own[n - 1 - i] + a[4000000000 / 4];
        })"));
    ASSERT_TRUE(compiled);
    Words out(64);
    runTogether(*compiled, out, out, {64, 1, 1}, {16, 1, 1}, [](Bindings& bindings) {
        bindings.threadgroupBytes[0] = 64;
        bindings.threadgroupBytes[3] = 64;
    });
    for (std::uint32_t x = 0; x < 64; ++x) {
        const std::uint32_t other = x / 16 * 16 + 15 - x % 16;
        EXPECT_EQ(out[x], 11 * other + 17000) << x;
    }
}

struct Misuse {
    const char* name;
    std::string body;
    const char* error = nullptr; ///< part of it; null when the kernel must run to its end
};

TEST(TogetherTests, WrongProgramsEndAndStayInside) {
    std::string manyBarriers;
    for (unsigned i = 0; i < 300; ++i)
        manyBarriers += "tile[i % 64] += i; threadgroup_barrier(mem_flags::mem_threadgroup);";
    const std::string barrier = "threadgroup_barrier(mem_flags::mem_threadgroup);";
    const Misuse all[] = {
        {"a barrier for some threads", "if (in[place] & 1) { tile[0] = 1; " + barrier +
                                           " } "
                                           "out[place] = tile[i % 64];"},
        {"a different barrier for each", "if (in[place] & 1) {" + barrier + "tile[1] = 2;" +
                                             barrier + "} else {" + barrier + "} out[place] = 1;"},
        {"as many barriers as each likes",
         "for (uint j = 0; j < in[place] % 9; ++j) {" + barrier + "} out[place] = 1;"},
        {"leaving before a barrier", "if (in[place] & 1) return;" + barrier + "out[place] = 1;"},
        {"hundreds of barriers", manyBarriers + "out[place] = tile[i % 64];"},
        {"indices outside of the memory", "tile[in[place]] = 7; tile[-1] = 3;" + barrier +
                                              "out[place] = tile[in[place] + 5] + "
                                              "tile[1000000000 + i];"},
        {"pointers outside of the memory",
         "threadgroup uint* p = &tile[in[place] % 99999999]; p += in[place]; *p = 3;" + barrier +
             "out[place] = p[in[place] % 100000] + *(p - 5000);"},
        {"too much together",
         "threadgroup uint some[8000]; threadgroup uint more[8000]; some[i] = more[i] = 1;" +
             barrier + "out[place] = some[n - i] + more[n - i];",
         "more than 32768 bytes of threadgroup memory"},
        {"too much across a barrier",
         "uint own[9000]; for (uint j = 0; j < 9000; ++j) own[j] = j ^ i;" + barrier +
             "out[place] = own[in[place] % 9000] + tile[0];",
         "across its barriers"},
        {"a shuffle from nowhere", "out[place] = simd_shuffle(in[place], ushort(in[place])) + "
                                   "simd_broadcast(in[place], ushort(in[place])) + "
                                   "__sl42_simd_reduce(in[place], in[place], in[place]) + "
                                   "__sl42_simd_scan(in[place], i, i, i);"},
    };
    for (const Misuse& one : all) {
        SCOPED_TRACE(one.name);
        const auto program =
            programOf(std::string(togetherHead) + "threadgroup uint tile[64];" + one.body + "}");
        const auto made =
            host::HostBackend(*kernel::CompilerOptions::fromEnvironment()).build(program, "k");
        if (one.error != nullptr) {
            ASSERT_FALSE(made);
            EXPECT_NE(made.error().message.find(one.error), std::string::npos)
                << made.error().message;
            continue;
        }
        ASSERT_TRUE(made) << made.error().message;
        for (const Extent group : {Extent{33, 1, 1}, Extent{1024, 1, 1}, Extent{8, 8, 1}}) {
            Words out(4096, 0);
            runTogether(**made, noiseWords(4096), out, {64, 64, 1}, group);
        }
    }
}

} // namespace
