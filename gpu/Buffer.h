// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A piece of device memory without a type.
#pragma once

#include "gpu/Types.h"

#include <span>
#include <string>

namespace gpu {

/// Made by Device::makeBuffer; reads as zeros until something writes it. A command buffer keeps
/// the buffers that it uses alive until it has completed.
class Buffer {
public:
    virtual ~Buffer() = default;

    /// In bytes.
    virtual std::size_t length() const = 0;
    virtual StorageMode storageMode() const = 0;
    /// The bytes that host and device share; empty for private storage. The host may write at any
    /// time, without fences: a command buffer in flight may or may not see it.
    virtual std::span<std::byte> contents() = 0;

    const std::string& label() const { return m_label; }
    void setLabel(std::string label) { m_label = std::move(label); }

private:
    std::string m_label;
};

} // namespace gpu
