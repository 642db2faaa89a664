// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The kernels of the benchmarks give the same on a Vulkan device as on the host.
#include "compute/host/HostBackend.h"
#include "compute/memory/RegionAllocator.h"
#include "compute/metal/Frontend.h"
#include "compute/spirv/ShaderBackend.h"
#include "tests/compute/spirv/Programs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

using namespace compute;

struct Case {
    const char* file;
    Extent grid;
    bool isExact; ///< whole numbers
};

/// Smaller than in the benchmark, for a device that is the processor.
constexpr Extent picture{.width = 240, .height = 135};
constexpr Extent threads{.width = 4096};

class SameAsHost : public ::testing::TestWithParam<Case> {};

struct Frame {
    float seconds = 0.7F;
    std::uint32_t number = 42;
};

constexpr std::size_t resultBytes = 64U << 20; // as in the benchmark

kernel::Program programOf(const char* file) {
    const std::filesystem::path root = std::getenv("SL42_SOURCE_DIR");
    std::ostringstream text;
    text << std::ifstream(root / "bench" / (std::string(file) + ".metal")).rdbuf();
    auto program = metal::compile(text.str());
    if (!program)
        throw std::runtime_error(program.error().message);
    return *std::move(program);
}

/// Every byte of what the kernel may look at before it is written.
void fill(std::span<std::byte> bytes) {
    std::uint32_t state = 1;
    for (std::size_t i = 0; i < std::size_t{1} << 20; ++i)
        bytes[i] = static_cast<std::byte>((state = state * 1664525 + 1013904223) >> 24);
}

std::vector<std::byte> onHost(const kernel::Program& program, Extent grid) {
    static const host::HostBackend backend{*kernel::CompilerOptions::fromEnvironment()};
    static const bool isWarm = (backend.warmUp(), true);
    (void)isWarm;
    memory::RegionVector<std::byte> memory(resultBytes);
    fill(memory);
    memory::RegionVector<Frame> frame(1);
    Bindings bindings;
    bindings.buffers[0] = memory.data();
    bindings.buffers[1] = reinterpret_cast<std::byte*>(frame.data());
    auto kernel = backend.build(program, program.kernels.front().name, {});
    if (!kernel)
        throw std::runtime_error(kernel.error().message);
    (*kernel)->run(bindings, grid, {.width = 32});
    return {memory.begin(), memory.end()};
}

std::vector<std::byte> onDevice(const kernel::Program& program, Extent grid) {
    tests::ShaderRunner& runner = tests::device();
    runner.reset();
    const auto memory = runner.allocate(resultBytes);
    fill(memory.bytes);
    const auto frame = runner.allocate(sizeof(Frame));
    const Frame values;
    std::memcpy(frame.bytes.data(), &values, sizeof values);
    tests::ShaderRunner::Arguments arguments;
    arguments.bindings[0] = memory.record();
    arguments.bindings[1] = frame.record();
    arguments.memory = {memory.record(), frame.record()};
    const auto kernel =
        spirv::translate(program, program.kernels.front().name, {}, runner.features(),
                         *kernel::CompilerOptions::fromEnvironment());
    if (!kernel)
        throw std::runtime_error(kernel.error().message);
    const auto done = runner.run(kernel->shader, arguments, grid, {.width = 32});
    if (!done)
        throw std::runtime_error(done.error().message);
    return {memory.bytes.begin(), memory.bytes.end()};
}

TEST_P(SameAsHost, InEveryPixel) {
    const kernel::Program program = programOf(GetParam().file);
    const auto host = onHost(program, GetParam().grid);
    const auto device = onDevice(program, GetParam().grid);
    std::size_t different = 0;
    std::size_t far = 0;
    for (std::size_t at = 0; at < host.size(); at += 4) {
        std::uint32_t a = 0;
        std::uint32_t b = 0;
        std::memcpy(&a, &host[at], 4);
        std::memcpy(&b, &device[at], 4);
        different += a != b ? 1 : 0;
        const float x = std::bit_cast<float>(a);
        const float y = std::bit_cast<float>(b);
        constexpr float step = 1.0F / 255;
        far += a != b && !(std::abs(x - y) <= step) ? 1 : 0;
    }
    if (GetParam().isExact)
        EXPECT_EQ(different, 0U);
    // Edges of shapes fall between pixels; one rounding decides on which side.
    const std::size_t pixels = std::size_t{GetParam().grid.width} * GetParam().grid.height;
    EXPECT_LE(far, pixels / 1000) << "of " << different << " that differ at all";
}

INSTANTIATE_TEST_SUITE_P(
    Benchmarks, SameAsHost,
    ::testing::Values(Case{"k1_plasma", picture, false}, Case{"k2_shapes", picture, false},
                      Case{"k3_raymarch", picture, false}, Case{"k4_mandelbrot", picture, false},
                      Case{"k5_noise", picture, false}, Case{"k6_cells", picture, false},
                      Case{"k7_memory", threads, true}, Case{"k8_synth", threads, false},
                      Case{"k9_pointers", threads, true}),
    [](const auto& info) { return std::string(info.param.file); });

} // namespace
