// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a driver made of a kernel, in memory that the console lends for it: the service is behind
// its lock-down and has no files.
#pragma once

#include "compute/backend/KeptCode.h"
#include "platform/base/FileDescriptor.h"

#include <memory>

namespace compute::service {

/// No kernel has an address in it.
class CodeMemory final : public KeptCode {
public:
    /// Null, and nothing is kept, when that is no such memory.
    static std::shared_ptr<KeptCode> map(const platform::FileDescriptor& memory);
    ~CodeMemory() override;
    CodeMemory(const CodeMemory&) = delete;
    CodeMemory& operator=(const CodeMemory&) = delete;

    std::vector<std::byte> load(const Fingerprint& shader) const override;
    void store(const Fingerprint& shader, std::span<const std::byte> code) override;

private:
    explicit CodeMemory(std::span<std::byte> memory) : m_memory(memory) {}

    const std::span<std::byte> m_memory;
};

} // namespace compute::service
