// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What people read: whole messages, and each refusal by its first line.
#include "compute/metal/Frontend.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string messages(std::string_view source) {
    auto program = compute::metal::compile(source);
    return program ? program->warnings : program.error().message;
}

std::string withLibrary(std::string_view source) {
    return "#include <metal_stdlib>\nusing namespace metal;\n" + std::string(source);
}

TEST(Diagnostics, AreWholeMessagesOnTheProgramsOwnLines) {
    struct Case {
        const char* label;
        std::string source;
        const char* expected;
    };
    const Case cases[] = {
        {"undeclared name", "float f() {\n    return brightness;\n}\n",
         "program_source:2:12: error: use of undeclared identifier 'brightness'\n"
         "    2 |     return brightness;\n"
         "      |            ^\n"
         "1 error generated.\n"},
        {"types as written, nothing about the library",
         withLibrary("float2 f(float3 a) {\n    return a;\n}\n"),
         "program_source:4:12: error: no viable conversion from returned value of type 'float3' to "
         "function return type 'float2'\n"
         "    4 |     return a;\n"
         "      |            ^\n"
         "1 error generated.\n"},
        {"no list of overloads", withLibrary("float f() {\n    return dot(float3(1), 1, 2);\n}\n"),
         "program_source:4:12: error: no matching function for call to 'dot'\n"
         "    4 |     return dot(float3(1), 1, 2);\n"
         "      |            ^~~\n"
         "1 error generated.\n"},
        {"macro of the program", "#define TWICE(x) ((x) + y)\nint f(int a) { return TWICE(a); }\n",
         "program_source:2:23: error: use of undeclared identifier 'y'\n"
         "    2 | int f(int a) { return TWICE(a); }\n"
         "      |                       ^\n"
         "program_source:1:25: note: expanded from macro 'TWICE'\n"
         "    1 | #define TWICE(x) ((x) + y)\n"
         "      |                         ^\n"
         "1 error generated.\n"},
        {"warning and error",
         "int f(int x) {\n    if (x == 1) x = 2 / 0;\n    return brightness;\n}\n",
         "program_source:3:12: error: use of undeclared identifier 'brightness'\n"
         "    3 |     return brightness;\n"
         "      |            ^\n"
         "program_source:2:23: warning: division by zero is undefined [-Wdivision-by-zero]\n"
         "    2 |     if (x == 1) x = 2 / 0;\n"
         "      |                       ^ ~\n"
         "1 warning and 1 error generated.\n"},
    };
    for (const Case& each : cases)
        EXPECT_EQ(messages(each.source), each.expected) << each.label;
}

TEST(Diagnostics, PlainProgramsGiveNone) {
    EXPECT_EQ(
        messages("#pragma METAL fp math_mode(fast)\n"
                 "const constant int twice = 2; constant int table[] = {1, 2};\n"
                 "struct V { float p [[position]]; float q [[user(q), flat]]; };\n"
                 "[[early_fragment_tests]] fragment float fs(V v [[stage_in]]) { return v.q; }\n"
                 "[[kernel]] void k(device float* o) { int unused; o[0] = 1; }\n"),
        "");
}

TEST(Diagnostics, StayReadableWhenThereAreThousands) {
    std::string source;
    for (int i = 0; i < 5000; ++i)
        source += "int a" + std::to_string(i) + " = b" + std::to_string(i) + ";\n";
    const std::string text = messages(source);
    EXPECT_LT(text.size(), 10'000u);
    EXPECT_NE(text.find("too many errors"), std::string::npos);
}

struct Refusal {
    const char* source;
    const char* message; ///< how the first line goes on after "program_source:"
};

class Refusals : public testing::TestWithParam<Refusal> {};

TEST_P(Refusals, NamePlaceAndReason) {
    const std::string text = messages(withLibrary(GetParam().source));
    const std::string first = text.substr(0, text.find('\n'));
    EXPECT_EQ(first, std::string("program_source:") + GetParam().message) << text;
}

INSTANTIATE_TEST_SUITE_P(
    Words, Refusals,
    testing::Values(
        Refusal{"struct A { virtual void f(); };",
                "3:12: error: 'virtual' is not supported in this language"},
        Refusal{"int* f() { return new int; }",
                "3:19: error: 'new' is not supported in this language"},
        Refusal{"void f(int* p) { delete p; }",
                "3:18: error: 'delete' is not supported in this language"},
        Refusal{"void f() { throw 1; }", "3:12: error: 'throw' is not supported in this language"},
        Refusal{"asm(\".globl x\");", "3:1: error: 'asm' is not supported in this language"},
        Refusal{"void f() { __asm__(\"nop\"); }",
                "3:12: error: '__asm__' is not supported in this language"},
        Refusal{"double d() { return 1; }",
                "3:1: error: 'double' is not supported in this language"},
        Refusal{"float f(float x) { return __builtin_sinf(x); }",
                "3:27: error: '__builtin_sinf' is not supported in this language"},
        Refusal{"typedef float v __attribute__((vector_size(16)));",
                "3:9: error: vector extensions are not supported; use float4 and such"},
        Refusal{"[[noreturn]] void f() { for (;;) {} }",
                "3:3: error: attribute 'noreturn' is not supported in this language"},
        Refusal{"int f(int n, ...) { return n; }",
                "3:5: error: variadic functions are not supported"},
        Refusal{"void f() { here: void* p = &&here; }",
                "3:28: error: address of a label is not supported"}));

INSTANTIATE_TEST_SUITE_P(
    Variables, Refusals,
    testing::Values(
        Refusal{"int counter;",
                "3:5: error: program scope variable must reside in constant address space"},
        Refusal{"struct A { mutable int a = 1; }; constant A a;",
                "3:45: error: program scope variable must reside in constant address space"},
        Refusal{"struct A { static float state[2]; }; float A::state[2];",
                "3:25: error: program scope variable must reside in constant address space"},
        Refusal{"void f() { static int calls = 0; }",
                "3:23: error: static variable must reside in constant address space"},
        Refusal{"void f(int x) { static const int late = x; }",
                "3:34: error: initializer of a static variable must be a constant"},
        Refusal{"void f() { float big[300000]; }", "3:18: error: variable is too large"},
        Refusal{"constant int big[1 << 28] = {1};", "3:14: error: variable is too large"},
        Refusal{"void f(int n) { int a[n]; }",
                "3:22: error: variable length arrays are not supported for the current target"}));

INSTANTIATE_TEST_SUITE_P(
    Calls, Refusals,
    testing::Values(
        Refusal{"int f(int n) { return n < 2 ? 1 : n * f(n - 1); }",
                "3:5: error: function 'f' calls itself; recursion is not supported"},
        Refusal{"int g(int n);\nint f(int n) { return g(n); }\nint g(int n) { return f(n); }",
                "4:5: error: function 'f' calls itself; recursion is not supported"},
        Refusal{"float noise(float x);\nkernel void k(device float* o) { o[0] = noise(1); }",
                "3:7: error: function 'noise' is used but not defined"},
        Refusal{"extern constant int later;\nkernel void k(device int* o) { o[0] = later; }",
                "3:21: error: variable 'later' is used but not defined"}));

INSTANTIATE_TEST_SUITE_P(
    Attributes, Refusals,
    testing::Values(
        Refusal{"kernel void k(device float* o [[buffer]]) {}",
                "3:33: error: 'buffer' attribute takes one argument"},
        Refusal{"kernel void k(device float* o [[buffer(31)]]) {}",
                "3:40: error: 'buffer' attribute parameter is out of bounds: must be between 0 and "
                "30"},
        Refusal{"kernel void k(device float* o [[buffer(1)]], device int* p [[buffer(1)]]) {}",
                "3:62: error: 'buffer' index 1 is used by more than one parameter"},
        Refusal{"kernel void k(uint n [[buffer(0)]]) {}",
                "3:20: error: type 'uint' is not valid for attribute 'buffer'"},
        Refusal{"kernel void k(float3 at [[thread_position_in_grid]]) {}",
                "3:22: error: type 'float3' is not valid for attribute 'thread_position_in_grid'"},
        Refusal{"kernel void k(device float* o, uint n) {}",
                "3:37: error: invalid type 'uint' for input declaration in a kernel function"},
        Refusal{"kernel int k(device float* o) { return 1; }",
                "3:12: error: kernel function must return 'void'"},
        Refusal{"constant long c [[function_constant(0)]];",
                "3:15: error: invalid type 'const long' for a function constant"},
        Refusal{"[[buffer(0)]] constant int c = 1;",
                "3:3: error: 'buffer' attribute only applies to parameters"}));

} // namespace
