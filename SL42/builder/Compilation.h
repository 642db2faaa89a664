// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One program on its way from text to kernels. Nobody waits for it: the device compiles while
// frames are drawn, and the kernels of all stages are handed over together, in a task of the main
// queue. Destroying the object cancels the compilation, as for a newer program.
#pragma once

#include "SL42/builder/Preprocessor.h"
#include "Shader/CompiledProgram.h"
#include "gpu/Device.h"
#include "platform/Log.h"
#include "platform/MainQueueAnchor.h"

#include <functional>
#include <memory>
#include <string>

namespace starloom {

/// Main thread.
class Compilation {
public:
    using Finished = std::function<void(CompiledProgram)>;

    /// Starts it. The stages that the program has share one library: a text is compiled once, and
    /// its errors are reported once per stage. `videoConstants` are those that the video kernel is
    /// compiled with. `log` hears why a kernel failed. When the text does not compile,
    /// what `cause` says is given in place of what the compiler says, unless it is empty.
    /// `finished` is called once, in a task of the main queue; it may destroy the compilation.
    Compilation(std::shared_ptr<gpu::Device> device, platform::MainQueue& mainQueue,
                platform::Log& log, std::string text, std::function<std::string()> cause,
                const PreprocessedSource& program,
                const gpu::FunctionConstantValues& videoConstants, Finished finished);

private:
    /// One kernel of the program.
    struct Kernel {
        const char* name;
        const char* title; ///< of the stage, in the log
        bool wanted = false;
        gpu::FunctionConstantValues constants = {};
        bool isDone = false;
        // NOLINTNEXTLINE(readability-redundant-member-init): whoever names the others leaves it out
        std::string message = {};
        std::shared_ptr<ComputeShader> shader = nullptr;
        gpu::Pending pending = nullptr;
    };

    void take(gpu::Result<std::shared_ptr<gpu::Library>> library);
    void start(Kernel& kernel);
    void take(Kernel& kernel, const gpu::Result<std::shared_ptr<ComputeShader>>& shader);
    void addReason(Kernel& kernel, const std::string& reason);
    void finishIfDone();

    std::shared_ptr<gpu::Device> m_device;
    platform::MainQueue& m_mainQueue;
    platform::Log& m_log;
    const std::function<std::string()> m_cause;
    std::shared_ptr<gpu::Library> m_library;
    Kernel m_cpu;
    Kernel m_video;
    Kernel m_audio;
    Finished m_finished;
    std::string m_remarks;
    platform::MainQueueAnchor m_anchor;
    gpu::Pending m_pendingLibrary;
};

} // namespace starloom
