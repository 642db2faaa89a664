// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Which overload a call takes: mixtures of element types, scalars beside vectors, brace lists.
#include <metal_stdlib>

#include <gtest/gtest.h>

namespace {

using metal::all;

template <class Expected, class Actual>
constexpr bool is(const Actual&) {
    return __is_same(Expected, Actual);
}

half h(2);
float f = 3;
int i = -4;
uint u = 5;
ushort s = 6;
enum Plain { first = 1, second };

TEST(Overload, MixedScalarsTakeTheirCommonType) {
    using namespace metal;
    EXPECT_TRUE(is<float>(max(h, 0.0f)) && is<half>(max(h, 0)) && is<half>(max(h, 1.0h)));
    EXPECT_TRUE(is<int>(min(i, 1)) && is<uint>(max(u, 3)) && is<int>(min(s, 1)));
    EXPECT_TRUE(is<ushort>(min(s, s)) && is<int>(max(second, first)));
    EXPECT_EQ(pow(2, f), 8);
    EXPECT_EQ(pow(2, 5), 32);
    EXPECT_TRUE(is<half>(pow(h, 2)) && is<float>(pow(h, f)));
    EXPECT_EQ(sign(i), -1);
    EXPECT_EQ(metal::abs(i), 4);
    EXPECT_EQ(clamp(f, 0, 1), 1);
    EXPECT_EQ(mix(1, f, 0.5f), 2);
    EXPECT_EQ(smoothstep(0, 10, 5), 0.5f);
    EXPECT_EQ(step(1, i), 0);
    EXPECT_EQ(::metal::fma(2, f, 1), 7);
    EXPECT_EQ(select(0, f, i < 0), 3);
}

TEST(Overload, ScalarsWidenBesideVectors) {
    const float4 v(1, -2, 3, -4);
    EXPECT_TRUE(all(metal::mix(v.zw, 1, 0.5f) == float2(2, -1.5f)));
    EXPECT_TRUE(all(metal::max(v, 0) == float4(1, 0, 3, 0)));
    EXPECT_TRUE(all(metal::clamp(v.xy, -1, 0.5f) == float2(0.5f, -1)));
    EXPECT_TRUE(all(metal::step(0, v) == float4(1, 0, 1, 0)));
    EXPECT_TRUE(all(metal::min(int2(5, -5), 3) == int2(3, -5)));
    EXPECT_TRUE(all(metal::clamp(uchar4(1, 5, 9, 200), 4, 100) == uchar4(4, 5, 9, 100)));
    EXPECT_TRUE(all(metal::max(half3(-1, 0, 1), 0.5f) == half3(0.5h, 0.5h, 1)));
}

TEST(Overload, BraceListsAreVectors) {
    const float2 st(0.5f, 2);
    EXPECT_TRUE(all(metal::smoothstep({0, 1}, {1, 3}, st) == float2(0.5f)));
    EXPECT_EQ(metal::dot(st, {2, 3}), 7);
    EXPECT_EQ(metal::distance(st, {0.5f, 5}), 3);
    const int3 cell(-1, 4, 9);
    EXPECT_TRUE(all(metal::min(cell, {0, 3, 20}) == int3(-1, 3, 9)));
    EXPECT_TRUE(all(metal::max({0, 3, 20}, cell) == int3(0, 4, 20)));
    EXPECT_TRUE(all(metal::clamp(cell.xy, {0, 0}, {7, 3}) == int2(0, 3)));
}

TEST(Overload, Geometry) {
    const float3 n(0, 1, 0);
    const float3 in = metal::normalize(float3(1, -1, 0));
    EXPECT_NEAR(metal::distance(metal::reflect(in, n), float3(in.x, -in.y, 0)), 0, 1e-6);
    EXPECT_NEAR(metal::refract(in, n, 0.5f).x, in.x * 0.5f, 1e-6);
    EXPECT_TRUE(all(metal::refract(in, n, 1.5f) == float3(0))) << "total reflection";
    EXPECT_TRUE(all(metal::cross(float3(1, 0, 0), n) == float3(0, 0, 1)));
    EXPECT_TRUE(all(metal::faceforward(n, in, n) == n));
    EXPECT_TRUE(all(metal::faceforward(n, -in, n) == -n));
}

static_assert(metal::numeric_limits<short>::min() == -32768);
static_assert(metal::numeric_limits<ulong>::max() == ULONG_MAX);
static_assert(metal::numeric_limits<uchar>::max() == 255 &&
              metal::numeric_limits<int>::digits == 31);
static_assert(metal::numeric_limits<half>::max() == 65504.0h);

} // namespace
