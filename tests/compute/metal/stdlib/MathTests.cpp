// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The mathematical functions against the C library's in double precision, over dense arguments, and
// their values at the edges.
#include <metal_stdlib>

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

/// Distance in units of the last place of the exact result; results below the normal range count
/// as zero on both sides.
double ulps(float value, double exact) {
    if (std::abs(exact) < 0x1p-126)
        return std::abs(value) < 0x1.0001p-126f ? 0 : infinity;
    if (std::abs(exact) > 0x1.ffffffp127)
        return value == std::copysign(double(infinity), exact) ? 0 : infinity;
    if (value != value || exact != exact)
        return (value != value) == (exact != exact) ? 0 : infinity;
    const double unit = std::ldexp(1.0, std::ilogb(exact) - 23);
    return std::abs(double(value) - exact) / unit;
}

enum class Measure { Ulps, Absolute };
/// How arguments are spread: evenly, or evenly over their exponents.
enum class Spread { Linear, Exponential };

struct Accuracy {
    const char* label;
    float (*function)(float);
    double (*exact)(double);
    float low;
    float high;
    Spread spread;
    Measure measure;
    double limit;
};

template <class Check>
void forArguments(float low, float high, Spread spread, int count, Check check) {
    for (int i = 0; i <= count; ++i) {
        const double t = double(i) / count;
        const double x = spread == Spread::Linear ? low + (double(high) - low) * t
                                                  : low * std::pow(double(high) / low, t);
        check(std::min(std::max(float(x), low), high));
    }
}

class AccuracyTest : public testing::TestWithParam<Accuracy> {};

TEST_P(AccuracyTest, StaysWithinLimit) {
    const Accuracy& p = GetParam();
    double worst = 0;
    float worstArgument = 0;
    forArguments(p.low, p.high, p.spread, 300000, [&](float x) {
        const float value = p.function(x);
        const double exact = p.exact(double(x));
        const double error =
            p.measure == Measure::Ulps ? ulps(value, exact) : std::abs(double(value) - exact);
        if (!(error <= worst)) {
            worst = error;
            worstArgument = x;
        }
    });
    RecordProperty("worst", std::to_string(worst));
    EXPECT_LE(worst, p.limit) << "at " << worstArgument << ": " << p.function(worstArgument)
                              << " instead of " << p.exact(double(worstArgument));
}

#define FUNCTION(name) [](float x) { return metal::name(x); }
#define PRECISE(name) [](float x) { return metal::precise::name(x); }
#define EXACT(...) [](double x) -> double { return __VA_ARGS__; }
constexpr float pi = 3.14159265f;
constexpr auto linear = Spread::Linear;
constexpr auto exponential = Spread::Exponential;
constexpr auto inUlps = Measure::Ulps;
constexpr auto absolute = Measure::Absolute;

INSTANTIATE_TEST_SUITE_P(
    Functions, AccuracyTest,
    testing::Values(
        Accuracy{"sin", FUNCTION(sin), EXACT(std::sin(x)), -pi, pi, linear, absolute, 2e-7},
        Accuracy{"sinNearZero", FUNCTION(sin), EXACT(std::sin(x)), 1e-30f, 1.5f, exponential,
                 inUlps, 2},
        Accuracy{"sinFar", FUNCTION(sin), EXACT(std::sin(x)), -1e5f, 1e5f, linear, absolute, 1e-5},
        Accuracy{"sinPrecise", PRECISE(sin), EXACT(std::sin(x)), -2e4f, 2e4f, linear, absolute,
                 3e-7},
        Accuracy{"sinPreciseUlps", PRECISE(sin), EXACT(std::sin(x)), -1000, 1000, linear, inUlps,
                 4},
        Accuracy{"cos", FUNCTION(cos), EXACT(std::cos(x)), -pi, pi, linear, absolute, 2e-7},
        Accuracy{"cosFar", FUNCTION(cos), EXACT(std::cos(x)), -1e5f, 1e5f, linear, absolute, 1e-5},
        Accuracy{"cosPrecise", PRECISE(cos), EXACT(std::cos(x)), -2e4f, 2e4f, linear, absolute,
                 3e-7},
        Accuracy{"tan", FUNCTION(tan), EXACT(std::tan(x)), -0.78f, 0.78f, linear, inUlps, 4},
        Accuracy{"tanPrecise", PRECISE(tan), EXACT(std::tan(x)), -100, 100, linear, inUlps, 5},
        Accuracy{"sinpi", FUNCTION(sinpi), EXACT(std::sin(M_PI* x)), -0.5f, 0.5f, linear, inUlps,
                 3},
        Accuracy{"sinpiFar", FUNCTION(sinpi), EXACT(std::sin(M_PI* std::fmod(x, 2.0))), -1e5f, 1e5f,
                 linear, absolute, 2e-7},
        Accuracy{"cospiFar", FUNCTION(cospi), EXACT(std::cos(M_PI* std::fmod(x, 2.0))), -1e5f, 1e5f,
                 linear, absolute, 2e-7},
        Accuracy{"asin", FUNCTION(asin), EXACT(std::asin(x)), -1, 1, linear, inUlps, 4},
        Accuracy{"acos", FUNCTION(acos), EXACT(std::acos(x)), -1, 1, linear, inUlps, 4},
        Accuracy{"atan", FUNCTION(atan), EXACT(std::atan(x)), -20, 20, linear, inUlps, 4},
        Accuracy{"atanWide", FUNCTION(atan), EXACT(std::atan(x)), 1e-30f, 1e30f, exponential,
                 inUlps, 4},
        Accuracy{"exp", FUNCTION(exp), EXACT(std::exp(x)), -90, 90, linear, inUlps, 2},
        Accuracy{"exp2", FUNCTION(exp2), EXACT(std::exp2(x)), -128, 129, linear, inUlps, 2},
        Accuracy{"exp10", FUNCTION(exp10), EXACT(std::pow(10.0, x)), -39, 39, linear, inUlps, 3},
        Accuracy{"log", FUNCTION(log), EXACT(std::log(x)), 1.2e-38f, 3e38f, exponential, inUlps, 3},
        Accuracy{"logNearOne", FUNCTION(log), EXACT(std::log(x)), 0.5f, 2, linear, inUlps, 3},
        Accuracy{"log2", FUNCTION(log2), EXACT(std::log2(x)), 1.2e-38f, 3e38f, exponential, inUlps,
                 3},
        Accuracy{"log2NearOne", FUNCTION(log2), EXACT(std::log2(x)), 0.5f, 2, linear, inUlps, 3},
        Accuracy{"log10", FUNCTION(log10), EXACT(std::log10(x)), 1.2e-38f, 3e38f, exponential,
                 inUlps, 3},
        Accuracy{"log10NearOne", FUNCTION(log10), EXACT(std::log10(x)), 0.5f, 2, linear, inUlps, 4},
        Accuracy{"sqrt", FUNCTION(sqrt), EXACT(std::sqrt(x)), 1e-37f, 1e38f, exponential, inUlps,
                 2},
        Accuracy{"rsqrt", FUNCTION(rsqrt), EXACT(1 / std::sqrt(x)), 1e-37f, 1e38f, exponential,
                 inUlps, 4},
        Accuracy{"sinh", FUNCTION(sinh), EXACT(std::sinh(x)), -89.3f, 89.3f, linear, inUlps, 5},
        Accuracy{"sinhNearZero", FUNCTION(sinh), EXACT(std::sinh(x)), 1e-30f, 2, exponential,
                 inUlps, 5},
        Accuracy{"cosh", FUNCTION(cosh), EXACT(std::cosh(x)), -89.3f, 89.3f, linear, inUlps, 5},
        Accuracy{"tanh", FUNCTION(tanh), EXACT(std::tanh(x)), 1e-30f, 20, exponential, inUlps, 4},
        Accuracy{"asinh", FUNCTION(asinh), EXACT(std::asinh(x)), 1e-30f, 1e38f, exponential, inUlps,
                 5},
        Accuracy{"acosh", FUNCTION(acosh), EXACT(std::acosh(x)), 1, 1e38f, exponential, inUlps, 5},
        Accuracy{"atanh", FUNCTION(atanh), EXACT(std::atanh(x)), -0.9999f, 0.9999f, linear, inUlps,
                 5}),
    [](const auto& info) { return info.param.label; });

struct PowRow {
    const char* label;
    float xLow, xHigh, yLow, yHigh;
};
class PowTest : public testing::TestWithParam<PowRow> {};

TEST_P(PowTest, IsWithinFourUlps) {
    const PowRow& p = GetParam();
    double worst = 0;
    float atX = 0;
    float atY = 0;
    forArguments(p.xLow, p.xHigh, Spread::Exponential, 700, [&](float x) {
        forArguments(p.yLow, p.yHigh, Spread::Linear, 701, [&](float y) {
            const double exact = std::pow(double(x), double(y));
            if (std::abs(exact) < 0x1p-125 || std::abs(exact) > 0x1.fffffep127)
                return;
            const double error =
                std::max(ulps(metal::pow(x, y), exact), ulps(metal::powr(x, y), exact));
            if (!(error <= worst)) {
                worst = error;
                atX = x;
                atY = y;
            }
        });
    });
    EXPECT_LE(worst, 4) << "at " << atX << ", " << atY;
}

INSTANTIATE_TEST_SUITE_P(Ranges, PowTest,
                         testing::Values(PowRow{"colours", 1e-3f, 2, -4, 8},
                                         PowRow{"large", 2, 1e30f, -30, 30},
                                         PowRow{"nearOne", 0.999f, 1.001f, -80000, 80000},
                                         PowRow{"small", 1e-37f, 1, 0, 20}),
                         [](const auto& info) { return info.param.label; });

struct Edge {
    const char* label;
    float value;
    float expected; ///< compared exactly, the sign of zero excepted; NaN matches NaN
};
class EdgeTest : public testing::TestWithParam<Edge> {};

/// Arguments that the compiler does not know.
float opaque(float x) {
    volatile float v = x;
    return v;
}

TEST_P(EdgeTest, HasTheValue) {
    const Edge& p = GetParam();
    if (metal::isnan(p.expected))
        EXPECT_TRUE(metal::isnan(p.value)) << p.value;
    else
        EXPECT_EQ(p.value, p.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Values, EdgeTest,
    testing::Values(Edge{"expOfMinusInfinity", metal::exp(opaque(-infinity)), 0},
                    Edge{"expOfInfinity", metal::exp(opaque(infinity)), infinity},
                    Edge{"expOfNan", metal::exp(opaque(nan)), nan},
                    Edge{"exp2OfWhole", metal::exp2(opaque(10)), 1024},
                    Edge{"exp2Underflow", metal::exp2(opaque(-1e30f)), 0},
                    Edge{"logOfZero", metal::log(opaque(0)), -infinity},
                    Edge{"logOfNegative", metal::log(opaque(-1)), nan},
                    Edge{"logOfInfinity", metal::log2(opaque(infinity)), infinity},
                    Edge{"logOfNan", metal::log10(opaque(nan)), nan},
                    Edge{"log2OfPowerOfTwo", metal::log2(opaque(0x1p-77f)), -77},
                    Edge{"powZeroZero", metal::pow(opaque(0), opaque(0)), 1},
                    Edge{"powNanZero", metal::pow(opaque(nan), opaque(0)), 1},
                    Edge{"powZeroPositive", metal::pow(opaque(0), opaque(2.5f)), 0},
                    Edge{"powZeroNegative", metal::pow(opaque(0), opaque(-2.5f)), infinity},
                    Edge{"powNegativeOdd", metal::pow(opaque(-2), opaque(7)), -128},
                    Edge{"powNegativeEven", metal::pow(opaque(-2), opaque(6)), 64},
                    Edge{"powNegativeFraction", metal::pow(opaque(-2), opaque(0.5f)), nan},
                    Edge{"powNegativeSquare", metal::pow(opaque(-3), 2), 9},
                    Edge{"powNegativeCube", metal::pow(opaque(-3), 3), -27},
                    Edge{"powOverflow", metal::pow(opaque(10), opaque(1e30f)), infinity},
                    Edge{"powUnderflow", metal::pow(opaque(10), opaque(-1e30f)), 0},
                    Edge{"powInfinity", metal::pow(opaque(infinity), opaque(-1)), 0},
                    Edge{"powOfOne", metal::pow(opaque(1), opaque(infinity)), 1},
                    Edge{"powNanExponent", metal::pow(opaque(2), opaque(nan)), nan},
                    Edge{"powrNegative", metal::powr(opaque(-2), opaque(2)), nan},
                    Edge{"sinOfInfinity", metal::sin(opaque(infinity)), nan},
                    Edge{"sqrtOfNegative", metal::sqrt(opaque(-1)), nan},
                    Edge{"sqrtOfZero", metal::sqrt(opaque(0)), 0},
                    Edge{"asinOutside", metal::asin(opaque(1.5f)), nan},
                    Edge{"atan2AtOrigin", metal::atan2(opaque(0), opaque(0)), 0},
                    Edge{"atan2Left", metal::atan2(opaque(0), opaque(-1)), 3.14159265f},
                    Edge{"atan2BothInfinite", metal::atan2(opaque(infinity), opaque(infinity)),
                         0.785398163f},
                    Edge{"tanhOfInfinity", metal::tanh(opaque(-infinity)), -1},
                    Edge{"fmodOfMultiple", metal::fmod(opaque(49), opaque(49)), 0},
                    Edge{"fmodNegative", metal::fmod(opaque(-7.5f), opaque(2)), -1.5f},
                    Edge{"fractOfTinyNegative", metal::fract(opaque(-1e-9f)), 0x1.fffffep-1f},
                    Edge{"roundHalf", metal::round(opaque(-2.5f)), -3},
                    Edge{"roundBelowHalf", metal::round(opaque(0.49999997f)), 0},
                    Edge{"rintHalf", metal::rint(opaque(2.5f)), 2},
                    Edge{"signOfNan", metal::sign(opaque(nan)), 0},
                    Edge{"saturateOfNan", metal::saturate(opaque(nan)), 0},
                    Edge{"ldexpFar", metal::ldexp(opaque(0x1p-100f), 200), 0x1p100f},
                    Edge{"nextafterOne", metal::nextafter(opaque(1), opaque(2)), 1.00000012f},
                    Edge{"nextafterDown", metal::nextafter(opaque(-1), opaque(-2)), -1.00000012f}),
    [](const auto& info) { return info.param.label; });

TEST(Math, SineNeverLeavesTheUnitInterval) {
    for (float x = 1; x < 1e38f; x *= 1.0371f) {
        EXPECT_LE(std::abs(metal::sin(x)), 1.0000002f) << x;
        EXPECT_LE(std::abs(metal::cos(x)), 1.0000002f) << x;
    }
}

TEST(Math, Atan2CoversAllQuadrants) {
    for (int i = -180; i <= 180; ++i) {
        const double angle = i * M_PI / 180;
        const float x = float(3 * std::cos(angle));
        const float y = float(3 * std::sin(angle));
        EXPECT_LE(ulps(metal::atan2(y, x), std::atan2(double(y), double(x))), 4) << i;
    }
}

TEST(Math, FmodAgreesForManyQuotients) {
    for (int i = 0; i < 20000; ++i) {
        const float x = float(i) * 0.37f - 3000.0f;
        const float y = 0.1f + float(i % 97) * 0.31f;
        const double exact = std::fmod(double(x), double(y));
        // Off by a few units of x's last place, which may carry it past the divisor.
        const double error = std::abs(double(metal::fmod(x, y)) - exact);
        EXPECT_LE(std::min(error, std::abs(double(y) - error)), 4e-4) << x << " " << y;
    }
}

TEST(Math, TakesNumbersApart) {
    for (float x : {1.0f, -3.7f, 1e-20f, 8.0f, -1e30f, 0.0f}) {
        int exponent = 0;
        int expectedExponent = 0;
        const float expected = std::frexp(x, &expectedExponent);
        EXPECT_EQ(metal::frexp(opaque(x), exponent), expected);
        EXPECT_EQ(exponent, expectedExponent);
        float whole = 0;
        EXPECT_FLOAT_EQ(metal::modf(opaque(x), whole), x - std::trunc(x));
        EXPECT_EQ(whole, std::trunc(x));
    }
    EXPECT_EQ(metal::ilogb(opaque(0.3f)), -2);
}

TEST(Math, HalfGoesThroughFloat) {
    for (int bits = 0; bits < 0x7c00; bits += 7) {
        const half x = as_type<half>(ushort(bits));
        EXPECT_EQ(metal::sin(x), half(metal::sin(float(x))));
        EXPECT_LT(metal::fract(half(-x)), half(1));
        EXPECT_EQ(metal::isfinite(x), true);
    }
    EXPECT_TRUE(metal::isinf(as_type<half>(ushort(0xfc00))));
    EXPECT_TRUE(metal::isnan(as_type<half>(ushort(0x7e00))));
}

TEST(Math, ClassifiesUnderFastMath) {
    EXPECT_TRUE(metal::isnan(opaque(nan)) && !metal::isnan(opaque(infinity)));
    EXPECT_TRUE(metal::isinf(opaque(-infinity)) && !metal::isinf(opaque(nan)));
    EXPECT_FALSE(metal::isfinite(opaque(nan)) || metal::isfinite(opaque(infinity)));
    EXPECT_TRUE(metal::isnormal(opaque(-1)) && !metal::isnormal(opaque(1e-40f)) &&
                !metal::isnormal(opaque(0)) && !metal::isnormal(opaque(infinity)));
    EXPECT_TRUE(metal::signbit(opaque(-0.0f)) && !metal::signbit(opaque(1)));
    EXPECT_TRUE(metal::isunordered(opaque(nan), opaque(1)));
}

// Constants are evaluated by other code for some functions; both must agree.
static_assert(metal::floor(-2.5f) == -3 && metal::ceil(-2.5f) == -2 && metal::trunc(-2.5f) == -2);
static_assert(metal::rint(2.5f) == 2 && metal::rint(3.5f) == 4 && metal::rint(-0.7f) == -1);
static_assert(metal::sqrt(2.0f) == 1.41421356f && metal::sqrt(1e-20f) == 1e-10f);
static_assert(metal::sin(1.0f) > 0.841470f && metal::sin(1.0f) < 0.841472f);
static_assert(metal::length(float2(3, 4)) == 5);

} // namespace
