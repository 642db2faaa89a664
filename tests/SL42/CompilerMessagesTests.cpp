// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/builder/CompilerMessages.h"

#include <gtest/gtest.h>

namespace starloom {
namespace {

// A prelude of ten lines, and a program of three.
TEST(CompilerMessages, AreThoseOfTheProgramInItsOwnLines) {
    struct Row {
        const char* what;
        const char* log;
        const char* expected;
    };
    for (const auto& [what, log, expected] : {
             Row{"each once, errors first, notes behind them",
                 "Compiling CPU...\nCompilation failed:\n"
                 "program_source:11:2: warning: odd\n   11 | a\n      | ^\n"
                 "program_source:12:1: error: wrong\n   12 | b\n      | ^\n"
                 "program_source:11:1: note: declared here\n"
                 "1 warning and 1 error generated.\n"
                 "Compiling video...\nCompilation failed:\n"
                 "program_source:12:1: error: wrong\n   12 | b\n      | ^\n"
                 "program_source:11:1: note: declared here\n",
                 "p:2:1: error: wrong\n    2 | b\n      | ^\np:1:1: note: declared here\n"
                 "p:1:2: warning: odd\n    1 | a\n      | ^\n"},
             Row{"what follows behind the program",
                 "program_source:14:2: error: expected ';'\nprogram_source:13:9: error: no ';'\n",
                 "p:3:9: error: no ';'\n"},
             Row{"what is noticed only there", "program_source:14:2: error: expected ';'\n",
                 "p:3:1: error: expected ';'\n"},
             Row{"a function of the prelude, called wrongly",
                 "program_source:4:2: error: static_assert failed\n    4 | x\n"
                 "program_source:5:2: note: in instantiation of something\n"
                 "program_source:12:5: note: in instantiation of function template specialization "
                 "'SL42::poke64<float3>' requested here\n   12 | y\n",
                 "p:2:5: error: 'poke64' is for values of 8 bytes, and a 'float3' has 16; write "
                 "poke128\n"
                 "    2 | y\n"},
             Row{"a name that the prelude uses",
                 "program_source:4:2: error: too many arguments\n"
                 "program_source:11:7: note: 'mix' declared here\n",
                 "p:1:7: error: 'mix' is a name that the console's own functions need; choose "
                 "another one\n"},
             Row{"a stage that cannot run",
                 "Compiling video...\nCouldn't find video function\n"
                 "kernel 'video': program_source:12:5: error: 'x' is not supported\n",
                 "p:2:5: error: 'x' is not supported\n"},
             Row{"a stage of which nobody knows why",
                 "Compiling audio...\nFailed to create audio compute pipeline state\n",
                 "p: error: Failed to create audio compute pipeline state\n"},
             Row{"nothing to say", "Compiling video...\nDone.\n", ""},
         }) {
        const std::string text = readableMessages(messagesIn(log, {.before = 10, .count = 3}), "p");
        EXPECT_EQ(text, expected) << what;
    }
}

TEST(CompilerMessages, TakeExcerptsFromTheProgram) {
    const auto messages = messagesIn("program_source:12:6: error: 'x' is not supported\n"
                                     "program_source:13:1: error: y\n"
                                     "   13 | as it was\n",
                                     {.before = 10, .count = 3});
    EXPECT_EQ(readableMessages(messages, "p", "void fx() {\n\t   x();\n}"),
              "p:2:6: error: 'x' is not supported\n"
              "    2 | \t   x();\n"
              "      | \t    ^\n"
              "p:3:1: error: y\n"
              "    3 | as it was\n");
}

} // namespace
} // namespace starloom
