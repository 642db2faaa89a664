// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Build tool: starloom-precompile LIBRARY IDENTITY writes the precompiled standard library and,
// beside it, which compiler made it.
#include "compute/metal/Compilation.h"

#include <cstdio>
#include <fstream>

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: starloom-precompile LIBRARY IDENTITY\n");
        return 2;
    }
    auto library = compute::metal::precompileLibrary();
    if (!library) {
        std::fputs(library.error().message.c_str(), stderr);
        return 1;
    }
    std::ofstream data(argv[1], std::ios::binary);
    std::ofstream identity(argv[2], std::ios::binary);
    data << *library;
    identity << compute::metal::compilerIdentity();
    return data.flush() && identity.flush() ? 0 : 1;
}
