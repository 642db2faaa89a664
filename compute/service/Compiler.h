// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the service needs of a compiler. It knows no more than this, so that its behaviour when
// kernels and compilers misbehave can be tested with one that does so on purpose.
#pragma once

#include "compute/backend/Device.h"
#include "compute/backend/KeptCode.h"
#include "compute/backend/Kernel.h"
#include "compute/protocol/Protocol.h"
#include "platform/base/Result.h"

#include <cstddef>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>

namespace compute::service {

/// What the console is told of a kernel's parameters.
inline protocol::Parameters onTheWire(const std::vector<Parameter>& parameters) {
    protocol::Parameters wire;
    for (const Parameter& parameter : parameters)
        wire.push_back({parameter.name, parameter.kind, parameter.index, parameter.access,
                        parameter.count, parameter.textureType, parameter.texels});
    return wire;
}

/// A program text that compiled.
class Library {
public:
    virtual ~Library() = default;
    virtual std::vector<protocol::Kernel> kernels() const = 0;
    virtual const std::string& warnings() const = 0;
    virtual protocol::ConstantDeclarations constants() const = 0;
    /// Uses, and replaces, what has been kept of the function with these constants; there may be
    /// nothing to keep it in.
    virtual platform::Result<std::shared_ptr<const Kernel>>
    build(std::string_view function, const ConstantValues& constants, const std::stop_token& stop,
          std::shared_ptr<KeptCode> kept) const = 0;
};

/// Several threads ask it, and the libraries that it makes, at the same time. When it is asked to
/// stop, it ends with an error as soon as it can.
class Compiler {
public:
    virtual ~Compiler() = default;
    /// Called once and first. No file can be opened later.
    virtual void openFiles() {}
    /// Called once, before the service locks itself down.
    virtual void warmUp() = 0;
    /// How much stack the threads have that ask it. What it starts a thread of its own for, the
    /// console takes for standing still, since it does not know that thread.
    virtual std::size_t stackBytes() const { return std::size_t{64} << 20; }
    /// Called once and before warmUp(), where drivers can be loaded: kernels are to run on the
    /// device of this name instead of the processor. The error says why they cannot.
    virtual platform::Result<void> openDevice(std::string_view name) {
        return platform::Error{"There is no device '" + std::string(name) + "'"};
    }
    /// What its kernels run on, once it is warm.
    virtual Device& device() { return m_host; }
    /// Descriptor of the folder that it makes files in from then on; -1 when it makes none.
    virtual int dumpFolder() const { return -1; }
    virtual platform::Result<std::shared_ptr<const Library>>
    compile(std::string_view source, const std::stop_token& stop) = 0;

private:
    HostDevice m_host;
};

} // namespace compute::service
