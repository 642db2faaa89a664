// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// on_processor_level LEVEL PROGRAM: runs a program that was compiled for a level of x86-64
// processors. Ends with 77 instead where the processor is below that level; not even the
// constructors of the program would run there.
#include <unistd.h>

#include <cstdio>
#include <string_view>

static bool processorHas(std::string_view level) {
    __builtin_cpu_init();
    if (level == "x86-64-v2")
        return __builtin_cpu_supports("x86-64-v2");
    if (level == "x86-64-v3")
        return __builtin_cpu_supports("x86-64-v3");
    return level == "x86-64-v4" && __builtin_cpu_supports("x86-64-v4");
}

int main(int count, char** arguments) {
    if (count < 3)
        return 1;
    if (!processorHas(arguments[1])) {
        std::printf("This processor is below %s\n", arguments[1]);
        return 77;
    }
    execv(arguments[2], arguments + 2);
    std::perror(arguments[2]);
    return 1;
}
