// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The mathematical functions against the C library's in double precision, over dense arguments, and
// their values at the edges.
#include <metal_stdlib>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>

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

/// Largest error of a function over a range of arguments.
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

#define EXACT(...) [](double x) -> double { return __VA_ARGS__; }
#define AS_STD(name) [](float x) { return metal::name(x); }, EXACT(std::name(x))
#define PRECISE(name) [](float x) { return metal::precise::name(x); }, EXACT(std::name(x))
#define FUNCTION(name) [](float x) { return metal::name(x); }
constexpr float pi = 3.14159265f;
constexpr auto linear = Spread::Linear;
constexpr auto exponential = Spread::Exponential;
constexpr auto inUlps = Measure::Ulps;
constexpr auto absolute = Measure::Absolute;

const Accuracy accuracies[] = {
    {"sin", AS_STD(sin), -pi, pi, linear, absolute, 2e-7},
    {"sin near zero", AS_STD(sin), 1e-30f, 1.5f, exponential, inUlps, 2},
    {"sin far", AS_STD(sin), -1e5f, 1e5f, linear, absolute, 1e-5},
    {"precise sin", PRECISE(sin), -2e4f, 2e4f, linear, absolute, 3e-7},
    {"precise sin in ulps", PRECISE(sin), -1000, 1000, linear, inUlps, 4},
    {"cos", AS_STD(cos), -pi, pi, linear, absolute, 2e-7},
    {"cos far", AS_STD(cos), -1e5f, 1e5f, linear, absolute, 1e-5},
    {"precise cos", PRECISE(cos), -2e4f, 2e4f, linear, absolute, 3e-7},
    {"tan", AS_STD(tan), -0.78f, 0.78f, linear, inUlps, 4},
    {"precise tan", PRECISE(tan), -100, 100, linear, inUlps, 5},
    {"precise sin far", PRECISE(sin), -3e6f, 3e6f, linear, absolute, 3e-7},
    {"precise sin very far", PRECISE(sin), 1e5f, 3e38f, exponential, inUlps, 4},
    {"precise cos far", PRECISE(cos), -3e6f, 3e6f, linear, absolute, 3e-7},
    {"precise cos very far", PRECISE(cos), 1e5f, 3e38f, exponential, inUlps, 4},
    {"precise tan very far", PRECISE(tan), 1e5f, 3e38f, exponential, inUlps, 6},
    {"sinpi", FUNCTION(sinpi), EXACT(std::sin(M_PI* x)), -0.5f, 0.5f, linear, inUlps, 3},
    {"sinpi far", FUNCTION(sinpi), EXACT(std::sin(M_PI* std::fmod(x, 2.0))), -1e5f, 1e5f, linear,
     absolute, 2e-7},
    {"cospi far", FUNCTION(cospi), EXACT(std::cos(M_PI* std::fmod(x, 2.0))), -1e5f, 1e5f, linear,
     absolute, 2e-7},
    {"asin", AS_STD(asin), -1, 1, linear, inUlps, 4},
    {"acos", AS_STD(acos), -1, 1, linear, inUlps, 4},
    {"atan", AS_STD(atan), -20, 20, linear, inUlps, 4},
    {"atan of all sizes", AS_STD(atan), 1e-30f, 1e30f, exponential, inUlps, 4},
    {"exp", AS_STD(exp), -90, 90, linear, inUlps, 2},
    {"exp2", AS_STD(exp2), -128, 129, linear, inUlps, 2},
    {"exp10", FUNCTION(exp10), EXACT(std::pow(10.0, x)), -39, 39, linear, inUlps, 3},
    {"log", AS_STD(log), 1.2e-38f, 3e38f, exponential, inUlps, 3},
    {"log near one", AS_STD(log), 0.5f, 2, linear, inUlps, 3},
    {"log2", AS_STD(log2), 1.2e-38f, 3e38f, exponential, inUlps, 3},
    {"log2 near one", AS_STD(log2), 0.5f, 2, linear, inUlps, 3},
    {"log10", AS_STD(log10), 1.2e-38f, 3e38f, exponential, inUlps, 3},
    {"log10 near one", AS_STD(log10), 0.5f, 2, linear, inUlps, 4},
    {"sqrt", AS_STD(sqrt), 1e-37f, 1e38f, exponential, inUlps, 2},
    {"rsqrt", FUNCTION(rsqrt), EXACT(1 / std::sqrt(x)), 1e-37f, 1e38f, exponential, inUlps, 4},
    {"sinh", AS_STD(sinh), -89.3f, 89.3f, linear, inUlps, 5},
    {"sinh near zero", AS_STD(sinh), 1e-30f, 2, exponential, inUlps, 5},
    {"cosh", AS_STD(cosh), -89.3f, 89.3f, linear, inUlps, 5},
    {"tanh", AS_STD(tanh), 1e-30f, 20, exponential, inUlps, 4},
    {"asinh", AS_STD(asinh), 1e-30f, 1e38f, exponential, inUlps, 5},
    {"acosh", AS_STD(acosh), 1, 1e38f, exponential, inUlps, 5},
    {"atanh", AS_STD(atanh), -0.9999f, 0.9999f, linear, inUlps, 5}};

TEST(Math, FunctionsStayWithinTheirLimits) {
    for (const Accuracy& p : accuracies) {
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
        EXPECT_LE(worst, p.limit) << p.label << " at " << worstArgument << ": "
                                  << p.function(worstArgument) << " instead of "
                                  << p.exact(double(worstArgument));
    }
}

TEST(Math, PowersAreWithinFourUlps) {
    const std::tuple<const char*, float, float, float, float> rows[] = {
        {"colours", 1e-3f, 2, -4, 8},
        {"large", 2, 1e30f, -30, 30},
        {"near one", 0.999f, 1.001f, -80000, 80000},
        {"small", 1e-37f, 1, 0, 20}};
    for (const auto& [label, xLow, xHigh, yLow, yHigh] : rows) {
        double worst = 0;
        float atX = 0;
        float atY = 0;
        forArguments(xLow, xHigh, Spread::Exponential, 700, [&](float x) {
            forArguments(yLow, yHigh, Spread::Linear, 701, [&](float y) {
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
        EXPECT_LE(worst, 4) << label << " at " << atX << ", " << atY;
    }
}

/// Arguments that the compiler does not know.
float opaque(float x) {
    volatile float v = x;
    return v;
}

TEST(Math, EdgesHaveTheirValues) {
    // Compared exactly, the sign of zero excepted; NaN matches NaN.
    const std::tuple<const char*, float, float> edges[] = {
        {"exp of minus infinity", metal::exp(opaque(-infinity)), 0},
        {"exp of infinity", metal::exp(opaque(infinity)), infinity},
        {"exp of nan", metal::exp(opaque(nan)), nan},
        {"exp2 of whole", metal::exp2(opaque(10)), 1024},
        {"exp2 underflow", metal::exp2(opaque(-1e30f)), 0},
        {"log of zero", metal::log(opaque(0)), -infinity},
        {"log of negative", metal::log(opaque(-1)), nan},
        {"log of infinity", metal::log2(opaque(infinity)), infinity},
        {"log of nan", metal::log10(opaque(nan)), nan},
        {"log2 of power of two", metal::log2(opaque(0x1p-77f)), -77},
        {"pow zero zero", metal::pow(opaque(0), opaque(0)), 1},
        {"pow nan zero", metal::pow(opaque(nan), opaque(0)), 1},
        {"pow zero positive", metal::pow(opaque(0), opaque(2.5f)), 0},
        {"pow zero negative", metal::pow(opaque(0), opaque(-2.5f)), infinity},
        {"pow negative odd", metal::pow(opaque(-2), opaque(7)), -128},
        {"pow negative even", metal::pow(opaque(-2), opaque(6)), 64},
        {"pow negative fraction", metal::pow(opaque(-2), opaque(0.5f)), nan},
        {"pow negative square", metal::pow(opaque(-3), 2), 9},
        {"pow negative cube", metal::pow(opaque(-3), 3), -27},
        {"pow overflow", metal::pow(opaque(10), opaque(1e30f)), infinity},
        {"pow underflow", metal::pow(opaque(10), opaque(-1e30f)), 0},
        {"pow infinity", metal::pow(opaque(infinity), opaque(-1)), 0},
        {"pow of one", metal::pow(opaque(1), opaque(infinity)), 1},
        {"pow nan exponent", metal::pow(opaque(2), opaque(nan)), nan},
        {"powr negative", metal::powr(opaque(-2), opaque(2)), nan},
        {"sin of infinity", metal::sin(opaque(infinity)), nan},
        {"sqrt of negative", metal::sqrt(opaque(-1)), nan},
        {"sqrt of zero", metal::sqrt(opaque(0)), 0},
        {"asin outside", metal::asin(opaque(1.5f)), nan},
        {"atan2 at origin", metal::atan2(opaque(0), opaque(0)), 0},
        {"atan2 left", metal::atan2(opaque(0), opaque(-1)), 3.14159265f},
        {"atan2 both infinite", metal::atan2(opaque(infinity), opaque(infinity)), 0.785398163f},
        {"tanh of infinity", metal::tanh(opaque(-infinity)), -1},
        {"fmod of multiple", metal::fmod(opaque(49), opaque(49)), 0},
        {"fmod of a huge quotient", metal::fmod(opaque(1e10f), opaque(3.7f)),
         float(std::fmod(double(1e10f), double(3.7f)))},
        {"fmod of infinity", metal::fmod(opaque(5), opaque(-infinity)), 5},
        {"fmod by zero", metal::fmod(opaque(5), opaque(0)), nan},
        {"fmod infinite", metal::fmod(opaque(infinity), opaque(2)), nan},
        {"fmod of far too much", metal::fmod(opaque(1e30f), opaque(1e-10f)), 0},
        {"precise sin of infinity", metal::precise::sin(opaque(-infinity)), nan},
        {"precise cos of nan", metal::precise::cos(opaque(nan)), nan},
        {"max with nan", metal::max(opaque(0), opaque(nan)), 0},
        {"max of nan", metal::max(opaque(nan), opaque(-1)), -1},
        {"min with nan", metal::min(opaque(0), opaque(nan)), 0},
        {"fmin3 with nans", metal::fmin3(opaque(nan), opaque(nan), opaque(2)), 2},
        {"clamp of nan", metal::clamp(opaque(nan), opaque(2), opaque(3)), 2},
        {"saturate of nan", metal::saturate(opaque(nan)), 0},
        {"fmod negative", metal::fmod(opaque(-7.5f), opaque(2)), -1.5f},
        {"fract of tiny negative", metal::fract(opaque(-1e-9f)), 0x1.fffffep-1f},
        {"round half", metal::round(opaque(-2.5f)), -3},
        {"round below half", metal::round(opaque(0.49999997f)), 0},
        {"rint half", metal::rint(opaque(2.5f)), 2},
        {"sign of nan", metal::sign(opaque(nan)), 0},
        {"saturate of nan", metal::saturate(opaque(nan)), 0},
        {"ldexp far", metal::ldexp(opaque(0x1p-100f), 200), 0x1p100f},
        {"nextafter one", metal::nextafter(opaque(1), opaque(2)), 1.00000012f},
        {"nextafter down", metal::nextafter(opaque(-1), opaque(-2)), -1.00000012f}};
    for (const auto& [label, value, expected] : edges)
        EXPECT_TRUE(value == expected || (metal::isnan(value) && metal::isnan(expected)))
            << label << ": " << value << " instead of " << expected;
}

TEST(Math, SineNeverLeavesTheUnitInterval) {
    for (float x = 1; x < 1e38f; x *= 1.0371f) {
        EXPECT_LE(std::abs(metal::sin(x)), 1.0000002f) << x;
        EXPECT_LE(std::abs(metal::cos(x)), 1.0000002f) << x;
    }
}

TEST(Math, SignKeepsThatOfZero) {
    EXPECT_TRUE(std::signbit(metal::sign(opaque(-0.0f))));
    EXPECT_FALSE(std::signbit(metal::sign(opaque(0.0f))));
    EXPECT_EQ(metal::sign(opaque(-infinity)), -1);
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
        const float remainder = metal::fmod(x, y);
        const double error = std::abs(double(remainder) - exact);
        EXPECT_LE(std::min(error, std::abs(double(y) - error)), 4e-4) << x << " " << y;
        EXPECT_LT(std::abs(remainder), y);
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
