// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The compiler of the service proper: front end, kernel pipeline and host back end behind the
// service's own interface. With SL42_DUMP set, everything between text and machine code is written
// to that folder.
#pragma once

#include "compute/kernel/Dump.h"
#include "compute/service/Compiler.h"

namespace compute::service {

class KernelCompiler final : public Compiler {
public:
    void openFiles() override;
    void warmUp() override;
    std::size_t stackBytes() const override;
    int dumpFolder() const override;
    platform::Result<std::shared_ptr<const Library>> compile(std::string_view source,
                                                             const std::stop_token& stop) override;

private:
    /// Opened before the lock-down; null without SL42_DUMP. Shared with the libraries.
    std::shared_ptr<const kernel::Dump> m_dump;
};

} // namespace compute::service
