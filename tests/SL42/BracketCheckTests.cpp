// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/builder/BracketCheck.h"

#include <gtest/gtest.h>

namespace starloom {
namespace {

TEST(BracketCheck, FindsWhatWasForgotten) {
    struct Row {
        const char* source;
        std::size_t line; ///< 0 for nothing wrong
        std::size_t column;
        const char* says;
    };
    for (const auto& [source, line, column, says] : {
             Row{"void fx() { cls(1); }\n", 0, 0, ""},
             Row{"void fx() {\n    cls(1);\n\nfloat2 sfx() {\n    return 0;\n}\n", 1, 11,
                 "a '}' is missing before line 4"},
             Row{"void fx() {\n    if (time > 1) {\n        cls(1);\n    cls(0);\n}\nvoid cpu() {}",
                 2, 19, "a '}' is missing before line 4"},
             Row{"void fx() {\n    cls(1);\n", 1, 11, "a '}' is missing at the end"},
             Row{"void fx() {\n    cls(1);\n    }\n}\n", 3, 5, "one too many"},
             Row{"void fx() {\n}\n}\n", 3, 1, "one too many"},
             Row{"void fx() {\n    cls(max(1, 2);\n}\n", 2, 8, "this '(' is never closed"},
             Row{"void fx() {\n    cls(1));\n}\n", 2, 11, "this ')' is one too many"},
             Row{"int a[2;\nvoid fx() {}\n", 1, 6, "a ']' is missing"},
             Row{"void fx() { /* cls(1);\n}\n", 1, 13, "this comment is never closed"},
             Row{"void fx() {\n  print(\"score);\n}\n", 2, 9, "this text is not closed"},
             Row{"// it's { \nvoid fx() { int a = '{' + 1'000; /* } \n \" */ print(\"\\\"}\", 0); "
                 "}",
                 0, 0, ""},
             Row{"#if 1\nvoid fx() {\n#else\nvoid fx() { \n#endif\n}", 0, 0, ""},
             Row{"#define BEGIN {\nvoid fx() BEGIN }", 0, 0, ""},
             Row{"#define twice(x) \\\n ((x) * 2\nvoid fx() {", 0, 0, ""},
             Row{"#define twice(x) ((x) * 2)\nvoid fx() {", 2, 11, "a '}' is missing"},
         }) {
        const auto fault = findBracketFault(source);
        ASSERT_EQ(fault.has_value(), line != 0) << source << (fault ? fault->message : "");
        if (!fault)
            continue;
        EXPECT_EQ(fault->line, line) << source;
        EXPECT_EQ(fault->column, column) << source;
        EXPECT_NE(fault->message.find(says), std::string::npos) << fault->message;
    }
}

TEST(BracketCheck, PrintsAsTheCompilerDoes) {
    EXPECT_EQ(bracketError("\nvoid fx() {", 10),
              "program_source:12:11: error: this '{' is never closed: a '}' is missing at the end\n"
              " 12 | void fx() {\n"
              "    |           ^\n");
    EXPECT_EQ(bracketError("void fx() {}", 10), "");
}

} // namespace
} // namespace starloom
