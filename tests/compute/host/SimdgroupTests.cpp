// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the threads of a SIMD-group, or of a quad, do together: reductions, scans, shuffles, votes.
// What they should compute is computed anew, thread by thread.
#include "tests/compute/host/Together.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <numeric>

namespace {

using namespace compute;
using namespace tests;

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
std::vector<TogetherCase> casesOf(std::size_t width) {
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
    std::vector<TogetherCase> all = casesOf(width);
    const auto find = [&](std::string_view name) -> TogetherCase& {
        return *std::ranges::find_if(all,
                                     [&](const TogetherCase& one) { return name == one.name; });
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
    const std::string begin = "const uint v = in[place]; uint r = 77; const uint own = i % " + n +
                              "; const uint count = min(" + n + "u, n - (i - own));";
    std::vector<std::string> bodies;
    bodies.reserve(all.size());
    for (const TogetherCase& one : all) {
        std::string& body = bodies.emplace_back(begin);
        body += replaced(replaced(one.body, "GROUP", group), "WIDTH", n);
        body += "out[place] = r;";
    }
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i].body = bodies[i].c_str();
    checkTogether(all);
}

TEST(SimdgroupTests, SimdgroupsAreThirtyTwoThreads) {
    checkGroups("simd", 32);
}

TEST(SimdgroupTests, QuadgroupsAreFourThreads) {
    checkGroups("quad", 4);
}

TEST(SimdgroupTests, ThreadsKnowTheirPlace) {
    const auto compiled = compile(programOf(R"(
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
    runTogether(*compiled, out, out, grid, group);
    eachThread(grid, group, [&](const GroupThread& thread) {
        const std::uint32_t i = thread.index;
        const std::uint32_t n = thread.groupSize;
        const Words expected = {i % 32, i / 32, (n + 31) / 32, 32, i % 4, i / 4, (n + 3) / 4, 32, 9,
                                5,      2};
        const auto begin = out.begin() + static_cast<std::ptrdiff_t>(thread.place) * 11;
        EXPECT_EQ(Words(begin, begin + 11), expected) << thread.place;
    });
}

} // namespace
