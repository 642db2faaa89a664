// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/Harness.h"

#include "compute/metal/Frontend.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <sstream>

namespace bench {
namespace {

using namespace compute;

constexpr std::size_t memoryBytes = 64u << 20;

double now() {
    return std::chrono::duration<double, std::milli>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

double processorMilliseconds() {
    return 1000.0 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

/// The lower half, which threads share, looks random; the upper half is theirs.
void fill(std::span<std::byte> memory) {
    for (std::uint32_t i = 0; i < memory.size() / 2 / 4; ++i) {
        const std::uint32_t scattered = i * 0x9E3779B1u;
        const std::uint32_t word = scattered ^ scattered >> 15;
        std::memcpy(&memory[std::size_t{4} * i], &word, 4);
    }
}

std::string peakMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmHWM:"))
            return std::to_string(std::stol(line.substr(6)));
    return "0";
}

std::string list(const std::vector<double>& times) {
    std::ostringstream text;
    for (const double time : times)
        text << (text.tellp() > 0 ? "," : "") << time;
    return "[" + text.str() + "]";
}

} // namespace

Extent gridOf(const kernel::KernelDeclaration& declaration) {
    for (const Parameter& parameter : declaration.parameters)
        if (parameter.kind == ParameterKind::ThreadPositionInGrid && parameter.components > 1)
            return {960, 540, 1};
    return {declaration.name.ends_with("synth") ? 768'000u : 4096u, 1, 1};
}

platform::Result<Harness> Harness::create(const std::string& name,
                                          const compute::host::HostBackend& backend) {
    const std::string path = SL42_BENCH_FOLDER "/" + name + ".metal";
    std::ifstream file(path);
    std::stringstream source;
    source << file.rdbuf();
    if (!file)
        return platform::Error{"cannot read " + path};
    Harness harness;
    harness.m_name = name;
    harness.m_memory.resize(memoryBytes);

    const double start = now();
    auto program = metal::compile(source.str());
    if (!program)
        return program.error();
    const auto declaration =
        std::ranges::find(program->kernels, name, &kernel::KernelDeclaration::name);
    if (declaration == program->kernels.end())
        return platform::Error{path + " has no kernel " + name};
    harness.m_grid = gridOf(*declaration);
    const bool isSound = harness.m_grid.width == 768'000;
    if (harness.m_grid.height == 1 && !isSound) {
        harness.m_resultBegin = memoryBytes / 2;
        harness.m_resultBytes = memoryBytes / 2;
        fill(harness.m_memory);
    } else {
        harness.m_resultBytes =
            std::size_t{harness.m_grid.width} * harness.m_grid.height * (isSound ? 8 : 16);
    }
    harness.m_kernel = SL42_TRY(backend.build(*program, name));
    harness.draw(1);
    harness.m_firstMilliseconds = now() - start;
    return harness;
}

std::vector<double> Harness::draw(unsigned frames) {
    std::vector<double> times;
    for (unsigned i = 0; i < frames; ++i, ++m_drawn) {
        m_frame[0] = {.seconds = static_cast<float>(m_drawn % 16) / 60, .number = m_drawn};
        Bindings bindings;
        bindings.buffers[0] = m_memory.data();
        bindings.buffers[1] = reinterpret_cast<std::byte*>(m_frame.data());
        const double start = now();
        m_kernel->run(bindings, m_grid, {32, 1, 1});
        times.push_back(now() - start);
    }
    return times;
}

std::span<const std::byte> Harness::result() const {
    return std::span(m_memory).subspan(m_resultBegin, m_resultBytes);
}

void Harness::serve() {
    std::cout << R"({"kernel":")" << m_name << R"(","device":"host","first_ms":)"
              << m_firstMilliseconds << "}" << std::endl;
    std::string verb;
    while (std::cin >> verb && verb != "quit") {
        std::string argument;
        std::cin >> argument;
        if (verb == "frames") {
            const double before = processorMilliseconds();
            const std::string times = list(draw(static_cast<unsigned>(std::stoul(argument))));
            std::cout << R"({"ms":)" << times << R"(,"cpu_ms":)" << processorMilliseconds() - before
                      << "}" << std::endl;
        } else if (verb == "dump") {
            std::ofstream(argument, std::ios::binary)
                .write(reinterpret_cast<const char*>(result().data()),
                       static_cast<std::streamsize>(result().size()));
            std::cout << R"({"frames_drawn":)" << m_drawn << "}" << std::endl;
        } else {
            break;
        }
    }
    std::cout << R"({"peak_kb":)" << peakMemory() << "}" << std::endl;
}

void Harness::print(unsigned frames) {
    constexpr unsigned warmUpFrames = 8;
    draw(warmUpFrames);
    const std::vector<double> times = draw(frames);
    std::cout << R"({"kernel":")" << m_name << R"(","ms":)" << list(times) << R"(,"first_ms":)"
              << m_firstMilliseconds << R"(,"peak_kb":)" << peakMemory() << "}" << std::endl;
}

} // namespace bench
