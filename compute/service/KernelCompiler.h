// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The compiler of the service proper: front end, kernel pipeline and back ends behind the service's
// own interface.
#pragma once

#include "compute/host/HostBackend.h"
#include "compute/service/Compiler.h"
#include "compute/vulkan/VulkanDevice.h"

#include <functional>

namespace compute::service {

/// Makes a kernel of a program for the device at hand.
using BuildKernel = std::function<platform::Result<std::shared_ptr<Kernel>>(
    const kernel::Program& program, std::string_view function, const ConstantValues& constants,
    const std::stop_token& stop, std::shared_ptr<KeptCode> kept)>;

class KernelCompiler final : public Compiler {
public:
    explicit KernelCompiler(const kernel::CompilerOptions& options)
        : m_options(options), m_backend(std::make_shared<host::HostBackend>(options)) {}

    void openFiles() override;
    platform::Result<void> openDevice(std::string_view name) override;
    Device& device() override { return m_device ? *m_device : Compiler::device(); }
    void warmUp() override;
    std::size_t stackBytes() const override;
    int dumpFolder() const override;
    platform::Result<std::shared_ptr<const Library>> compile(std::string_view source,
                                                             const std::stop_token& stop) override;

private:
    BuildKernel build() const;

    const kernel::CompilerOptions m_options;
    // Shared with the libraries.
    std::shared_ptr<host::HostBackend> m_backend;
    std::shared_ptr<vulkan::VulkanDevice> m_device; ///< null for the processor
};

} // namespace compute::service
