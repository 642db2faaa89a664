// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Developers' tool: how long the kernels in some files take to compile and to run on the processor.
//
//     starloom-kernel-bench [--frames N] FILE...
//
// Every kernel gets a result buffer of 64 MB at index 0 and { float seconds; uint number; } at
// index 1. Its grid follows from its thread position: 960 x 540 when that has two components,
// else 768,000 threads where the name ends in "synth" and 4096 otherwise. Times are medians; "work"
// is processor time, for frames divided by the cores, which other programs disturb less.
#include "compute/host/HostKernel.h"
#include "compute/kernel/Dump.h"
#include "compute/metal/Frontend.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <optional>
#include <sstream>
#include <thread>
#include <vector>

namespace {

using namespace compute;

struct Frame {
    float seconds;
    std::uint32_t number;
};

template <class Work>
double millisecondsOf(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

host::Extent gridOf(const kernel::KernelDeclaration& declaration) {
    for (const kernel::Parameter& parameter : declaration.parameters)
        if (parameter.kind == kernel::ParameterKind::ThreadPositionInGrid &&
            parameter.components > 1)
            return {960, 540, 1};
    return {declaration.name.ends_with("synth") ? 768'000u : 4096u, 1, 1};
}

/// Milliseconds of one frame.
struct FrameTimes {
    double typical; ///< the median
    double shortest;
    double work; ///< of the processor, divided by its cores: other programs do not show
};

double workMilliseconds(unsigned cores) {
    return 1000.0 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC / cores;
}

FrameTimes runFrames(const host::HostKernel& compiled, host::Extent grid, unsigned frames,
                     std::vector<std::byte>& memory) {
    std::vector<double> times;
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    const double before = workMilliseconds(cores);
    for (unsigned number = 0; number < frames; ++number) {
        Frame frame{.seconds = static_cast<float>(number % 16) / 60, .number = number % 16};
        host::Bindings bindings;
        bindings.buffers[0] = memory.data();
        bindings.buffers[1] = reinterpret_cast<std::byte*>(&frame);
        times.push_back(millisecondsOf([&] { compiled.run(bindings, grid, {32, 1, 1}); }));
    }
    const double work = (workMilliseconds(cores) - before) / frames;
    return {.typical = median(times), .shortest = std::ranges::min(times), .work = work};
}

bool measure(const kernel::Program& program, const kernel::KernelDeclaration& declaration,
             unsigned frames, const kernel::Dump* dump) {
    std::vector<double> optimiser;
    std::vector<double> generation;
    std::vector<double> work;
    std::shared_ptr<host::HostKernel> compiled;
    for (int i = 0; i < 9; ++i) {
        const double before = workMilliseconds(1);
        auto canonical =
            kernel::canonicalise(program, declaration.name, {}, i == 0 ? dump : nullptr);
        if (!canonical) {
            std::fprintf(stderr, "%s\n", canonical.error().message.c_str());
            return false;
        }
        auto made = host::generate(std::move(*canonical), i == 0 ? dump : nullptr);
        if (!made) {
            std::fprintf(stderr, "%s\n", made.error().message.c_str());
            return false;
        }
        compiled = *made;
        work.push_back(workMilliseconds(1) - before);
        optimiser.push_back(compiled->optimiserMilliseconds());
        generation.push_back(compiled->codeGenerationMilliseconds());
    }
    std::vector<std::byte> memory(64u << 20);
    std::printf("%-16s optimiser %7.2f ms  code generation %7.2f ms  work %7.2f ms",
                declaration.name.c_str(), median(optimiser), median(generation), median(work));
    if (frames > 0) {
        const FrameTimes times = runFrames(*compiled, gridOf(declaration), frames, memory);
        std::printf("  frame %8.2f ms  shortest %8.2f ms  work %8.2f ms", times.typical,
                    times.shortest, times.work);
    }
    std::printf("\n");
    return true;
}

bool measureFile(const char* path, unsigned frames, const kernel::Dump* dump) {
    std::ifstream file(path);
    std::stringstream source;
    source << file.rdbuf();
    if (!file) {
        std::fprintf(stderr, "cannot read %s\n", path);
        return false;
    }
    auto program = metal::compile(source.str());
    if (!program) {
        std::fprintf(stderr, "%s\n", program.error().message.c_str());
        return false;
    }
    return std::ranges::all_of(program->kernels, [&](const kernel::KernelDeclaration& declaration) {
        return measure(*program, declaration, frames, dump);
    });
}

} // namespace

int main(int argc, char** argv) {
    int first = 1;
    unsigned frames = 20;
    if (argc > 2 && std::strcmp(argv[1], "--frames") == 0) {
        frames = static_cast<unsigned>(std::atoi(argv[2]));
        first = 3;
    }
    metal::warmUp();
    host::warmUp();
    std::optional<kernel::Dump> dump;
    if (const char* folder = std::getenv("SL42_DUMP")) {
        auto made = kernel::Dump::create(folder);
        if (!made) {
            std::fprintf(stderr, "%s\n", made.error().message.c_str());
            return 1;
        }
        dump.emplace(std::move(*made));
    }
    for (int i = first; i < argc; ++i)
        if (!measureFile(argv[i], frames, dump ? &*dump : nullptr))
            return 1;
    return 0;
}
