// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Developers' tool: how long the kernels in some files take to compile and to run on the processor.
//
//     starloom-kernel-bench [--frames N] [--grid WxHxD] [--threadgroup WxHxD] [--limit SECONDS]
//                           [--words INDEX=N,N,...]... FILE...
//     starloom-kernel-bench [--frames N] --kernel NAME --json
//     starloom-kernel-bench --serve NAME
//
// Every kernel gets a result buffer of 64 MB at index 0 and { float seconds; uint number; } at
// index 1; its other buffers hold 16 MB of zeros, or begin with the given words. What a kernel
// reads as a size there may keep it busy for ever, hence the limit, on all frames of a kernel
// together. Times are medians; "work" is processor time, for frames divided by the cores, which
// other programs disturb less. The second and third form take kernels of this folder and answer a
// harness that compares devices (Harness.h).
#include "bench/Arguments.h"
#include "bench/HostSubject.h"
#include "compute/host/HostBackend.h"
#include "compute/metal/Frontend.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <future>
#include <memory>
#include <optional>
#include <sstream>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using namespace compute;

struct Options {
    unsigned frames = 20;
    std::optional<Extent> grid; ///< as suits the kernel
    Extent threadgroup = {32, 1, 1};
    unsigned limitSeconds = 60;
    bench::Words words;
    std::string kernel;
    bool serves = false;
    std::vector<const char*> files;
};

/// As large as those of this folder's kernels (BenchKernel.h).
Extent gridOf(const kernel::KernelDeclaration& declaration) {
    for (const Parameter& parameter : declaration.parameters)
        if (parameter.kind == ParameterKind::ThreadPositionInGrid && parameter.components > 1)
            return {960, 540, 1};
    return {declaration.name.ends_with("synth") ? 768'000u : 4096u, 1, 1};
}

/// Ends the process when it lives for longer. Nothing else stops a kernel that does not end.
class TimeLimit {
public:
    explicit TimeLimit(unsigned seconds)
        : m_watch([done = m_done.get_future(), seconds] {
              if (done.wait_for(std::chrono::seconds(seconds)) == std::future_status::ready)
                  return;
              std::fputs("the kernel takes too long; see --limit, --grid and --words\n", stderr);
              std::_Exit(1);
          }) {}
    TimeLimit(const TimeLimit&) = delete;
    ~TimeLimit() { m_done.set_value(); }

private:
    std::promise<void> m_done;
    std::jthread m_watch;
};

[[noreturn]] void fail(const std::string& message) {
    std::fprintf(stderr, "starloom-kernel-bench: %s\n", message.c_str());
    std::exit(2);
}

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

/// Milliseconds of one frame.
struct FrameTimes {
    double typical; ///< the median
    double shortest;
    double work; ///< of the processor, divided by its cores: other programs do not show
};

double workMilliseconds(unsigned cores) {
    return 1000.0 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC / cores;
}

FrameTimes runFrames(const Kernel& compiled, Extent grid, const Options& options) {
    std::vector<double> times;
    bench::Arguments arguments(compiled.description().parameters, options.words);
    const TimeLimit limit(options.limitSeconds);
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    const double before = workMilliseconds(cores);
    for (unsigned number = 0; number < options.frames; ++number) {
        const Bindings& bindings = arguments.forFrame(
            {.seconds = static_cast<float>(number % 16) / 60, .number = number % 16});
        times.push_back(millisecondsOf([&] { compiled.run(bindings, grid, options.threadgroup); }));
    }
    const double work = (workMilliseconds(cores) - before) / options.frames;
    return {.typical = median(times), .shortest = std::ranges::min(times), .work = work};
}

bool measure(const kernel::Program& program, const kernel::KernelDeclaration& declaration,
             const Options& options, const host::HostBackend& backend) {
    std::vector<double> optimiser;
    std::vector<double> generation;
    std::vector<double> work;
    std::shared_ptr<Kernel> compiled;
    for (int i = 0; i < 9; ++i) {
        const double before = workMilliseconds(1);
        auto made = backend.build(program, declaration.name, {}, i == 0 ? backend.dump() : nullptr);
        if (!made) {
            std::fprintf(stderr, "%s\n", made.error().message.c_str());
            return false;
        }
        compiled = *made;
        work.push_back(workMilliseconds(1) - before);
        optimiser.push_back(compiled->description().optimiserMilliseconds);
        generation.push_back(compiled->description().codeGenerationMilliseconds);
    }
    std::printf("%-16s optimiser %7.2f ms  code generation %7.2f ms  work %7.2f ms",
                declaration.name.c_str(), median(optimiser), median(generation), median(work));
    std::fflush(stdout);
    if (options.frames > 0) {
        const Extent grid = options.grid.value_or(gridOf(declaration));
        const FrameTimes times = runFrames(*compiled, grid, options);
        std::printf("  frame %8.2f ms  shortest %8.2f ms  work %8.2f ms", times.typical,
                    times.shortest, times.work);
    }
    std::printf("\n");
    return true;
}

bool measureFile(const char* path, const Options& options, const host::HostBackend& backend) {
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
        return measure(*program, declaration, options, backend);
    });
}

/// Parts that are not there are 1.
Extent parseExtent(const char* text) {
    Extent extent;
    if (std::sscanf(text, "%ux%ux%u", &extent.width, &extent.height, &extent.depth) < 1 ||
        extent.width * extent.height * extent.depth == 0)
        fail(std::string("not a size: ") + text);
    return extent;
}

void parseWords(const std::string& text, bench::Words& words) {
    std::istringstream stream(text);
    std::uint32_t index = 0;
    char sign = 0;
    if (!(stream >> index >> sign) || sign != '=')
        fail("not INDEX=N,N,...: " + text);
    for (std::string word; std::getline(stream, word, ',');)
        words[index].push_back(static_cast<std::uint32_t>(std::stoul(word, nullptr, 0)));
}

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view name = argv[i];
        const bool hasValue = i + 1 < argc;
        if (name == "--frames" && hasValue) {
            options.frames = static_cast<unsigned>(std::atoi(argv[++i]));
        } else if (name == "--grid" && hasValue) {
            options.grid = parseExtent(argv[++i]);
        } else if (name == "--threadgroup" && hasValue) {
            options.threadgroup = parseExtent(argv[++i]);
        } else if (name == "--words" && hasValue) {
            parseWords(argv[++i], options.words);
        } else if (name == "--limit" && hasValue) {
            options.limitSeconds = static_cast<unsigned>(std::atoi(argv[++i]));
        } else if (name == "--kernel" && hasValue) {
            options.kernel = argv[++i];
        } else if (name == "--serve" && hasValue) {
            options.kernel = argv[++i];
            options.serves = true;
        } else if (name != "--json") { // the only form there is for --kernel
            options.files.push_back(argv[i]);
        }
    }
    return options;
}

platform::Result<void> answerHarness(const Options& options, const host::HostBackend& backend) {
    const auto kernel = SL42_TRY(bench::BenchKernel::read(options.kernel));
    const double start = bench::now();
    bench::Harness harness(kernel, SL42_TRY(bench::makeHostSubject(kernel, backend)), start);
    if (options.serves)
        harness.serve();
    else
        harness.print(options.frames);
    return {};
}

int measureFiles(const Options& options, const host::HostBackend& backend) {
    for (const char* file : options.files)
        if (!measureFile(file, options, backend))
            return 1;
    return 0;
}

platform::Result<std::unique_ptr<host::HostBackend>> makeBackend() {
    auto backend =
        std::make_unique<host::HostBackend>(SL42_TRY(kernel::CompilerOptions::fromEnvironment()));
    SL42_TRY_VOID(backend->openDump());
    metal::warmUp();
    backend->warmUp();
    return backend;
}

} // namespace

int main(int argc, char** argv) {
    const Options options = parse(argc, argv);
    const auto backend = makeBackend();
    if (!backend) {
        std::fprintf(stderr, "%s\n", backend.error().message.c_str());
        return 1;
    }
    if (options.kernel.empty())
        return measureFiles(options, **backend);
    const auto answered = answerHarness(options, **backend);
    if (!answered)
        std::fprintf(stderr, "%s\n", answered.error().message.c_str());
    return answered ? 0 : 1;
}
