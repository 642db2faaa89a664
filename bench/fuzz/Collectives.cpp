// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Collectives.h"

#include "bench/fuzz/Library.h"

#include <algorithm>

namespace fuzz {
namespace {

using Threads = std::span<const Contribution>;

template <class Combine>
std::int64_t reduced(Scalar type, Threads threads, const Combine& combine) {
    Wide result = wide(type, threads[0].value);
    for (const Contribution& c : threads.subspan(1))
        result = wide(type, wrapped(type, combine(result, wide(type, c.value))));
    return wrapped(type, result);
}

constexpr auto plus = [](Wide a, Wide b) { return a + b; };
constexpr auto times = [](Wide a, Wide b) { return a * b; };
constexpr auto least = [](Wide a, Wide b) { return std::min(a, b); };
constexpr auto most = [](Wide a, Wide b) { return std::max(a, b); };
constexpr auto both = [](Wide a, Wide b) { return a & b; };
constexpr auto either = [](Wide a, Wide b) { return a | b; };
constexpr auto one = [](Wide a, Wide b) { return a ^ b; };

template <const auto& combine>
std::int64_t reduce(Scalar type, Threads threads, unsigned, unsigned) {
    return reduced(type, threads, combine);
}

std::int64_t sumBefore(Scalar type, Threads threads, unsigned end) {
    Wide sum = 0;
    for (const Contribution& c : threads)
        if (c.lane < end)
            sum += wide(type, c.value);
    return wrapped(type, sum);
}

std::int64_t at(Threads threads, unsigned lane) {
    return std::ranges::find(threads, lane, &Contribution::lane)->value;
}

bool has(Threads threads, unsigned lane) {
    return std::ranges::count(threads, lane, &Contribution::lane) > 0;
}

std::int64_t ownUnlessThere(Threads threads, unsigned own, unsigned other) {
    return at(threads, has(threads, other) ? other : own);
}

constexpr Collective functions[] = {
    {"simd_sum", Together::Reduce, reduce<plus>},
    {"simd_product", Together::Reduce, reduce<times>},
    {"simd_min", Together::Reduce, reduce<least>},
    {"simd_max", Together::Reduce, reduce<most>},
    {"simd_and", Together::Reduce, reduce<both>},
    {"simd_or", Together::Reduce, reduce<either>},
    {"simd_xor", Together::Reduce, reduce<one>},
    {"simd_broadcast_first", Together::Reduce,
     [](Scalar, Threads t, unsigned, unsigned) { return t[0].value; }},
    {"simd_prefix_inclusive_sum", Together::Prefix,
     [](Scalar s, Threads t, unsigned lane, unsigned) { return sumBefore(s, t, lane + 1); }},
    {"simd_prefix_exclusive_sum", Together::Prefix,
     [](Scalar s, Threads t, unsigned lane, unsigned) { return sumBefore(s, t, lane); }},
    {"simd_ballot", Together::Vote,
     [](Scalar, Threads threads, unsigned, unsigned) {
         std::int64_t result = 0;
         for (const Contribution& c : threads)
             result |= c.value << c.lane;
         return result;
     }},
    {"simd_any", Together::Vote, reduce<either>},
    {"simd_all", Together::Vote, reduce<both>},
    {"quad_sum", Together::Quad, reduce<plus>},
    {"quad_max", Together::Quad, reduce<most>},
    {"simd_shuffle", Together::Shuffle,
     [](Scalar, Threads t, unsigned, unsigned n) { return t[n % t.size()].value; }},
    {"simd_shuffle_xor", Together::Shift,
     [](Scalar, Threads t, unsigned lane, unsigned n) {
         return ownUnlessThere(t, lane, lane ^ n);
     }},
    {"simd_shuffle_down", Together::Shift,
     [](Scalar, Threads t, unsigned lane, unsigned n) {
         return ownUnlessThere(t, lane, lane + n);
     }},
    {"simd_shuffle_up", Together::Shift,
     [](Scalar, Threads t, unsigned lane, unsigned n) {
         return ownUnlessThere(t, lane, lane - n);
     }},
};

} // namespace

std::span<const Collective> collectives() {
    return functions;
}

bool isCollective(const Stmt& s) {
    return s.verb == Verb::Exchange || s.verb == Verb::Together || s.verb == Verb::Gather ||
           std::ranges::any_of(s.bodies, [](const std::vector<Stmt>& body) {
               return std::ranges::any_of(body, isCollective);
           });
}

} // namespace fuzz
