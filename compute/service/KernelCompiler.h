// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The compiler of the service proper: front end, kernel pipeline and host back end behind the
// service's own interface.
#pragma once

#include "compute/host/HostBackend.h"
#include "compute/service/Compiler.h"

namespace compute::service {

class KernelCompiler final : public Compiler {
public:
    explicit KernelCompiler(kernel::CompilerOptions options)
        : m_backend(std::make_shared<host::HostBackend>(std::move(options))) {}

    void openFiles() override;
    void warmUp() override;
    std::size_t stackBytes() const override;
    int dumpFolder() const override;
    platform::Result<std::shared_ptr<const Library>> compile(std::string_view source,
                                                             const std::stop_token& stop) override;

private:
    /// Shared with the libraries.
    std::shared_ptr<host::HostBackend> m_backend;
};

} // namespace compute::service
