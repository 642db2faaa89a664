// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Vectors: layout, construction, conversion, swizzles, operators, packed vectors.
#include <metal_stdlib>

#include <gtest/gtest.h>

#include <type_traits>

namespace {

using metal::all;
using metal::any;

// What host programs and buffers rely on.
static_assert(sizeof(float2) == 8 && sizeof(float3) == 16 && sizeof(float4) == 16);
static_assert(alignof(float3) == 16 && alignof(half3) == 8 && sizeof(half3) == 8);
static_assert(sizeof(bool3) == 4 && sizeof(char4) == 4 && sizeof(ulong3) == 32);
static_assert(sizeof(packed_float3) == 12 && alignof(packed_float3) == 4);
static_assert(sizeof(packed_half3) == 6 && sizeof(packed_uchar4) == 4);
static_assert(std::is_trivially_copyable_v<float3> && std::is_trivial_v<half4>);
static_assert(std::is_trivially_copyable_v<packed_float3>);
static_assert(std::is_trivially_copyable_v<float4x4> && sizeof(float4x3) == 64);
static_assert(sizeof(float3x3) == 48 && sizeof(half2x4) == 16);

// Conversion between element types only happens when asked for.
static_assert(std::is_constructible_v<float2, uint2> && !std::is_convertible_v<uint2, float2>);
static_assert(std::is_convertible_v<int, float3> && std::is_convertible_v<packed_float3, float3>);
static_assert(!std::is_constructible_v<float3, float2> && !std::is_convertible_v<float4, float3>);
static_assert(!std::is_constructible_v<float4, float2, float>);

template <class A, class B, class = void>
constexpr bool multiplies = false;
template <class A, class B>
constexpr bool multiplies<A, B, std::void_t<decltype(std::declval<A>() * std::declval<B>())>> =
    true;
static_assert(multiplies<float3, float> && multiplies<int, half2> &&
              multiplies<packed_float3, float>);
static_assert(!multiplies<float3, uint3> && !multiplies<float3, float2> &&
              !multiplies<float3, half3>);

template <class V>
constexpr bool same(const V& a, const V& b) {
    return all(a == b);
}

// All of it can be computed by the compiler.
constexpr float3 rgb = {1, 2, 3};
static_assert(same(rgb.bgr, float3(3, 2, 1)) && same(rgb.xx, float2(1)) && rgb[2] == 3);
static_assert(same(float4(rgb, 4).wzyx, float4(4, 3, 2, 1)));
static_assert(same(float4(rgb.xy, rgb.zx), float4(1, 2, 3, 1)));
static_assert(same(float4(0, rgb), float4(0, rgb.x, rgb.y, rgb.z)));
static_assert(same(float4(0, rgb.xy, 1), float4(0, 1, 2, 1)));
static_assert(same(int3(float3(1.9f, -1.9f, 0)), int3(1, -1, 0)));
static_assert(same(uchar2(uint2(257, 3)), uchar2(1, 3)));
static_assert(same(vec<half, 2>(0.5h, 1h), half2(0.5h)) == false);
static_assert(same((float2)uint2(3, 4), float2(3, 4)));

TEST(Vector, SwizzlesWriteTheirLanes) {
    float4 v(1, 2, 3, 4);
    v.xy = float2(10, 20);
    EXPECT_TRUE(same(v, float4(10, 20, 3, 4)));
    v.wx = v.xw; // the source is part of the target
    EXPECT_TRUE(same(v, float4(4, 20, 3, 10)));
    v.zyx *= float3(1, 2, 3);
    EXPECT_TRUE(same(v, float4(12, 40, 3, 10)));
    v.abgr = v.rgba;
    EXPECT_TRUE(same(v, float4(10, 3, 40, 12)));
    v.a += 1;
    v.yz -= 1;
    v.xw++;
    EXPECT_TRUE(same(v, float4(11, 2, 39, 14)));
    float2 a;
    float2 b;
    a.yx = b.xy = {5, 6};
    EXPECT_TRUE(same(a, float2(6, 5)) && same(b, float2(5, 6)));
    v.xyz = {1, 2, 3};
    EXPECT_EQ(v.z, 3);
}

TEST(Vector, SwizzlesAreValues) {
    const float4 v(1, 2, 3, 4);
    auto front = v.xy; // no reference to v
    front.x = 9;
    EXPECT_EQ(v.x, 1);
    volatile bool choice = true;
    EXPECT_TRUE(same(choice ? v.xy : v.zw, float2(1, 2)));
    EXPECT_TRUE(same(choice ? v.xxx : float3(0), float3(1)));
    EXPECT_TRUE(same(v.xyz.zy.yx, float2(2, 3)));
    const auto twice = [](auto x) { return x + x; };
    EXPECT_TRUE(same(twice(v.wz), float2(8, 6)));
}

template <class V>
V turned(V v) {
    v.xy = v.yx; // of a dependent type
    v.xy *= 2;
    return v;
}

TEST(Vector, SwizzlesEvaluateTheirVectorOnce) {
    float3 a[3] = {float3(1), float3(2), float3(3)};
    int i = 0;
    a[i++].xy += 1;
    a[i++].z = 7;
    EXPECT_EQ(i, 2);
    EXPECT_TRUE(same(a[0], float3(2, 2, 1)) && same(a[1], float3(2, 2, 7)));
    EXPECT_TRUE(same(turned(float4(1, 2, 3, 4)), float4(4, 2, 3, 4)));
    static_assert(sizeof(a[0].xy) == 8 && std::is_same_v<decltype(a[0].zyx), float3>);
}

TEST(Vector, OperatorsTakeScalars) {
    const int3 a(7, -8, 9);
    EXPECT_TRUE(same(a & 3, int3(3, 0, 1)) && same(1 | a, int3(7, -7, 9)));
    EXPECT_TRUE(same(a << 1, int3(14, -16, 18)) && same(1 << (a & 3), int3(8, 1, 2)));
    int3 b = a;
    EXPECT_TRUE(same(b++, a) && same(b, a + 1) && same(--b, a));
    EXPECT_TRUE(same(float2(1, 2) / 2, float2(0.5f, 1)) && same(2 - float2(1, 2), float2(1, 0)));
}

TEST(Vector, ComparisonsGiveBooleans) {
    const float3 v(0.2f, 0.5f, 0.9f);
    const bool3 low = v < 0.5f;
    EXPECT_TRUE(any(low) && !all(low) && all(!low || low));
    EXPECT_TRUE(same(metal::select(v, float3(1), low), float3(1, 0.5f, 0.9f)));
    EXPECT_TRUE(same(metal::select(v, 0, v >= 0.5f), float3(0.2f, 0, 0)));
    EXPECT_TRUE(same(metal::select(int3(1, 2, 3), 9, !low), int3(1, 9, 9)));
    EXPECT_TRUE(same(float3(low), float3(1, 0, 0)));
}

TEST(Vector, WrongIndicesStayInside) {
    struct {
        float3 v = {1, 2, 3};
        float guard = 42;
    } s;
    for (volatile int i = -3; i < 9; i = i + 1)
        s.v[i] = 7;
    EXPECT_EQ(s.guard, 42);
    packed_float3 p[2] = {float3(1), float3(2)};
    for (volatile int i = 3; i < 9; i = i + 1)
        p[0][i] = 7;
    EXPECT_TRUE(same(float3(p[1]), float3(2)));
}

TEST(PackedVector, TakesPartInVectorArithmetic) {
    packed_float3 p = float3(1, 2, 3);
    p += float3(1);
    EXPECT_TRUE(same(p * 2, float3(4, 6, 8)) && same(1 + p, float3(3, 4, 5)));
    EXPECT_TRUE(same(p.zyx + p, float3(6)) && same(p - p, float3(0)));
    p.xy = float2(0, 4);
    EXPECT_FLOAT_EQ(metal::length(p), 5.6568542f);
    EXPECT_TRUE(same(half3(p), half3(0, 4, 4)));
    EXPECT_TRUE(same(float4(p, 1), float4(0, 4, 4, 1)));
    const packed_uchar4 c = uchar4(1, 2, 3, 255);
    EXPECT_TRUE(same(float4(c), float4(1, 2, 3, 255)));
}

} // namespace
