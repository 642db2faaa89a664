// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// SIMD-groups by way of subgroups and by way of memory, against a model, bit by bit. They are as
// small here as the driver's subgroups: the software driver has none of 32 threads.
#include "tests/compute/spirv/Programs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <optional>
#include <random>

namespace {

using namespace compute;
using Words = std::vector<std::uint32_t>;
/// Of a SIMD-group or a quad-group: nothing for a thread that does not take part.
using Group = std::vector<std::optional<std::uint32_t>>;
using Combine = std::function<std::uint32_t(std::uint32_t, std::uint32_t)>;

template <class T, class F>
Combine of(F combine) {
    return [combine](std::uint32_t a, std::uint32_t b) {
        return std::bit_cast<std::uint32_t>(
            static_cast<T>(combine(std::bit_cast<T>(a), std::bit_cast<T>(b))));
    };
}

constexpr auto plus = [](auto a, auto b) { return a + b; };
constexpr auto times = [](auto a, auto b) { return a * b; };
constexpr auto least = [](auto a, auto b) { return std::min(a, b); };
constexpr auto most = [](auto a, auto b) { return std::max(a, b); };

/// The lower half with the upper one, and so on, as all devices do it.
std::uint32_t reduced(Group group, const Combine& combine, std::uint32_t neutral) {
    for (std::size_t half = group.size() / 2; half > 0; half /= 2)
        for (std::size_t i = 0; i < half; ++i)
            group[i] = combine(group[i].value_or(neutral), group[i + half].value_or(neutral));
    return group[0].value_or(neutral);
}

/// Of those up to `last`, joined with their neighbours before them first.
std::uint32_t scanned(const Group& group, std::ptrdiff_t last, const Combine& combine,
                      std::uint32_t neutral) {
    Words sums;
    for (std::size_t i = 0; i < group.size(); ++i, --last)
        sums.push_back(last < 0 ? neutral
                                : group[static_cast<std::size_t>(last)].value_or(neutral));
    for (; sums.size() > 1; sums.resize(sums.size() / 2))
        for (std::size_t i = 0; i < sums.size() / 2; ++i)
            sums[i] = combine(sums[2 * i], sums[2 * i + 1]);
    return sums[0];
}

constexpr std::uint32_t anything = 0xabcdef01; ///< of threads that do not take part
/// What thread `own` of the group should get.
using Model = std::function<std::uint32_t(const Group&, std::size_t own)>;

struct Function {
    std::string text; ///< of `u`, or of `f`, which is the same as a float
    Model model;
    bool isOfQuads = false;
};

Function reduction(std::string text, const Combine& combine, std::uint32_t neutral) {
    const bool isOfQuads = text.find("quad_") != std::string::npos;
    return {
        std::move(text),
        [combine, neutral](const Group& g, std::size_t) { return reduced(g, combine, neutral); },
        isOfQuads};
}

Function scan(std::string text, const Combine& combine, std::uint32_t neutral) {
    const bool isOfQuads = text.find("quad_") != std::string::npos;
    const std::ptrdiff_t less = text.find("exclusive") != std::string::npos ? 1 : 0;
    return {std::move(text),
            [=](const Group& g, std::size_t own) {
                return scanned(g, static_cast<std::ptrdiff_t>(own) - less, combine, neutral);
            },
            isOfQuads};
}

std::uint32_t ballot(const Group& group, std::uint32_t bits) {
    std::uint32_t result = 0;
    for (std::size_t i = 0; i < group.size(); ++i)
        if (const auto& one = group[i]; one.has_value() && (*one & bits) == bits)
            result |= 1U << i;
    return result;
}

constexpr std::size_t countOfFloats = 9; ///< they come first

std::vector<Function> functions() {
    using F = float;
    using U = std::uint32_t;
    using I = std::int32_t;
    const std::uint32_t one = std::bit_cast<std::uint32_t>(1.0F);
    const std::uint32_t infinity = std::bit_cast<std::uint32_t>(INFINITY);
    return {
        reduction("as_type<uint>(simd_sum(f))", of<F>(plus), 0),
        reduction("as_type<uint>(simd_product(f))", of<F>(times), one),
        reduction("as_type<uint>(simd_min(f))", of<F>(least), infinity),
        reduction("as_type<uint>(quad_sum(f))", of<F>(plus), 0),
        reduction("as_type<uint>(quad_product(f))", of<F>(times), one),
        scan("as_type<uint>(simd_prefix_inclusive_sum(f))", of<F>(plus), 0),
        scan("as_type<uint>(simd_prefix_exclusive_sum(f))", of<F>(plus), 0),
        scan("as_type<uint>(simd_prefix_exclusive_product(f))", of<F>(times), one),
        scan("as_type<uint>(quad_prefix_exclusive_sum(f))", of<F>(plus), 0),
        reduction("simd_sum(u)", of<U>(plus), 0),
        reduction("simd_product(u)", of<U>(times), 1),
        reduction("simd_min(u)", of<U>(least), ~0U),
        reduction("simd_max(u)", of<U>(most), 0),
        reduction("uint(simd_min(int(u)))", of<I>(least), 0x7fffffff),
        reduction("uint(simd_max(int(u)))", of<I>(most), 0x80000000),
        reduction("simd_and(u)", of<U>(std::bit_and{}), ~0U),
        reduction("simd_or(u)", of<U>(std::bit_or{}), 0),
        reduction("simd_xor(u)", of<U>(std::bit_xor{}), 0),
        reduction("uint(quad_max(int(u)))", of<I>(most), 0x80000000),
        scan("simd_prefix_inclusive_sum(u)", of<U>(plus), 0),
        scan("simd_prefix_exclusive_sum(u)", of<U>(plus), 0),
        scan("simd_prefix_inclusive_product(u)", of<U>(times), 1),
        scan("quad_prefix_inclusive_sum(u)", of<U>(plus), 0),
        {"uint(simd_vote::vote_t(simd_ballot(u & 1)))",
         [](const Group& g, std::size_t) { return ballot(g, 1); }},
        {"uint(simd_is_first())",
         [](const Group& g, std::size_t own) {
             return std::countr_zero(ballot(g, 0)) == static_cast<int>(own) ? 1U : 0U;
         }},
        {"simd_broadcast_first(u)",
         [](const Group& g, std::size_t) {
             return **std::ranges::find_if(g, [](const auto& one) { return one.has_value(); });
         }},
        {"simd_shuffle(u, u & 3)", // with others only where these take part
         [](const Group& g, std::size_t own) { return g[*g[own] & 3].value_or(anything); }},
        {"simd_shuffle_xor(u, 2)",
         [](const Group& g, std::size_t own) { return g[own ^ 2].value_or(anything); }},
        {"simd_broadcast(u, 1)",
         [](const Group& g, std::size_t) { return g[1].value_or(anything); }},
    };
}

/// By subgroups, or by memory, in threadgroups that no whole subgroups fill.
class Simdgroups : public ::testing::TestWithParam<bool> {
protected:
    Simdgroups() : features(tests::device().features()) {
        features.subgroupThreads = lanes = tests::device().subgroupThreads();
        std::mt19937 random(42); // NOLINT(bugprone-random-generator-seed): the same each time
        for (std::uint32_t i = 0; i < 8 * threads(); ++i) {
            const float number = std::ldexp(static_cast<float>(random() % 4096) - 2048,
                                            static_cast<int>(random() % 20) - 18);
            values.push_back(std::bit_cast<std::uint32_t>(number));
            ways.push_back(i < 2 * threads() ? 1 : random() % 4);
        }
    }

    bool isNative() const { return GetParam(); }
    std::uint32_t threads() const { return isNative() ? 4 * lanes : 4 * lanes - 3; }

    /// Runs a kernel `k(device uint* out, device const uint* values, device const uint* ways,
    /// uint i [[thread_position_in_grid]])`.
    void run(const std::string& text, Words& out) {
        const spirv::Shader shader = tests::shaderOf(text, features);
        ASSERT_EQ(runsInSubgroups(shader, threads()), isNative());
        tests::runShader(shader, {&out, &values, &ways}, static_cast<std::uint32_t>(values.size()),
                         threads());
    }

    /// The `size` threads around thread `i`, of which those that came.
    Group groupOf(std::size_t i, std::size_t size, const std::function<bool(std::size_t)>& came) {
        const std::size_t first = i / threads() * threads();
        const std::size_t begin = first + (i - first) / size * size;
        Group group;
        for (std::size_t k = begin; k < begin + size; ++k)
            group.push_back(k < first + threads() && came(k) ? std::optional(values[k])
                                                             : std::nullopt);
        return group;
    }

    spirv::Features features;
    std::uint32_t lanes = 0;
    Words values;
    Words ways; ///< 0 to 3; of some SIMD-groups all the same
};

constexpr const char* head =
    "kernel void k(device uint* out, device const uint* values,\n"
    "              device const uint* ways, uint i [[thread_position_in_grid]]) {\n"
    "  const uint u = values[i]; const float f = as_type<float>(u);\n";

TEST_P(Simdgroups, CombineWhatThoseHaveThatCome) {
    std::vector<Function> all = functions();
    if (!isNative()) // the driver takes long to compile each; the corpus has the others
        all.resize(countOfFloats);
    std::string text = head + std::string("  if (ways[i] % 2 != 0) {\n");
    for (std::size_t n = 0; n < all.size(); ++n)
        text += "    out[i * " + std::to_string(all.size()) + " + " + std::to_string(n) +
                "] = " + all[n].text + ";\n";
    Words out(values.size() * all.size());
    run(text + "  }\n}\n", out);
    const auto came = [&](std::size_t i) { return ways[i] % 2 != 0; };
    for (std::size_t i = 0; i < values.size(); ++i)
        for (std::size_t n = 0; n < all.size() && came(i); ++n) {
            const std::size_t size = all[n].isOfQuads ? 4 : lanes;
            const std::uint32_t expected =
                all[n].model(groupOf(i, size, came), i % threads() % size);
            if (expected != anything)
                ASSERT_EQ(out[i * all.size() + n], expected) << all[n].text << " of thread " << i;
        }
}

/// By memory, threads would wait for those that have left.
class SimdgroupsInLoops : public Simdgroups {};

TEST_P(SimdgroupsInLoops, GoOnWithoutThoseThatLeaveALoop) {
    Words out(values.size());
    run(head + std::string("  float sum = 0;\n"
                           "  for (uint n = ways[i]; n > 0; --n) sum += simd_sum(f);\n"
                           "  if (ways[i] == 3) sum += simd_max(f);\n"
                           "  out[i] = as_type<uint>(sum + simd_sum(f)); }\n"),
        out);
    const auto sumOf = [&](std::size_t i, const auto& came) {
        return std::bit_cast<float>(reduced(groupOf(i, lanes, came), of<float>(plus), 0));
    };
    for (std::size_t i = 0; i < values.size(); ++i) {
        float sum = 0;
        for (std::uint32_t turn = 0; turn < ways[i]; ++turn)
            sum += sumOf(i, [&](std::size_t other) { return ways[other] > turn; });
        if (ways[i] == 3)
            sum += std::bit_cast<float>(
                reduced(groupOf(i, lanes, [&](std::size_t other) { return ways[other] == 3; }),
                        of<float>(most), std::bit_cast<std::uint32_t>(-INFINITY)));
        sum += sumOf(i, [](std::size_t) { return true; });
        ASSERT_EQ(out[i], std::bit_cast<std::uint32_t>(sum)) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(All, Simdgroups, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "BySubgroups" : "ByMemory"; });
INSTANTIATE_TEST_SUITE_P(All, SimdgroupsInLoops, ::testing::Values(true));

} // namespace
