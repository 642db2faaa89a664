// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/Harness.h"

#include <chrono>
#include <fstream>
#include <iostream>
#include <sstream>

namespace bench {
namespace {

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

double now() {
    return std::chrono::duration<double, std::milli>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

Harness::Harness(const BenchKernel& kernel, std::unique_ptr<Subject> subject, double start)
    : m_kernel(kernel), m_subject(std::move(subject)) {
    draw(1);
    m_firstMilliseconds = now() - start;
}

std::vector<double> Harness::draw(unsigned frames) {
    std::vector<double> times;
    for (unsigned i = 0; i < frames; ++i) {
        const double start = now();
        m_subject->draw(frameOf(m_drawn++));
        times.push_back(now() - start);
    }
    return times;
}

std::span<const std::byte> Harness::result() const {
    return m_subject->memory().subspan(m_kernel.resultBegin, m_kernel.resultBytes);
}

void Harness::serve() {
    std::cout << R"({"kernel":")" << m_kernel.name << R"(","device":")" << m_subject->device()
              << R"(","first_ms":)" << m_firstMilliseconds << "}" << std::endl;
    std::string verb;
    while (std::cin >> verb && verb != "quit") {
        std::string argument;
        std::cin >> argument;
        if (verb == "frames") {
            const double before = m_subject->processorMilliseconds();
            const std::string times = list(draw(static_cast<unsigned>(std::stoul(argument))));
            std::cout << R"({"ms":)" << times << R"(,"cpu_ms":)"
                      << m_subject->processorMilliseconds() - before << "}" << std::endl;
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
    std::cout << R"({"kernel":")" << m_kernel.name << R"(","ms":)" << list(times)
              << R"(,"first_ms":)" << m_firstMilliseconds << R"(,"peak_kb":)" << peakMemory() << "}"
              << std::endl;
}

} // namespace bench
