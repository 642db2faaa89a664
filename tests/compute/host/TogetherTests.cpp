// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Kernels whose threads work together: memory of a threadgroup, barriers, SIMD-groups. What they
// should compute is computed anew, thread by thread.
#include "compute/host/HostBackend.h"
#include "compute/memory/GuardedMemory.h"
#include "tests/compute/host/CompiledText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <functional>
#include <numeric>

namespace {

using namespace compute;

using Words = std::vector<std::uint32_t>;

std::uint32_t noise(std::uint32_t x) {
    x = (x ^ 61) ^ (x >> 16);
    x *= 9;
    x ^= x >> 4;
    x *= 0x27d4eb2d;
    return x ^ (x >> 15);
}

Words noiseWords(std::size_t count) {
    Words words(count);
    for (std::size_t i = 0; i < count; ++i)
        words[i] = noise(static_cast<std::uint32_t>(i));
    return words;
}

const Extent shapes[] = {{1, 1, 1}, {3, 1, 1}, {32, 1, 1}, {33, 1, 1},  {64, 1, 1}, {1024, 1, 1},
                         {8, 8, 1}, {7, 5, 1}, {4, 4, 4},  {1, 100, 1}, {2, 3, 5},  {1, 1, 64}};
const Extent grids[] = {{1, 1, 1}, {100, 1, 1}, {64, 64, 1}, {37, 21, 1}, {13, 9, 6}, {2049, 1, 1}};

std::string describe(Extent grid, Extent group) {
    const auto text = [](Extent e) {
        return std::to_string(e.width) + " x " + std::to_string(e.height) + " x " +
               std::to_string(e.depth);
    };
    return "grid " + text(grid) + ", threadgroup " + text(group);
}

/// A thread as the language numbers it.
struct Thread {
    std::uint32_t place;     ///< in the grid, x fastest
    std::uint32_t index;     ///< in its threadgroup
    std::uint32_t group;     ///< number of the threadgroup
    std::uint32_t groupSize; ///< threads in it
};

void eachThread(Extent grid, Extent group, const std::function<void(const Thread&)>& visit) {
    const auto count = [](std::uint32_t all, std::uint32_t part) { return (all - 1) / part + 1; };
    const std::uint32_t columns = count(grid.width, group.width);
    const std::uint32_t rows = count(grid.height, group.height);
    for (std::uint32_t z = 0; z < grid.depth; ++z)
        for (std::uint32_t y = 0; y < grid.height; ++y)
            for (std::uint32_t x = 0; x < grid.width; ++x) {
                const auto size = [](std::uint32_t all, std::uint32_t part, std::uint32_t at) {
                    return std::min(part, all - at / part * part);
                };
                const std::uint32_t w = size(grid.width, group.width, x);
                const std::uint32_t h = size(grid.height, group.height, y);
                const std::uint32_t d = size(grid.depth, group.depth, z);
                visit({.place = (z * grid.height + y) * grid.width + x,
                       .index = (z % group.depth * h + y % group.height) * w + x % group.width,
                       .group =
                           (z / group.depth * rows + y / group.height) * columns + x / group.width,
                       .groupSize = w * h * d});
            }
}

/// Numbers of the grid's places by threadgroup and index in it.
std::vector<Words> placesOfGroups(Extent grid, Extent group) {
    std::vector<Words> groups;
    eachThread(grid, group, [&](const Thread& thread) {
        if (groups.size() <= thread.group)
            groups.resize(thread.group + 1);
        if (groups[thread.group].size() < thread.groupSize)
            groups[thread.group].resize(thread.groupSize);
        groups[thread.group][thread.index] = thread.place;
    });
    return groups;
}

/// What every kernel below declares, and what its threads are given.
constexpr const char* head = R"(
    kernel void k(device const uint* in, device uint* out,
                  uint3 at [[thread_position_in_grid]], uint3 grid [[threads_per_grid]],
                  uint i [[thread_index_in_threadgroup]], uint3 size [[threads_per_threadgroup]],
                  uint lane [[thread_index_in_simdgroup]]) {
        const uint place = (at.z * grid.y + at.y) * grid.x + at.x;
        const uint n = size.x * size.y * size.z;
)";

struct Case {
    const char* name;
    const char* body;
    /// From what the threads of one threadgroup read to what they write.
    std::function<Words(const Words&)> apply;
};

Words prefixSums(Words values) {
    std::inclusive_scan(values.begin(), values.end(), values.begin());
    return values;
}

const Case cases[] = {
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

/// Runs with buffers in the region of kernels, where those of the service lie.
void run(const Kernel& kernel, const Words& in, Words& out, Extent grid, Extent group,
         const std::function<void(Bindings&)>& prepare = {}) {
    const auto copy = [](const Words& words) {
        auto made = memory::GuardedMemory::allocate(words.size() * sizeof(std::uint32_t));
        std::memcpy((*made)->data(), words.data(), words.size() * sizeof(std::uint32_t));
        return *made;
    };
    const auto source = copy(in);
    const auto target = copy(out);
    Bindings bindings;
    bindings.buffers[0] = source->data();
    bindings.buffers[1] = target->data();
    if (prepare)
        prepare(bindings);
    kernel.run(bindings, grid, group);
    std::memcpy(out.data(), target->data(), out.size() * sizeof(std::uint32_t));
}

void check(const Case& one, Extent grid, Extent group, const Kernel& kernel) {
    const std::size_t count = std::size_t{grid.width} * grid.height * grid.depth;
    Words in = noiseWords(count);
    Words out(count, 0xdead);
    Words expected(count);
    for (const Words& places : placesOfGroups(grid, group)) {
        Words values;
        for (const std::uint32_t place : places)
            values.push_back(in[place]);
        const Words results = one.apply(values);
        for (std::size_t i = 0; i < places.size(); ++i)
            expected[places[i]] = results[i];
    }
    run(kernel, in, out, grid, group);
    for (std::size_t i = 0; i < count; ++i)
        ASSERT_EQ(out[i], expected[i]) << i;
}

void checkAll(std::span<const Case> all) {
    for (const Case& one : all) {
        SCOPED_TRACE(one.name);
        const auto compiled = tests::compile(tests::programOf(
            std::string("void wait() { threadgroup_barrier(mem_flags::mem_threadgroup); }\n") +
            head + one.body + "}"));
        ASSERT_TRUE(compiled);
        for (const Extent group : shapes)
            for (const Extent grid : grids) {
                SCOPED_TRACE(describe(grid, group));
                check(one, grid, group, *compiled);
                if (testing::Test::HasFailure())
                    return;
            }
    }
}

TEST(TogetherTests, ThreadgroupsShareMemoryAndWait) {
    checkAll(cases);
}

// --- SIMD-groups ---------------------------------------------------------------------------------

/// Applies to each `width` threads of a threadgroup in turn.
std::function<Words(const Words&)> each(std::size_t width,
                                        const std::function<Words(const Words&)>& apply) {
    return [=](const Words& values) {
        Words results;
        for (std::size_t first = 0; first < values.size(); first += width) {
            const std::size_t end = std::min(first + width, values.size());
            const Words part = apply({values.begin() + static_cast<std::ptrdiff_t>(first),
                                      values.begin() + static_cast<std::ptrdiff_t>(end)});
            results.insert(results.end(), part.begin(), part.end());
        }
        return results;
    };
}

bool takesPart(std::uint32_t value) {
    return value % 3 != 0;
}

/// Of the threads that take part; 77 for the others.
std::function<Words(const Words&)>
combined(std::size_t width, std::uint32_t start,
         const std::function<std::uint32_t(std::uint32_t, std::uint32_t)>& by) {
    return each(width, [=](const Words& values) {
        std::uint32_t all = start;
        for (const std::uint32_t value : values)
            all = takesPart(value) ? by(all, value) : all;
        Words results;
        for (const std::uint32_t value : values)
            results.push_back(takesPart(value) ? all : 77);
        return results;
    });
}

std::function<Words(const Words&)>
scanned(std::size_t width, std::uint32_t start, bool isExclusive,
        const std::function<std::uint32_t(std::uint32_t, std::uint32_t)>& by) {
    return each(width, [=](const Words& values) {
        std::uint32_t all = start;
        Words results;
        for (const std::uint32_t value : values) {
            const std::uint32_t before = all;
            all = takesPart(value) ? by(all, value) : all;
            results.push_back(takesPart(value) ? (isExclusive ? before : all) : 77);
        }
        return results;
    });
}

/// Every thread of `width` gets the value of thread from(lane), or 77 where there is none.
std::function<Words(const Words&)> moved(std::size_t width,
                                         const std::function<int(int lane, const Words&)>& from) {
    return each(width, [=](const Words& values) {
        Words results;
        for (std::size_t lane = 0; lane < values.size(); ++lane) {
            const int other = from(static_cast<int>(lane), values);
            results.push_back(other >= 0 && static_cast<std::size_t>(other) < values.size()
                                  ? values[static_cast<std::size_t>(other)]
                                  : 77);
        }
        return results;
    });
}

std::uint32_t bits(float value) {
    return std::bit_cast<std::uint32_t>(value);
}

std::uint32_t smallSum(std::uint32_t sum, std::uint32_t value) {
    return bits(std::bit_cast<float>(sum) + static_cast<float>(value % 1000));
}

/// The names begin with GROUP, which stands for `simd` or `quad`; `width` is of that.
std::vector<Case> casesOf(std::size_t width) {
    const auto add = [](std::uint32_t a, std::uint32_t b) { return a + b; };
    const auto multiply = [](std::uint32_t a, std::uint32_t b) { return a * (b | 1); };
    const auto asSigned = [](std::uint32_t a) { return static_cast<std::int32_t>(a); };
    const int w = static_cast<int>(width);
    return {
        {"sum", "if (v % 3) r = GROUP_sum(v);", combined(width, 0, add)},
        {"product", "if (v % 3) r = GROUP_product(v | 1);", combined(width, 1, multiply)},
        {"float sum", "if (v % 3) r = as_type<uint>(GROUP_sum(float(v % 1000)));",
         combined(width, bits(0), smallSum)},
        {"half sum", "if (v % 3) r = uint(GROUP_sum(half(v % 16)));",
         combined(width, 0, [](std::uint32_t a, std::uint32_t b) { return a + b % 16; })},
        {"sum of vectors",
         "if (v % 3) { const uint3 s = GROUP_sum(uint3(v, 1, 2)); r = s.x; "
         "if (s.z != 2 * s.y) r = 0; }",
         combined(width, 0, add)},
        {"signed min", "if (v % 3) r = uint(GROUP_min(int(v)));",
         combined(
             width, 0x7fffffff,
             [=](std::uint32_t a, std::uint32_t b) { return asSigned(a) < asSigned(b) ? a : b; })},
        {"max", "if (v % 3) r = GROUP_max(v);",
         combined(width, 0, [](std::uint32_t a, std::uint32_t b) { return std::max(a, b); })},
        {"max of short", "if (v % 3) r = uint(int(GROUP_max(short(v))));",
         combined(width, static_cast<std::uint32_t>(-32768),
                  [=](std::uint32_t a, std::uint32_t b) {
                      return static_cast<std::uint32_t>(
                          std::max<std::int32_t>(asSigned(a), static_cast<std::int16_t>(b)));
                  })},
        {"float min", "if (v % 3) r = as_type<uint>(GROUP_min(float(v % 1000)));",
         combined(width, bits(2000),
                  [](std::uint32_t a, std::uint32_t b) {
                      return bits(std::min(std::bit_cast<float>(a), static_cast<float>(b % 1000)));
                  })},
        {"and", "if (v % 3) r = GROUP_and(v | 0xf0);",
         combined(width, ~0u, [](std::uint32_t a, std::uint32_t b) { return a & (b | 0xf0); })},
        {"or", "if (v % 3) r = GROUP_or(v & 0xff00);",
         combined(width, 0, [](std::uint32_t a, std::uint32_t b) { return a | (b & 0xff00); })},
        {"xor", "if (v % 3) r = GROUP_xor(v);",
         combined(width, 0, [](std::uint32_t a, std::uint32_t b) { return a ^ b; })},
        {"inclusive sum", "if (v % 3) r = GROUP_prefix_inclusive_sum(v);",
         scanned(width, 0, false, add)},
        {"exclusive sum", "if (v % 3) r = GROUP_prefix_exclusive_sum(v);",
         scanned(width, 0, true, add)},
        {"inclusive product", "if (v % 3) r = GROUP_prefix_inclusive_product(v | 1);",
         scanned(width, 1, false, multiply)},
        {"exclusive float sum",
         "if (v % 3) r = as_type<uint>(GROUP_prefix_exclusive_sum(float(v % 1000)) + 0.0f);",
         scanned(width, bits(0), true, smallSum)},
        {"shuffle", "r = GROUP_shuffle(v, ushort(v % count));",
         moved(width, [](int, const Words& values) { return static_cast<int>(values.size()); })},
        {"shuffle by the neighbour's value",
         "const uint other = (own + 1) % count; if (other < count) r = GROUP_shuffle(v, other);",
         moved(width, [](int lane,
                         const Words& all) { return (lane + 1) % static_cast<int>(all.size()); })},
        {"shuffle of long",
         "const ulong wide = GROUP_shuffle(ulong(v) << 32 | own, ushort(count - 1)); "
         "r = uint(wide) == count - 1 ? uint(wide >> 32) : 0;",
         moved(width, [](int, const Words& all) { return static_cast<int>(all.size()) - 1; })},
        {"xor 1", "const uint x = GROUP_shuffle_xor(v, 1); if ((own ^ 1) < count) r = x;",
         moved(width, [](int lane, const Words&) { return lane ^ 1; })},
        {"up 2", "r = GROUP_shuffle_up(v, 2);",
         moved(width, [](int lane, const Words&) { return lane >= 2 ? lane - 2 : lane; })},
        {"down by a value",
         "const uint x = GROUP_shuffle_down(v, ushort(n % 3)); "
         "if (own + n % 3 < count || own + n % 3 >= WIDTH) r = x;",
         {}},
        {"rotate down",
         "const uint x = GROUP_shuffle_rotate_down(v, 3); "
         "if ((own + 3) % WIDTH < count) r = x;",
         moved(width, [=](int lane, const Words&) { return (lane + 3) % w; })},
        {"rotate up",
         "const uint x = GROUP_shuffle_rotate_up(v, 1); "
         "if ((own + WIDTH - 1) % WIDTH < count) r = x;",
         moved(width, [=](int lane, const Words&) { return (lane + w - 1) % w; })},
        {"fill up",
         "const uint x = GROUP_shuffle_and_fill_up(v, ~v, 1); "
         "if (count == WIDTH) r = own == 0 ? ~x : x;",
         moved(width,
               [=](int lane, const Words& all) {
                   return static_cast<int>(all.size()) == w ? (lane + w - 1) % w : -1;
               })},
        {"fill down by halves",
         "const uint x = GROUP_shuffle_and_fill_down(v, ~v, 1, WIDTH / 2); "
         "if (count == WIDTH) r = own % (WIDTH / 2) + 1 == WIDTH / 2 ? ~x : x;",
         moved(width,
               [=](int lane, const Words& all) {
                   return static_cast<int>(all.size()) == w
                              ? lane / (w / 2) * (w / 2) + (lane + 1) % (w / 2)
                              : -1;
               })},
        {"broadcast", "r = GROUP_broadcast(v, ushort(count / 2));",
         moved(width, [](int, const Words& all) { return static_cast<int>(all.size()) / 2; })},
        {"broadcast of the first", "if (v % 3) r = GROUP_broadcast_first(v);",
         combined(width, 0, [](std::uint32_t a, std::uint32_t b) { return a == 0 ? b : a; })},
        {"votes",
         "const bool all = GROUP_all(v % 4 != 1); const bool any = GROUP_any(v % 16 == 2);"
         "if (v % 3) r = uint(GROUP_ballot(v % 5 < 2)) * 2 + uint(GROUP_active_threads_mask()) * 3"
         " + (all ? 1 : 0) + (any ? 5 : 0) + (GROUP_is_first() ? 11 : 0);",
         each(width,
              [](const Words& values) {
                  std::uint32_t common = 0;
                  std::uint32_t bit = 1;
                  for (const std::uint32_t value : values) {
                      if (takesPart(value))
                          common += (value % 5 < 2 ? 2 * bit : 0) + 3 * bit;
                      bit *= 2;
                  }
                  common += std::ranges::all_of(values, [](auto v) { return v % 4 != 1; }) ? 1 : 0;
                  common += std::ranges::any_of(values, [](auto v) { return v % 16 == 2; }) ? 5 : 0;
                  Words results;
                  bool isFirst = true;
                  for (const std::uint32_t value : values) {
                      results.push_back(takesPart(value) ? common + (isFirst ? 11 : 0) : 77);
                      isFirst = isFirst && !takesPart(value);
                  }
                  return results;
              })},
        {"sum in a loop that threads leave one by one",
         "r = 0; for (uint j = v % 7; j > 0; --j) r += GROUP_sum(j);",
         each(width,
              [](const Words& values) {
                  Words results(values.size());
                  Words left;
                  for (const std::uint32_t value : values)
                      left.push_back(value % 7);
                  while (std::ranges::any_of(left, [](auto j) { return j > 0; })) {
                      const std::uint32_t sum = std::reduce(left.begin(), left.end());
                      for (std::size_t i = 0; i < left.size(); ++i)
                          if (left[i] > 0) {
                              results[i] += sum;
                              --left[i];
                          }
                  }
                  return results;
              })},
    };
}

std::string replaced(std::string text, const std::string& what, const std::string& by) {
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at))
        text.replace(at, what.size(), by);
    return text;
}

void checkGroups(const char* group, std::size_t width) {
    std::vector<Case> all = casesOf(width);
    const auto find = [&](std::string_view name) -> Case& {
        return *std::ranges::find_if(all, [&](const Case& one) { return name == one.name; });
    };
    // What depends on the threadgroup as well.
    find("shuffle").apply = each(width, [](const Words& values) {
        Words results;
        for (const std::uint32_t value : values)
            results.push_back(values[value % values.size()]);
        return results;
    });
    find("down by a value").apply = [=](const Words& values) {
        const std::size_t delta = values.size() % 3;
        return moved(width, [=](int lane, const Words&) {
            const int other = lane + static_cast<int>(delta);
            return other < static_cast<int>(width) ? other : lane;
        })(values);
    };
    const std::string n = std::to_string(width);
    std::vector<std::string> bodies;
    for (Case& one : all)
        bodies.push_back("const uint v = in[place]; uint r = 77; const uint own = i % " + n +
                         "; const uint count = min(" + n + "u, n - (i - own));" +
                         replaced(replaced(one.body, "GROUP", group), "WIDTH", n) +
                         "out[place] = r;");
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i].body = bodies[i].c_str();
    checkAll(all);
}

TEST(TogetherTests, SimdgroupsAreThirtyTwoThreads) {
    checkGroups("simd", 32);
}

TEST(TogetherTests, QuadgroupsAreFourThreads) {
    checkGroups("quad", 4);
}

TEST(TogetherTests, ThreadsKnowTheirPlace) {
    const auto compiled = tests::compile(tests::programOf(R"(
        kernel void k(device uint* in, device uint* out, uint2 at [[thread_position_in_grid]],
                      uint2 grid [[threads_per_grid]], uint i [[thread_index_in_threadgroup]],
                      uint a [[thread_index_in_simdgroup]], ushort b [[simdgroup_index_in_threadgroup]],
                      uint c [[simdgroups_per_threadgroup]], uint d [[threads_per_simdgroup]],
                      ushort e [[thread_index_in_quadgroup]], uint f [[quadgroup_index_in_threadgroup]],
                      uint g [[quadgroups_per_threadgroup]], uint h [[thread_execution_width]],
                      uint2 j [[dispatch_threads_per_threadgroup]],
                      uint l [[dispatch_simdgroups_per_threadgroup]]) {
            const uint values[11] = {a, b, c, d, e, f, g, h, j.x, j.y, l};
            for (uint m = 0; m < 11; ++m)
                out[(at.y * grid.x + at.x) * 11 + m] = values[m];
        })"));
    ASSERT_TRUE(compiled);
    const Extent grid{37, 21, 1};
    const Extent group{9, 5, 1};
    Words out(std::size_t{37} * 21 * 11);
    run(*compiled, out, out, grid, group);
    eachThread(grid, group, [&](const Thread& thread) {
        const std::uint32_t i = thread.index;
        const std::uint32_t n = thread.groupSize;
        const Words expected = {i % 32, i / 32, (n + 31) / 32, 32, i % 4, i / 4, (n + 3) / 4, 32, 9,
                                5,      2};
        const auto begin = out.begin() + static_cast<std::ptrdiff_t>(thread.place) * 11;
        EXPECT_EQ(Words(begin, begin + 11), expected) << thread.place;
    });
}

TEST(TogetherTests, ArgumentsOfThreadgroupsLieSideBySide) {
    const auto compiled = tests::compile(tests::programOf(R"(
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
    run(*compiled, out, out, {64, 1, 1}, {16, 1, 1}, [](Bindings& bindings) {
        bindings.threadgroupBytes[0] = 64;
        bindings.threadgroupBytes[3] = 64;
    });
    for (std::uint32_t x = 0; x < 64; ++x) {
        const std::uint32_t other = x / 16 * 16 + 15 - x % 16;
        EXPECT_EQ(out[x], 11 * other + 17000) << x;
    }
}

// --- Programs that break the rules ---------------------------------------------------------------

struct Misuse {
    const char* name;
    std::string body;
    const char* error = nullptr; ///< part of it; null when the kernel must run to its end
};

TEST(TogetherTests, WrongProgramsEndAndStayInside) {
    std::string manyBarriers;
    for (unsigned i = 0; i < 1000; ++i)
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
        {"a thousand barriers", manyBarriers + "out[place] = tile[i % 64];"},
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
            tests::programOf(head + ("threadgroup uint tile[64];" + one.body) + "}");
        kernel::CompilerOptions options;
        options.lanes = kernel::CompilerOptions::fromEnvironment()->lanes;
        const auto made = host::HostBackend(options).build(program, "k");
        if (one.error != nullptr) {
            ASSERT_FALSE(made);
            EXPECT_NE(made.error().message.find(one.error), std::string::npos)
                << made.error().message;
            continue;
        }
        ASSERT_TRUE(made) << made.error().message;
        for (const Extent group : {Extent{33, 1, 1}, Extent{1024, 1, 1}, Extent{8, 8, 1}}) {
            Words out(4096, 0);
            run(**made, noiseWords(4096), out, {64, 64, 1}, group);
        }
    }
}

} // namespace
