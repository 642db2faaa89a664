// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/EmbeddedLibrary.h"

// Clang reads the precompiled library in place, as words of up to 8 bytes.
__asm__(".section .rodata\n"
        ".balign 16\n"
        "sl42_library_data:\n.incbin \"" SL42_LIBRARY ".pch\"\n"
        "sl42_library_data_end:\n.byte 0\n"
        "sl42_library_compiler:\n.incbin \"" SL42_LIBRARY ".compiler\"\n"
        "sl42_library_compiler_end:\n"
        ".text\n");

extern "C" {
extern const char sl42_library_data[];
extern const char sl42_library_data_end[];
extern const char sl42_library_compiler[];
extern const char sl42_library_compiler_end[];
}

namespace compute::metal {

const Library& embeddedLibrary() {
    static const Library library = makeLibrary(
        {sl42_library_data, std::size_t(sl42_library_data_end - sl42_library_data)},
        {sl42_library_compiler, std::size_t(sl42_library_compiler_end - sl42_library_compiler)});
    return library;
}

} // namespace compute::metal
