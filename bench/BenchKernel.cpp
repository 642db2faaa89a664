// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/BenchKernel.h"

#include <cstring>
#include <fstream>
#include <sstream>

namespace bench {

platform::Result<BenchKernel> BenchKernel::read(const std::string& name) {
    const std::string path = SL42_BENCH_FOLDER "/" + name + ".metal";
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    if (!file)
        return platform::Error{"cannot read " + path};
    BenchKernel kernel{.name = name, .text = text.str()};
    if (name.ends_with("synth")) {
        kernel.width = 768'000;
        kernel.resultBytes = std::size_t{kernel.width} * 8;
    } else if (name.ends_with("memory") || name.ends_with("pointers")) {
        kernel.width = 4096;
        kernel.resultBegin = memoryBytes / 2;
        kernel.resultBytes = memoryBytes / 2;
    } else {
        kernel.width = 960;
        kernel.height = 540;
        kernel.resultBytes = std::size_t{kernel.width} * kernel.height * 16;
    }
    return kernel;
}

void BenchKernel::fill(std::span<std::byte> memory) const {
    for (std::uint32_t i = 0; i < resultBegin / 4; ++i) {
        const std::uint32_t scattered = i * 0x9E3779B1u;
        const std::uint32_t word = scattered ^ scattered >> 15;
        std::memcpy(&memory[std::size_t{4} * i], &word, 4);
    }
}

} // namespace bench
