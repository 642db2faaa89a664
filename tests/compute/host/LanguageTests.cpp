// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Small programs, as libraries for the language write them, and what they compute.
#include "tests/compute/host/CompiledText.h"

#include <gtest/gtest.h>

namespace {

struct Case {
    const char* name;
    const char* text; ///< fills `out` of kernel `k`, by one thread
    std::vector<float> expected;
};

const Case cases[] = {
    {"OverloadsByAddressSpace",
     R"(
int where(thread const float*) { return 1; }
int where(device const float*) { return 2; }
int where(constant float*) { return 3; }
int where(threadgroup const float*) { return 4; }
template <class T> int which(thread T&) { return 1; }
template <class T> int which(device T&) { return 2; }
template <class T> int which(constant T&) { return 3; }
template <class P> struct Space { static constexpr constant int value = 0; };
template <class T> struct Space<device T*> { static constexpr constant int value = 2; };
template <class T> struct Space<constant T*> { static constexpr constant int value = 3; };
constant float4 global = {1, 2, 3, 4};
kernel void k(device float* out, constant float4& c) {
    float own = 0;
    float4 v = global;
    out[0] = where(&own);
    out[1] = where(out);
    out[2] = where(&c.x);
    out[3] = where(&global.y);
    out[4] = which(v);
    out[5] = which(out[5]);
    out[6] = which(c);
    out[7] = Space<device float*>::value + Space<constant float*>::value * 10 +
             Space<thread float*>::value * 100;
})",
     {1, 2, 3, 3, 1, 2, 3, 32}},
    {"MembersByAddressSpace",
     R"(
#define QUALIFIED const device
template <class T> struct Pair {
    T first, second;
    thread T& operator[](size_t i) thread { return i == 0 ? first : second; }
    device T& operator[](size_t i) device { return i == 0 ? first : second; }
    constant T& operator[](size_t i) constant { return i == 0 ? first : second; }
    int where() const thread { return 1; }
    int where() QUALIFIED { return 2; }
    int where() const constant;
    operator T() const thread { return first; }
    operator T() const device { return first * 10; }
    Pair() thread = default;
    Pair() device = default;
    Pair(T a, T b) thread : first(a), second(b) {}
};
template <class T> int Pair<T>::where() const constant { return 3; }
kernel void k(device float* out, constant Pair<float>& c) {
    device Pair<float>& d = *(device Pair<float>*)(out + 6);
    Pair<float> t(7, 8);
    d[0] = 3;
    d[1] = t[1];
    out[0] = t.where() + d.where() * 10 + c.where() * 100;
    out[1] = c[1];
    out[2] = float(t);
    out[3] = float(d);
    out[4] = d[1];
    Pair<float> copy = d;
    out[5] = copy[1];
})",
     {321, 2, 7, 30, 8, 8, 3, 8}},
    {"ConstantsOfClassesAndFunctions",
     R"(
float second(constant float* values) { return values[1]; }
float sum(constant float4& v) { return v.x + v.y; }
class Machine {
public:
    device float* out;
    constant float4 ink = {1, 2, 3, 4};
    constant float table[3] = {5, 6, 7};
    void run() {
        constant float local = 8;
        constant float list[2] = {9, 10};
        out[0] = sum(ink);
        out[1] = second(table);
        out[2] = local + list[1];
    }
};
kernel void k(device float* out, constant float4& c) {
    Machine machine;
    machine.out = out;
    machine.run();
})",
     {3, 6, 18}},
    {"NamesOfLibraries",
     R"(
template <class T> T sign(T x) { return x < T(0) ? T(-10) : T(10); }
static METAL_FUNC float scaled(float x, int n METAL_CONST_ARG(n)) { return x * n; }
[[clang::optnone]] float slow(float x) { return x + 1; }
[[clang::whatever(3)]] float odd(float x) { return x + 2; }
kernel void k(device float* out, constant float4& c) {
    vector_float4 v = c;
    simd_float3 w = float3(v);
    vector_uint2 u = uint2(3, 1);
    out[0] = sign(2) + sign(short(-1));
    out[1] = scaled(w.z, 2) + slow(1) + odd(1);
    out[2] = float2(v).y + half3(half4(v)).z + int2(float3(w)).x;
    out[3] = (int2(1, 2) << u).x + (int2(1, 2) >> u).y;
    int2 shifted = int2(-16, 1);
    shifted >>= u;
    shifted <<= ushort2(1, 4);
    out[4] = shifted.x + shifted.y;
    uniform<float> same = make_uniform(3.0f);
    out[5] = same * 2 + divide(3.0f, 2) + divide(half2(1, 2), half2(2, 4)).y;
})",
     {0, 11, 6, 9, -4, 8}},
    {"Bfloat",
     R"(
kernel void k(device float* out, constant float4& c) {
    device bfloat* stored = (device bfloat*)(out + 16);
    stored[0] = bfloat(1.00390625f);            // half way down to the even one
    stored[1] = bfloat(1.01171875f);            // half way up
    stored[2] = stored[0] + 2.0f;
    stored[3] = bfloat(NAN);
    stored[4] = 3.4e38h * 0 + 256 + 1;
    out[0] = stored[0];
    out[1] = stored[1];
    out[2] = stored[2];
    out[3] = isnan(float(stored[3])) && isinf(float(bfloat(3.4028235e38f)));
    out[4] = bfloat(257);
    bfloat4 v = bfloat4(c);
    v += bfloat4(1);
    v *= v;
    out[5] = float4(v).w;
    out[6] = (v.xy + bfloat2(1.5, 2)).x;
    out[7] = as_type<ushort>(bfloat(1));
    out[8] = max(float(v.x), 5.0f) + float(half(stored[1]) * 2);
})",
     {1, 1.015625f, 3, 1, 256, 25, 5.5f, 0x3f80, 7.03125f}},
    {"AtomicFloats",
     R"(
kernel void k(device float* out, constant float4& c) {
    device atomic_float* a = (device atomic_float*)(out + 2);
    atomic_store_explicit(a, 2.5f, memory_order_relaxed);
    out[0] = atomic_exchange_explicit(a, 7.0f, memory_order_relaxed);
    out[1] = atomic_load_explicit(a, memory_order_relaxed);
})",
     {2.5f, 7, 7}},
    {"FunctionConstantsWithoutAValue",
     R"(
constant int given [[function_constant(0)]];
constant int missing [[function_constant(1)]];
constant bool isGiven = is_function_constant_defined(given);
constant int chosen = is_function_constant_defined(missing) ? missing : 3;
template <class T> void fill(device T* out, T x) { out[3] = x; }
template <class T, int N>
kernel void many(device T* out [[buffer(0)]],
                 constant float4& c [[buffer(1), function_constant(isGiven)]]) {
    out[0] = isGiven ? given : 0;
    out[1] = is_function_constant_defined(missing) ? 1 : N;
    out[2] = chosen + missing;
    fill<T>(out, c.x);
}
template [[host_name("k")]] [[kernel]] void many<float, 2>(device float*, constant float4&);
#define INSTANTIATE(name, f, ...)                                                                  \
    template [[host_name(name), visible]] [[kernel]] decltype(f<__VA_ARGS__>) f<__VA_ARGS__>;
INSTANTIATE("other" "_" "5", many, int, 5))",
     {6, 2, 3, 1}},
    {"MathModes",
     R"(
#pragma METAL fp math_mode(safe)
float kahan(float small, int n) {
    float sum = 0, lost = 0;
    for (int i = 0; i < n; ++i) {
        float y = (i == 0 ? 1.0f : small) - lost;
        float t = sum + y;
        lost = (t - sum) - y;
        sum = t;
    }
    return sum;
}
float contracted(float a, float b, float c) {
#pragma METAL fp contract(off)
    return a * b + c;
}
#pragma METAL fp math_mode(fast)
float undone(float a, float b) { return (a + b) - a; }
kernel void k(device float* out, constant float4& c) {
    out[0] = kahan(5e-8f * c.x, 40) > 1.0f;
    out[1] = contracted(1.0f + 0x1p-12f * c.x, 1.0f + 0x1p-12f, -(1.0f + 0x1p-11f));
    out[2] = undone(1e8f * c.x, 1);
})",
     {1, 0, 1}},
};

class ProgramsOfTheLanguage : public testing::TestWithParam<Case> {};

TEST_P(ProgramsOfTheLanguage, ComputeWhatTheySay) {
    const Case& one = GetParam();
    compute::ConstantValue six;
    six.bytes[0] = std::byte(6);
    const auto compiled = tests::compile(tests::programOf(one.text), {{0, six}});
    ASSERT_TRUE(compiled);
    std::vector<float> out(64, 0);
    std::vector<float> constants = {1, 2, 3, 4};
    compiled->run(tests::bind(out, constants), {1, 1, 1}, {1, 1, 1});
    out.resize(one.expected.size());
    EXPECT_EQ(out, one.expected);
}

INSTANTIATE_TEST_SUITE_P(Features, ProgramsOfTheLanguage, testing::ValuesIn(cases),
                         [](const auto& tested) { return std::string(tested.param.name); });

} // namespace
