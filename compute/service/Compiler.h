// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the service needs of a compiler. It knows no more than this, so that its behaviour when
// kernels and compilers misbehave can be tested with one that does so on purpose.
#pragma once

#include "compute/host/locations/SourceLocations.h"
#include "compute/kernel/TextureView.h"
#include "compute/protocol/Protocol.h"
#include "platform/base/Result.h"

#include <array>
#include <cstddef>
#include <memory>
#include <stop_token>
#include <string_view>

namespace compute::service {

/// Everything that a kernel's parameters can be bound to; null where nothing is bound.
struct Bindings {
    std::array<std::byte*, protocol::maxBindings> buffers{};
    std::array<const kernel::TextureView*, protocol::maxBindings> textures{};
};

/// Machine code. Immutable; may run on several threads at once.
class Kernel {
public:
    virtual ~Kernel() = default;
    virtual protocol::Parameters parameters() const = 0;
    virtual protocol::Fingerprint fingerprint() const = 0;
    virtual double optimiserMilliseconds() const = 0;
    virtual double codeGenerationMilliseconds() const = 0;
    /// Only threads from `begin` to before `end` along x.
    virtual void run(const Bindings& bindings, protocol::Extent threads,
                     protocol::Extent threadsPerThreadgroup, std::uint32_t begin,
                     std::uint32_t end) const = 0;
    /// Which lines its code came from; null when nobody knows. Lives as long as this.
    virtual const host::SourceLocations* places() const { return nullptr; }
};

/// A program text that compiled.
class Library {
public:
    virtual ~Library() = default;
    virtual std::vector<protocol::Kernel> kernels() const = 0;
    virtual const std::string& warnings() const = 0;
    virtual protocol::ConstantDeclarations constants() const = 0;
    virtual platform::Result<std::shared_ptr<const Kernel>>
    build(std::string_view function, const protocol::Constants& constants,
          const std::stop_token& stop) const = 0;
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
    /// Descriptor of the folder that it makes files in from then on; -1 when it makes none.
    virtual int dumpFolder() const { return -1; }
    virtual platform::Result<std::shared_ptr<const Library>>
    compile(std::string_view source, const std::stop_token& stop) = 0;
};

} // namespace compute::service
