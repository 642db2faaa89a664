// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/Frontend.h"

#include "compute/metal/Compilation.h"
#include "compute/metal/EmbeddedLibrary.h"

#include <optional>

namespace compute::metal {

std::size_t neededStackBytes() {
    return stackBytes;
}

platform::Result<kernel::Program> compileOnThisThread(std::string_view source,
                                                      const std::stop_token& stop) {
    return compile(source, embeddedLibrary(), stop);
}

platform::Result<kernel::Program> compile(std::string_view source, const std::stop_token& stop) {
    std::optional<platform::Result<kernel::Program>> result;
    runOnLargeStack([&] { result.emplace(compileOnThisThread(source, stop)); });
    return std::move(*result);
}

void warmUp() {
    // A text with a template, a kernel and an error touches everything that is set up lazily.
    (void)compile("#include <metal_stdlib>\n"
                  "using namespace metal;\n"
                  "kernel void warmUp(device float4* out [[buffer(0)]],\n"
                  "                   uint2 at [[thread_position_in_grid]]) {\n"
                  "    out[at.x] = float4(float2(at), 0, 1);\n"
                  "}\n");
    (void)compile("int missing() { return unknown; }\n");
}

} // namespace compute::metal
