// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Texts by strangers: whatever they contain, compiling ends soon, with a message, and without
// having read a file of the machine.
#include "compute/metal/Frontend.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string messages(const std::string& source) {
    auto program = compute::metal::compile(source);
    return program ? program->warnings : program.error().message;
}

std::string repeated(const std::string& text, int times) {
    std::string result;
    for (int i = 0; i < times; ++i)
        result += text;
    return result;
}

TEST(HostileText, ReadsNoFileOfTheMachine) {
    const char* const attempts[] = {"#include \"/etc/passwd\"\n",
                                    "#include </etc/passwd>\n",
                                    "#include \"../../../../etc/passwd\"\n",
                                    "#include_next <stdio.h>\n",
                                    "#include <stdint.h>\n",
                                    "#include \"/proc/self/environ\"\n",
                                    "#include \"/library.pch\"\n",
                                    "constant char x[] = {\n#embed \"/etc/passwd\"\n};\n",
                                    "#import \"/etc/passwd\"\n"};
    for (const char* attempt : attempts) {
        const std::string text = messages(attempt);
        EXPECT_NE(text.find("file not found"), std::string::npos) << attempt << text;
        EXPECT_EQ(text.find("root:"), std::string::npos) << attempt;
    }
    EXPECT_EQ(messages("#if __has_include(\"/etc/passwd\") || __has_include(<stdio.h>)\n"
                       "#error seen\n#endif\n"),
              "");
}

TEST(HostileText, PragmasReachNothingOfTheCompiler) {
    struct Row {
        const char* pragma;
        const char* message; ///< empty where it just has no effect
    };
    const char* const debug = "'#pragma clang __debug' is not supported in this language";
    const char* const module = "'#pragma clang module' is not supported in this language";
    const char* const attribute = "'#pragma clang attribute' is not supported in this language";
    const Row rows[] = {
        {"clang __debug crash", debug},
        {"clang /* */ __debug \\\n crash", debug},
        {"clang module load foo", module},
        {"clang attribute push (__attribute__((section(\"x\"))), apply_to = function)", attribute},
        {"clang __de\\\nbug crash", ""},
        {"clang dependency \"/etc/passwd\"", ""},
        {"GCC system_header", ""},
        {"include_alias(<metal_stdlib>, \"/etc/passwd\")", ""},
        {"redefine_extname f exit", ""},
        {"clang section text=\"x\" data=\"y\"", ""},
        {"clang fp exceptions(strict)", ""},
        {"STDC FENV_ROUND FE_UPWARD", ""},
        {"float_control(except, on)", ""},
        {"clang max_tokens_total 1", ""},
        {"clang assume_nonnull begin", ""},
        {"METAL internals : enable", ""},
    };
    const std::string end = "\nint f(int x) { return x + 1; }\n";
    for (const Row& row : rows) {
        const std::string text = messages("#pragma " + std::string(row.pragma) + end);
        if (*row.message == '\0')
            EXPECT_EQ(text, "") << row.pragma;
        else
            EXPECT_NE(text.find(row.message), std::string::npos) << row.pragma << text;
    }
    for (const char* hidden : {"_Pragma(\"clang __debug crash\")",
                               "#define P(x) _Pragma(#x)\nP(clang __debug parser_crash)",
                               "#define inline _Pragma(\"clang __debug crash\") inline\n"
                               "#include <metal_stdlib>\ninline int g() { return 1; }"})
        EXPECT_NE(messages(hidden + end).find(debug), std::string::npos) << hidden;
}

TEST(HostileText, HarmlessPragmasStillHaveTheirEffect) {
    EXPECT_EQ(messages("#pragma clang diagnostic push\n"
                       "#pragma clang diagnostic ignored \"-Wunused-value\"\n"
                       "void f(int x) { x == 1; }\n"
                       "#pragma clang diagnostic pop\n"),
              "");
    EXPECT_NE(messages("#pragma weak f\nvoid f(int x) { x == 1; }\n").find("-Wunused"),
              std::string::npos)
        << "what follows one that is passed over is read";
    EXPECT_NE(messages("#pragma weak f\n#pragma message \"hello\"\n").find("hello"),
              std::string::npos);
    EXPECT_EQ(messages("void f(int x) {\n#pragma unroll\n#pragma nothing\n"
                       "    for (int i = 0; i < 4; ++i)\n        x += i;\n}\n"),
              "");
}

TEST(HostileText, LineMarkersMoveNothing) {
    for (const char* marker : {"# 1 \"x\" 1 3\n", "# 1 \"x\" 3\n", "#line 900 \"x\"\n", "# 70\n",
                               "#line 4294967000\n"}) {
        const std::string text = messages(std::string(marker) + "int f() { return y; }\n" + marker +
                                          "void g() { asm(\"\"); __builtin_trap(); double d; }\n");
        EXPECT_NE(text.find("program_source:2:18: error"), std::string::npos) << marker << text;
        EXPECT_NE(text.find("program_source:4:12: error: 'asm' is not"), std::string::npos) << text;
        EXPECT_NE(text.find("program_source:4:"), std::string::npos) << text;
        const std::string warning =
            messages(std::string("int x() { return 1; }\n") + marker + "void f() { x() == 2; }\n");
        EXPECT_NE(warning.find("program_source:3:"), std::string::npos)
            << "warnings are not off either: " << marker << warning;
        EXPECT_NE(messages(std::string(marker) + "void g() { __builtin_trap(); }\n")
                      .find("program_source:2:12: error: '__builtin_trap' is not supported"),
                  std::string::npos);
    }
}

/// What ends a text that would otherwise run the compiler out of stack, memory or patience.
struct Hostile {
    const char* label;
    std::string source;
    const char* message; ///< to be found in the output
};

/// Definitions for 40 numbers n, with $ for n and @ for the number before.
std::string chain(const std::string& first, const std::string& link) {
    std::string source = first;
    for (int i = 1; i < 40; ++i)
        for (const char c : link)
            source += c == '$'   ? std::to_string(i)
                      : c == '@' ? std::to_string(i - 1)
                                 : std::string(1, c);
    return source;
}

/// A39 stands for 2^39 of nothing.
std::string doublingMacros(const std::string& end) {
    return chain("#define A0\n", "#define A$ A@ A@\n") + end;
}

TEST(HostileText, EndsSoonWithAMessage) {
    const Hostile cases[] = {
        {"too large", std::string(10'000'000, ' '), "program of 10000000 bytes is larger than"},
        {"parentheses", "int x = " + repeated("(", 100'000), "bracket nesting level exceeded"},
        {"unary operators", "int f(int x) { return " + repeated("- ", 500'000) + "x; }",
         "nests too deep"},
        {"operators", "int f(int x) { return x" + repeated("+x", 500'000) + "; }",
         "nests too deep"},
        {"pointers", "int f(int " + repeated("*", 300'000) + "x);", "nests too deep"},
        {"else-if", "void f(int x) {" + repeated("if (x) x = 1; else ", 100'000), "nests too deep"},
        {"if-if", "void f(int x) {" + repeated("if (x) ", 100'000), "nests too deep"},
        {"template arguments", "template<class T> struct A {}; " + repeated("A<", 100'000),
         "nests too deep"},
        {"macros that double", doublingMacros("int f() { A39; }"), "macros expand to too much"},
        {"macros in a condition", doublingMacros("#if A39\n#endif\n"), "macros expand to too much"},
        {"macro arguments that double",
         "#define D(x) x x\nvoid f(int x) { " + repeated("D(", 40) + "x;" + repeated(")", 40) +
             " }",
         "macros expand to too much"},
        {"a text that includes itself", "#include \"program_source\"\n", "file not found"},
        {"pasted words",
         "#define C(a, b) a##b\n#define D(x) C(x, x)\nint " + repeated("D(", 40) + "abcdefgh" +
             repeated(")", 40) + ";",
         "macros expand to too much"},
        {"quoted texts",
         "#define S(x) #x\n#define X(x) S(x)\nconstant char c[] = " + repeated("X(", 40) +
             "\"\\\\\"" + repeated(")", 40) + ";",
         "macros expand to too much"},
        {"macros in macros", "#define D(x) x\nint x = " + repeated("D(", 100'000), "macro"},
        {"long condition", "#if " + repeated("(", 500'000) + "1" + repeated(")", 500'000),
         "too long"},
        {"long condition of macros",
         "#define N ((((((((((((((((((((\n#if " + repeated("N ", 40'000) + "1\n#endif\n",
         "macros expand to too much"},
        {"escaped line ends", repeated("\\\n", 1'000'000) + "int x;", "line ends are escaped"},
        {"prefix operators", "int f(int x) { return " + repeated("!", 15'000) + "x; }",
         "nests too deep"},
        {"packs that double",
         "template <int... I> struct S {}; template <class T> struct D;\n"
         "template <int... I> struct D<S<I...>> { using t = S<I..., I...>; };\n" +
             chain("using a0 = S<0>;\n", "using a$ = D<a@>::t;\n"),
         "too many arguments"},
        {"sequence of integers",
         "template <class T, T... I> struct S {}; using x = __make_integer_seq<S, int, 100000000>;",
         "'__make_integer_seq' is not supported"},
        {"members that double",
         chain("struct L0 { int a = 1; };\n", "struct L$ { L@ a, b; };\n") +
             "void f() { constexpr L20 z{}; }",
         "class has too many parts"},
        {"bases that double",
         chain("struct L0 { int a; }; struct R0 { int a; };\n",
               "struct L$ : L@, R@ {}; struct R$ : R@, L@ {};\n"),
         "class has too many parts"},
        {"template recursion",
         "template<int N> struct F { static const int v = F<N + 1>::v; }; constant int x = "
         "F<0>::v;",
         "exceeded maximum depth"},
        {"templates that double",
         "template<class A, int N> struct P {};\n"
         "template<class T, int N> struct F { F<P<T, 0>, N - 1> a; F<P<T, 1>, N - 1> b; };\n"
         "template<class T> struct F<T, 0> {}; F<int, 24> x;",
         "too many templates"},
        {"endless constant",
         "constexpr int f() { int i = 0; for (;;) ++i; return i; } static_assert(f() == 1);",
         "not an integral constant expression"},
        {"long list by designator", "constant int a[1 << 28] = {[268435455] = 1};",
         "designators are not supported"},
        {"unterminated comment", "/* int f() {", "unterminated"},
        {"unterminated string", "constant char* s = R\"x(", "raw string missing"},
        {"no UTF-8", "int \xff\xfe\x80;", "error"},
        {"UTF-16", std::string("\xff\xfei\0n\0t\0", 8), "encoding is not supported"},
    };
    for (const Hostile& each : cases) {
        const auto start = std::chrono::steady_clock::now();
        const std::string text = messages(each.source);
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        EXPECT_NE(text.find(each.message), std::string::npos) << each.label << "\n"
                                                              << text.substr(0, 500);
        EXPECT_LT(text.size(), 200'000u) << each.label;
        EXPECT_LT(taken.count(), 30) << each.label;
    }
}

TEST(HostileText, LongButHonestProgramsCompile) {
    std::string functions;
    for (int i = 0; i < 2000; ++i)
        functions += "float f" + std::to_string(i) + "(float x) { return x * 1.5 + 2; }\n";
    EXPECT_EQ(messages(functions), "");
    EXPECT_EQ(messages("#include <metal_stdlib>\nusing namespace metal;\n"
                       "float3 f(float3 c, float2 p) {\n" +
                       repeated("c = mix(c * 0.5 + p.xyx, c.zyx * p.y, smoothstep(0.0, 1.0, c));\n",
                                3000) +
                       "return c; }\n"),
              "");
    EXPECT_EQ(messages("constant float table[] = {" + repeated("1.5, ", 50'000) + "};\n"), "");
    EXPECT_EQ(messages("int f(int x) { return x" + repeated(" + x", 5000) + "; }\n"), "");
    EXPECT_EQ(messages("void f(int x) {" + repeated("if (x) x = 1; else ", 1000) + "x = 2; }\n"),
              "");
    EXPECT_NE(messages(std::string("int f() {\0 return 1; }", 22)).find("null character"),
              std::string::npos);
}

TEST(Frontend, CompilesOnSeveralThreadsAtOnce) {
    const std::string good = "#include <metal_stdlib>\nusing namespace metal;\n"
                             "kernel void k(device float4* o) { o[0] = sin(o[1]).wzyx; }\n";
    std::vector<std::thread> threads;
    std::vector<std::string> results(4);
    for (std::size_t i = 0; i < results.size(); ++i)
        threads.emplace_back(
            [&, i] { results[i] = messages(i % 2 ? good : "int f() { return x; }"); });
    for (std::thread& thread : threads)
        thread.join();
    for (std::size_t i = 0; i < results.size(); ++i)
        EXPECT_EQ(results[i].empty(), i % 2 == 1) << results[i];
}

} // namespace
