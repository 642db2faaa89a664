// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The compute service with a compiler whose programs are words: each word is a kernel from the
// table below, or makes the compiler itself misbehave.
#include "compute/service/Run.h"
#include "tests/compute/service/HostileKernels.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <thread>
#include <unistd.h>

using namespace compute;
using platform::Error;
using platform::Result;

namespace {

volatile std::uint32_t sink = 0;

[[clang::noinline]] std::uint32_t recurse(std::uint32_t depth) {
    volatile std::uint32_t frame[256] = {depth};
    sink = sink + 1;
    if (sink == 0xFFFFFFFF)
        return 0;
    return recurse(depth + 1) + frame[0] + sink;
}

struct KernelEntry {
    const char* name;
    void (*run)(std::uint32_t* buffer, std::uint32_t threads);
};

constexpr KernelEntry table[] = {
    {"count",
     [](std::uint32_t* buffer, std::uint32_t threads) {
         for (std::uint32_t i = 0; i < threads; ++i)
             ++buffer[i];
     }},
    {"nap",
     [](std::uint32_t* buffer, std::uint32_t) {
         std::this_thread::sleep_for(std::chrono::milliseconds(300));
         ++buffer[0];
     }},
    {"hang",
     [](std::uint32_t*, std::uint32_t) {
         while (true)
             sink = sink + 1;
     }},
    {"stall",
     [](std::uint32_t*, std::uint32_t) {
         while (true)
             std::this_thread::sleep_for(std::chrono::seconds(1));
     }},
    {"hide",
     [](std::uint32_t*, std::uint32_t) {
         // Of work on a thread of its own, which nobody knows of.
         std::thread([] {
             while (true)
                 sink = sink + 1;
         }).join();
     }},
    {"fault-if",
     [](std::uint32_t* buffer, std::uint32_t threads) {
         if (buffer[threads - 1] != 0)
             *reinterpret_cast<volatile int*>(64) = 1;
         ++buffer[0];
     }},
    // The farthest that a 32-bit index into vectors of four floats goes, in both directions.
    {"wild-up",
     [](std::uint32_t* buffer, std::uint32_t) { buffer[(std::uint64_t{1} << 34) - 4] = 1; }},
    {"wild-down",
     [](std::uint32_t* buffer, std::uint32_t) { *(buffer - (std::int64_t{1} << 33)) = 1; }},
    {"say-nothing", [](std::uint32_t*, std::uint32_t) { ::close(STDERR_FILENO); }},
    {"say-too-much",
     [](std::uint32_t*, std::uint32_t) {
         for (int i = 0; i < 5000; ++i)
             std::fputs("\x1b]0;owned\x07 kernel \x9b"
                        "1m \xc2\x9b"
                        "2J\r\n",
                        stderr);
     }},
    {"slow-build", [](std::uint32_t*, std::uint32_t) {}},
    {"keep", [](std::uint32_t*, std::uint32_t) {}},
    {"keep-too-much", [](std::uint32_t*, std::uint32_t) {}},
    {"keep-and-die", [](std::uint32_t*, std::uint32_t) {}},
    {"quit-rebuild", [](std::uint32_t*, std::uint32_t) {}},
    {"null", [](std::uint32_t*, std::uint32_t) { *reinterpret_cast<volatile int*>(64) = 1; }},
    {"deep", [](std::uint32_t*, std::uint32_t) { sink = recurse(0); }},
    {"refused", [](std::uint32_t*, std::uint32_t) { ::raise(SIGILL); }},
    {"killed", [](std::uint32_t*, std::uint32_t) { ::_Exit(3); }},
};

class FakeKernel final : public Kernel {
public:
    explicit FakeKernel(test::HostileKernel run)
        : Kernel({.name = {},
                  .parameters = {{.name = "data", .kind = ParameterKind::Buffer}},
                  .fingerprint = {},
                  .optimiserMilliseconds = 1,
                  .codeGenerationMilliseconds = 2}),
          m_run(run) {}

    void run(const Bindings& bindings, Extent threads, Extent, std::uint32_t,
             std::uint32_t) const override {
        m_run(reinterpret_cast<std::uint32_t*>(bindings.buffers[0]), threads.width);
    }

private:
    test::HostileKernel m_run;
};

/// Kernels that bring the compiler down or hold it up, but not at once: what is compiled beside
/// them has begun by then.
void misbehave(std::string_view function) {
    using namespace std::chrono_literals;
    if (function == "slow-build")
        std::this_thread::sleep_for(400ms);
    if (function == "hang-build")
        while (true)
            sink = sink + 1;
    if (function == "stall-build")
        while (true)
            std::this_thread::sleep_for(1s);
    if (function == "crash-build" || function == "quit-build")
        std::this_thread::sleep_for(100ms);
    if (function == "crash-build")
        std::abort();
    if (function == "quit-build")
        ::_Exit(3);
}

/// A driver that makes something of these kernels and cannot run the ones that it knows already:
/// the error says how it got to know them.
Result<void> keep(std::string_view function, KeptCode* kept) {
    constexpr Fingerprint shader{1, 2};
    if (kept == nullptr)
        return Error{"there is nothing to keep it in"};
    const auto known = kept->load(shader);
    if (function == "keep-and-die" && !known.empty())
        std::abort();
    const std::size_t length = function == "keep-too-much" ? std::size_t{5} << 20 : 1000;
    kept->store(shader, std::vector<std::byte>(length, std::byte{42}));
    if (!known.empty() && function != "keep-and-die")
        return Error{"known by " + std::to_string(known.size()) + " bytes of " +
                     std::to_string(std::to_integer<int>(known.back()))};
    return {};
}

/// The processor, as if a driver were needed for it.
class DrivenDevice final : public HostDevice {
public:
    std::string driverKey() const override {
        const char* key = std::getenv("SL42_TEST_DRIVER");
        return key != nullptr ? key : "";
    }
};

class FakeLibrary final : public service::Library {
public:
    /// `number` counts those that this service has compiled, from 1.
    FakeLibrary(std::vector<std::string> names, unsigned number)
        : m_names(std::move(names)),
          m_isFirst(number == 1),
          m_warnings("compiled as number " + std::to_string(number)) {}

    std::vector<protocol::Kernel> kernels() const override {
        std::vector<protocol::Kernel> kernels;
        kernels.reserve(m_names.size());
        for (const std::string& name : m_names)
            kernels.push_back({name, {}, {}});
        return kernels;
    }
    const std::string& warnings() const override { return m_warnings; }
    protocol::ConstantDeclarations constants() const override { return {}; }
    Result<std::shared_ptr<const Kernel>> build(std::string_view function, const ConstantValues&,
                                                const std::stop_token&,
                                                std::shared_ptr<KeptCode> kept) const override {
        misbehave(function);
        if (function.starts_with("keep"))
            SL42_TRY_VOID(keep(function, kept.get()));
        if (function == "quit-rebuild" && m_isFirst)
            ::_Exit(3);
        if (function == "outside-build")
            return Error{"this kernel reaches outside: of its buffers"};
        const auto* found = std::ranges::find_if(
            table, [&](const KernelEntry& entry) { return function == entry.name; });
        const auto run = found != std::end(table) ? found->run : test::findHostileKernel(function);
        if (run == nullptr)
            return Error{"cannot build " + std::string(function)};
        return std::shared_ptr<const Kernel>(std::make_shared<FakeKernel>(run));
    }

private:
    std::vector<std::string> m_names;
    bool m_isFirst;
    std::string m_warnings;
};

class FakeCompiler final : public service::Compiler {
public:
    void warmUp() override {}
    Device& device() override { return m_device; }
    Result<std::shared_ptr<const service::Library>> compile(std::string_view source,
                                                            const std::stop_token&) override {
        std::istringstream words{std::string(source)};
        std::vector<std::string> names;
        for (std::string word; words >> word;) {
            if (word == "error")
                return Error{std::string(source.size(), 'x')};
            if (word == "crash-compiler")
                std::abort();
            if (word == "overflow-compiler")
                sink = recurse(0);
            if (names.size() < 8)
                names.push_back(word);
        }
        return std::shared_ptr<const service::Library>(
            std::make_shared<FakeLibrary>(std::move(names), ++m_compiled));
    }

private:
    DrivenDevice m_device;
    std::atomic<unsigned> m_compiled = 0;
};

} // namespace

int main(int argumentCount, char** arguments) {
    FakeCompiler compiler;
    return service::run(argumentCount, arguments, compiler);
}
