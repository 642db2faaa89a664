// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/HostSubject.h"

#include "compute/memory/RegionAllocator.h"
#include "compute/metal/Frontend.h"

#include <ctime>

namespace bench {
namespace {

using namespace compute;

class HostSubject final : public Subject {
public:
    HostSubject(std::shared_ptr<Kernel> kernel, const BenchKernel& what)
        : m_kernel(std::move(kernel)), m_grid{what.width, what.height, 1}, m_memory(memoryBytes) {
        what.fill(m_memory);
    }

    std::string device() const override { return "host"; }
    void draw(const Frame& frame) override {
        m_frame[0] = frame;
        Bindings bindings;
        bindings.buffers[0] = m_memory.data();
        bindings.buffers[1] = reinterpret_cast<std::byte*>(m_frame.data());
        m_kernel->run(bindings, m_grid, {32, 1, 1});
    }
    std::span<const std::byte> memory() override { return m_memory; }
    double processorMilliseconds() const override {
        return 1000.0 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
    }

private:
    const std::shared_ptr<Kernel> m_kernel;
    const Extent m_grid;
    memory::RegionVector<std::byte> m_memory;
    memory::RegionVector<Frame> m_frame = memory::RegionVector<Frame>(1);
};

} // namespace

platform::Result<std::unique_ptr<Subject>> makeHostSubject(const BenchKernel& kernel,
                                                           const host::HostBackend& backend) {
    const auto program = metal::compile(kernel.text);
    if (!program)
        return program.error();
    return std::unique_ptr<Subject>(
        std::make_unique<HostSubject>(SL42_TRY(backend.build(*program, kernel.name)), kernel));
}

} // namespace bench
