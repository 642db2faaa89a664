// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One kernel in a variant for each set of function constants. A program may change the registers
// that these come from with every frame, so nothing here waits: variants are compiled in the
// background and kept, and until one is there, a frame is drawn with another.
#pragma once

#include "Shader/ComputeShader.h"
#include "gpu/Device.h"
#include "platform/Log.h"
#include "platform/MainQueueAnchor.h"

#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>

namespace starloom {

/// Main thread. Holds the variants that were used last, up to a limit; one is compiled at a time.
class ShaderVariants {
public:
    using Constants = gpu::FunctionConstantValues;

    /// Of the kernel `name` of `library`. Why a variant cannot be compiled goes to `log`.
    ShaderVariants(std::shared_ptr<gpu::Device> device, std::shared_ptr<gpu::Library> library,
                   std::string name, platform::MainQueue& mainQueue, platform::Log& log);

    /// Called when a variant has been made, and with the reason when one cannot be.
    std::function<void()> made = [] {};
    std::function<void(const std::string&)> failed = [](const std::string&) {};

    /// Lets those that could not be made be tried again.
    void forgetFailures();
    /// Adds a variant that was made elsewhere.
    void add(const Constants& constants, std::shared_ptr<ComputeShader> shader);
    /// The variant for these constants, or while it is being made the one used before; null when
    /// there is none. A variant that was stopped counts as missing with `again` set.
    std::shared_ptr<ComputeShader> use(const Constants& constants, bool again = false);
    /// Whether use() has nothing better to offer later: the variant is there, or cannot be made.
    bool isSettled(const Constants& constants) const;
    /// Whether any of them has hung or faulted: so would the others.
    bool isStopped() const;

private:
    struct Variant {
        Constants constants;
        std::shared_ptr<ComputeShader> shader; ///< null when it cannot be made
    };
    void startMaking(const Constants& constants);
    void take(const Constants& constants,
              const gpu::Result<std::shared_ptr<ComputeShader>>& shader);
    void keep(Variant variant);

    std::shared_ptr<gpu::Device> m_device;
    std::shared_ptr<gpu::Library> m_library;
    std::string m_name;
    platform::Log& m_log;
    std::list<Variant> m_variants; ///< used last first
    std::shared_ptr<ComputeShader> m_usedLast;
    std::optional<Constants> m_making;
    platform::MainQueueAnchor m_anchor;
    gpu::Pending m_pending; // last: what it hands on is about the others
};

} // namespace starloom
