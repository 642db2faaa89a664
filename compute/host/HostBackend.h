// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// All that turns a program into kernels of this processor: the pipeline, the code generator, and
// what they were asked for.
#pragma once

#include "compute/backend/Kernel.h"
#include "compute/kernel/CompilerOptions.h"
#include "compute/kernel/Dump.h"
#include "compute/kernel/Program.h"
#include "compute/target/HostTarget.h"
#include "platform/base/Result.h"

#include <memory>
#include <optional>
#include <stop_token>
#include <string_view>

namespace compute::host {

class HostBackend {
public:
    explicit HostBackend(kernel::CompilerOptions options)
        : m_options(std::move(options)), m_target(m_options.lanes) {}

    /// Opens the folder that the options name, if they do.
    platform::Result<void> openDump();
    /// Null without one.
    const kernel::Dump* dump() const { return m_dump ? &*m_dump : nullptr; }
    /// Starts the worker threads and has the code generator ready; once, before anything is built.
    void warmUp() const;

    /// Several threads may do so at the same time. The error names the kernel, function or constant
    /// at fault. The code after every pass goes to `dump` unless that is null. When it is to stop,
    /// it does so after the pass at hand, with an error.
    platform::Result<std::shared_ptr<Kernel>> build(const kernel::Program& program,
                                                    std::string_view function,
                                                    const ConstantValues& constants = {},
                                                    const kernel::Dump* dump = nullptr,
                                                    const std::stop_token& stop = {}) const;

private:
    const kernel::CompilerOptions m_options;
    const target::HostTarget m_target;
    std::optional<kernel::Dump> m_dump;
};

} // namespace compute::host
