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

/// What ends a text that would otherwise run the compiler out of stack, memory or patience.
struct Hostile {
    const char* label;
    std::string source;
    const char* message; ///< to be found in the output
};

std::string doublingMacros(const std::string& end) {
    std::string source = "#define A0\n";
    for (int i = 1; i < 40; ++i) {
        const std::string before = " A" + std::to_string(i - 1);
        source += "#define A" + std::to_string(i) + before + before + "\n";
    }
    return source + end;
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
        {"a text that includes itself", "#include \"program_source\"\n", "nested too deeply"},
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
