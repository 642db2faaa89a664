// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Developers' tool: how many frames a second a device draws, as the console has it draw them, with
// one frame in flight or several. SL42_DEVICE names the device.
//
//     starloom-frame-bench [--frames N] [--size WxH] [--depth N] FILE...
//     starloom-frame-bench [--frames N] --kernel NAME --json
//     starloom-frame-bench --serve NAME
//
// The kernels of a file run in their order, in a command buffer of their own each; buffer 0 is a
// private one of 64 MB, buffer 1 { float seconds; uint number; }. The second and third form take
// kernels of this folder and answer a harness that compares devices (Harness.h).
#include "bench/DeviceSubject.h"
#include "gpu/Device.h"
#include "gpu/Library.h"
#include "gpu/WaitFor.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <span>
#include <sstream>
#include <string_view>
#include <vector>

namespace {

struct Options {
    unsigned frames = 300;
    unsigned depth = 3;
    gpu::Extent size = {960, 540, 1};
    std::string kernel;
    bool serves = false;
    std::vector<const char*> files;
};

[[noreturn]] void fail(const std::string& message) {
    std::cerr << "starloom-frame-bench: " << message << '\n';
    std::exit(2);
}

template <class Result>
auto orFail(Result result) {
    if (!result)
        fail(result.error().message);
    return std::move(*result);
}

std::string textOf(const char* path) {
    std::ifstream file(path);
    if (!file)
        fail(std::string(path) + " cannot be read");
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

using Pipelines = std::vector<std::shared_ptr<gpu::ComputePipelineState>>;

class FrameLoop {
public:
    FrameLoop(gpu::Device& device, Pipelines pipelines, gpu::Extent size)
        : m_queue(device.makeCommandQueue()),
          m_memory(device.makeBuffer(bench::memoryBytes, gpu::StorageMode::Private)),
          m_pipelines(std::move(pipelines)),
          m_size(size) {}

    /// Milliseconds of one.
    double run(unsigned frames, unsigned depth) {
        const auto start = std::chrono::steady_clock::now();
        std::vector<std::shared_ptr<gpu::CommandBuffer>> inFlight(depth);
        for (unsigned i = 0; i < frames; ++i) {
            auto& place = inFlight[i % depth];
            finish(place);
            place = commit(i);
        }
        for (const auto& one : inFlight)
            finish(one);
        const std::chrono::duration<double, std::milli> time =
            std::chrono::steady_clock::now() - start;
        return time.count() / frames;
    }

private:
    static void finish(const std::shared_ptr<gpu::CommandBuffer>& one) {
        if (!one)
            return;
        one->waitUntilCompleted();
        if (const auto error = one->error())
            fail(error->message);
    }

    /// The last of the frame's command buffers.
    std::shared_ptr<gpu::CommandBuffer> commit(std::uint32_t number) {
        const bench::Frame frame = bench::frameOf(number);
        std::shared_ptr<gpu::CommandBuffer> last;
        for (const auto& pipeline : m_pipelines) {
            last = m_queue->makeCommandBuffer();
            const auto encoder = last->makeComputeCommandEncoder();
            encoder->setComputePipelineState(pipeline);
            encoder->setBuffer(m_memory, 0, 0);
            encoder->setBytes(std::as_bytes(std::span(&frame, 1)), 1);
            encoder->dispatchThreads(m_size, {32, 1, 1});
            encoder->endEncoding();
            last->commit();
        }
        return last;
    }

    std::shared_ptr<gpu::CommandQueue> m_queue;
    std::shared_ptr<gpu::Buffer> m_memory;
    Pipelines m_pipelines;
    gpu::Extent m_size;
};

Options parse(std::span<char*> words) {
    Options options;
    for (std::size_t i = 1; i < words.size(); ++i) {
        const std::string_view word = words[i];
        const bool hasValue = i + 1 < words.size();
        if (word == "--frames" && hasValue)
            options.frames = static_cast<unsigned>(std::max(1, std::atoi(words[++i])));
        else if (word == "--depth" && hasValue)
            options.depth = static_cast<unsigned>(std::max(1, std::atoi(words[++i])));
        else if (word == "--size" && hasValue) {
            if (std::sscanf(words[++i], "%ux%u", &options.size.width, &options.size.height) != 2)
                fail("sizes are like 960x540");
        } else if ((word == "--kernel" || word == "--serve") && hasValue) {
            options.kernel = words[++i];
            options.serves = word == "--serve";
        } else if (word != "--json") // the only form there is for --kernel
            options.files.push_back(words[i]);
    }
    return options;
}

void answerHarness(const Options& options, gpu::Device& device) {
    const auto kernel = orFail(bench::BenchKernel::read(options.kernel));
    const double start = bench::now();
    bench::Harness harness(kernel, orFail(bench::makeDeviceSubject(kernel, device)), start);
    if (options.serves)
        harness.serve();
    else
        harness.print(options.frames);
}

} // namespace

int main(int argumentCount, char** arguments) {
    const Options options = parse({arguments, static_cast<std::size_t>(argumentCount)});
    const auto device = gpu::Device::systemDefault();
    if (!device)
        return 2;
    if (!options.kernel.empty()) {
        answerHarness(options, *device);
        return 0;
    }
    Pipelines pipelines;
    for (const char* file : options.files) {
        const auto library = orFail(gpu::waitForLibrary(*device, textOf(file)));
        for (const std::string& name : library->functionNames())
            pipelines.push_back(
                orFail(gpu::waitForPipeline(*device, orFail(library->makeFunction(name)))));
    }
    FrameLoop loop(*device, pipelines, options.size);
    loop.run(options.depth * 2, options.depth); // warm
    std::printf("%s: %.3f ms a frame of %zu command buffers, %u in flight\n",
                device->name().c_str(), loop.run(options.frames, options.depth), pipelines.size(),
                options.depth);
}
