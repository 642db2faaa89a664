// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Backend.h"

#include "compute/host/HostBackend.h"
#include "compute/memory/GuardedMemory.h"
#include "compute/memory/RegionAllocator.h"
#include "compute/spirv/ShaderBackend.h"
#include "compute/spirv/Validation.h"
#include "compute/vulkan/VulkanDevice.h"
#include "platform/base/Fatal.h"

#include <algorithm>
#include <cstring>

namespace fuzz {
namespace {

using namespace compute;
using platform::Result;

constexpr const char* kernelName = "fuzz";

template <class T>
T orFatal(Result<T> result) {
    if (!result)
        platform::fatalError(result.error().message);
    return *std::move(result);
}

class Processor final : public Backend {
public:
    explicit Processor(kernel::CompilerOptions options) : m_backend(std::move(options)) {
        m_backend.warmUp();
    }

    Result<std::shared_ptr<Kernel>> build(const kernel::Program& program) const override {
        return std::shared_ptr<Kernel>(SL42_TRY(m_backend.build(program, kernelName)));
    }

    Result<void> run(const Kernel& kernel, const Workspace& workspace, Extent grid,
                     Extent group) const override {
        memory::RegionVector<TextureView> texture{workspace.texture};
        texture[0].levels[0].pixels = workspace.texels.data();
        Bindings bindings;
        for (const auto& [index, bytes] : workspace.buffers)
            bindings.buffers[index] = bytes.data();
        bindings.textures[0] = texture.data();
        kernel.run(bindings, grid, group);
        return {};
    }

private:
    host::HostBackend m_backend;
};

/// What the validation layer says of a program counts as a crash.
void complain(const char* message) {
    platform::fatalError(message);
}

class Graphics final : public Backend {
public:
    explicit Graphics(kernel::CompilerOptions options)
        : m_options(std::move(options)),
          m_device(orFatal(vulkan::VulkanDevice::create("vulkan:llvmpipe",
                                                        vulkan::optionsOfEnvironment(complain)))) {}

    Result<std::shared_ptr<Kernel>> build(const kernel::Program& program) const override {
        auto made = SL42_TRY(spirv::translate(program, kernelName, {},
                                              m_device->logical().physical().features, m_options));
        SL42_TRY_VOID(spirv::validate(made.shader.words));
        KernelDescription description;
        description.name = kernelName;
        description.parameters = std::move(made.parameters);
        description.worksInGroups = made.shader.runsInGroups;
        return m_device->makeKernel(std::move(description), made.shader, nullptr);
    }

    Result<void> run(const Kernel& kernel, const Workspace& workspace, Extent grid,
                     Extent group) const override {
        std::vector<Memory> used;
        const auto place = [&](std::span<const std::byte> bytes) -> Result<std::byte*> {
            auto memory =
                SL42_TRY(memory::GuardedMemory::allocate(std::max<std::size_t>(bytes.size(), 1)));
            used.push_back(SL42_TRY(m_device->adopt(std::move(memory))));
            std::ranges::copy(bytes, used.back()->data());
            return used.back()->data();
        };
        Bindings bindings;
        for (const auto& [index, bytes] : workspace.buffers)
            bindings.buffers[index] = SL42_TRY(place(bytes));
        TextureView texture = workspace.texture;
        texture.levels[0].pixels = SL42_TRY(place(workspace.texels));
        texture = viewFor(*m_device, texture);
        bindings.textures[0] = reinterpret_cast<const TextureView*>(
            SL42_TRY(place(std::as_bytes(std::span(&texture, 1)))));
        m_device->begin(1, used);
        kernel.run(bindings, grid, group);
        const Ticket ticket = SL42_TRY(m_device->submit());
        SL42_TRY_VOID(m_device->wait(ticket));
        for (const auto& [index, bytes] : workspace.buffers)
            std::memcpy(bytes.data(), bindings.buffers[index], bytes.size());
        return {};
    }

private:
    const kernel::CompilerOptions m_options;
    const std::shared_ptr<vulkan::VulkanDevice> m_device;
};

} // namespace

std::shared_ptr<const Backend> makeBackend(unsigned width) {
    auto options = orFatal(kernel::CompilerOptions::fromEnvironment());
    if (width == onVulkan)
        return std::make_shared<Graphics>(std::move(options));
    options.lanes = width;
    return std::make_shared<Processor>(std::move(options));
}

} // namespace fuzz
