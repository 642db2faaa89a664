// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Matrices against sums written out.
#include <metal_stdlib>

#include <gtest/gtest.h>

namespace {

using metal::all;
using metal::determinant;
using metal::transpose;

/// Element values that make every product distinct.
template <class M>
M counting(float start) {
    M m;
    for (int c = 0; c < int(sizeof(m.columns) / sizeof(m.columns[0])); ++c)
        for (int r = 0; r < int(sizeof(m.columns[0]) / sizeof(m.columns[0].x)) &&
                        r < __sl42::lanesOf<typename M::Column>;
             ++r)
            m[c][r] = start + float(c * 10 + r) * (c == r ? -1.0f : 1.0f);
    return m;
}

template <class T>
class MatrixTest : public testing::Test {};
using Matrices = testing::Types<float2x2, float2x3, float2x4, float3x2, float3x3, float3x4,
                                float4x2, float4x3, float4x4>;
TYPED_TEST_SUITE(MatrixTest, Matrices);

TYPED_TEST(MatrixTest, MultipliesWithVectors) {
    using M = TypeParam;
    constexpr int C = __sl42::lanesOf<typename M::Row>;
    constexpr int R = __sl42::lanesOf<typename M::Column>;
    const M m = counting<M>(1);
    typename M::Row row(0);
    typename M::Column column(0);
    for (int i = 0; i < C; ++i)
        row[i] = float(2 * i - 3);
    for (int i = 0; i < R; ++i)
        column[i] = float(5 - 3 * i);
    const auto mv = m * row;
    const auto vm = column * m;
    for (int r = 0; r < R; ++r) {
        float sum = 0;
        for (int c = 0; c < C; ++c)
            sum += m[c][r] * row[c];
        EXPECT_EQ(mv[r], sum);
    }
    for (int c = 0; c < C; ++c) {
        float sum = 0;
        for (int r = 0; r < R; ++r)
            sum += m[c][r] * column[r];
        EXPECT_EQ(vm[c], sum);
    }
    EXPECT_TRUE(all(transpose(m) * column == vm));
}

TYPED_TEST(MatrixTest, MultipliesWithMatrices) {
    using M = TypeParam;
    constexpr int C = __sl42::lanesOf<typename M::Row>;
    const M m = counting<M>(2);
    const metal::matrix<float, 3, C> n = counting<metal::matrix<float, 3, C>>(-4);
    const auto product = m * n;
    for (int k = 0; k < 3; ++k)
        EXPECT_TRUE(all(product[k] == m * n[k]));
    const metal::matrix<float, C, C> identity(1);
    EXPECT_TRUE(m * identity == m);
    EXPECT_TRUE(m + m == 2 * m && m - m == m * 0 && -m == m * -1 && m != 2 * m);
}

TEST(Matrix, IsBuiltFromWhatTheLanguageAllows) {
    const float2x2 scalars = {1, 2, 3, 4};
    EXPECT_TRUE(all(scalars[1] == float2(3, 4)));
    const half3x3 columns = half3x3({1, 2, 3}, {4, 5, 6}, {7, 8, 9});
    EXPECT_TRUE(all(columns[2] == half3(7, 8, 9)));
    EXPECT_TRUE(float3x3(columns)[1].z == 6);
    const float3x2 diagonal(5);
    EXPECT_TRUE(all(diagonal[1] == float2(0, 5)) && all(diagonal[2] == float2(0)));
    float4x4 m(1);
    m[3] = float4(1, 2, 3, 1);
    m[0].yz = float2(7, 8);
    EXPECT_TRUE(all(m * float4(1, 1, 1, 1) == float4(2, 10, 12, 1)));
}

TEST(Matrix, CompoundProductsMultiplyFromTheRight) {
    const float2x2 r(0, 1, -1, 0);
    float3 v(1, 2, 3);
    v.xy *= r;
    EXPECT_TRUE(all(v == float3(2, -1, 3)));
    float2 w(1, 2);
    w *= r;
    EXPECT_TRUE(all(w == v.xy));
    float2x2 m(1, 2, 3, 4);
    m *= r;
    EXPECT_TRUE(m == float2x2(1, 2, 3, 4) * r);
}

TEST(Matrix, DeterminantsAgreeWithProducts) {
    EXPECT_FLOAT_EQ(determinant(float2x2(1, 2, 3, 4)), -2);
    EXPECT_FLOAT_EQ(determinant(float3x3(2, 0, 1, 1, 3, 2, 1, 1, 4)), 18);
    const float4x4 a(1, 2, 0, 1, 0, 3, 1, 2, 4, 1, 0, 1, 2, 2, 1, 0);
    const float4x4 b(2, 1, 1, 0, 0, 1, 3, 1, 1, 0, 2, 2, 1, 1, 0, 1);
    EXPECT_FLOAT_EQ(determinant(a * b), determinant(a) * determinant(b));
    EXPECT_FLOAT_EQ(determinant(a), determinant(transpose(a)));
}

} // namespace
