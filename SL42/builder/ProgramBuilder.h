// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The program builder: turns a program's text into kernels and a compile log. It knows the device's
// compiler, but neither the machine that runs the kernels nor where the text comes from.
#pragma once

#include "SL42/builder/Compilation.h"
#include "SL42/hardware/AudioSpec.h"
#include "Shader/CompiledProgram.h"
#include "gpu/Device.h"
#include "platform/Log.h"
#include "platform/MainQueueAnchor.h"
#include "platform/Published.h"

#include <functional>
#include <memory>
#include <string>

namespace starloom {

/// Main thread. Nobody waits for a compilation: what comes of it is handed over in a task of the
/// main queue, and a newer text gives the one before up.
class ProgramBuilder {
public:
    /// What the builder tells while it works.
    struct Client {
        /// Each music line, in their order, before anything is compiled.
        std::function<void(const AudioSpec&)> foundMusic;
        /// What the text holds, also when that is nothing to compile.
        std::function<void(const PreprocessedSource&)> scanned;
        /// All kernels of the newest program that could be made.
        std::function<void(CompiledProgram)> compiled;
        /// A text's log is out, and says that it failed or not.
        std::function<void(const std::string& source, bool failed)> published;
    };

    /// `device` is the one that compiles. The queue and the log must outlive the builder.
    ProgramBuilder(std::shared_ptr<gpu::Device> device, platform::MainQueue& mainQueue,
                   platform::Log& log, Client client);

    /// Scans and compiles a text; `videoConstants` are those of the video kernel's first variant.
    /// Stops the program when the text asks for a song that cannot be.
    void compile(const std::string& source, const gpu::FunctionConstantValues& videoConstants);
    /// To be asked first about a text that must not stop the program: whether it would. Then the
    /// log says so as if it did not compile, and what was being compiled is given up.
    bool refuse(const std::string& source);
    /// Gives up what is being compiled, if anything.
    void cancel() { m_compilation.reset(); }
    bool isCompiling() const { return m_compilation != nullptr; }

    /// Which entry functions the newest program has.
    bool hasCPU() const { return m_hasCPU; }
    bool hasVideo() const { return m_hasVideo; }
    bool hasAudio() const { return m_hasAudio; }
    /// The log of the last compilation, also when nothing failed.
    const platform::Published<std::string>& error() const { return m_error; }
    /// Whether that log speaks of a failure.
    const platform::Published<bool>& hasError() const { return m_hasError; }
    /// What that log begins with when the program's entry functions are not spelt as they must be:
    /// a line for each.
    const platform::Published<std::string>& warnings() const { return m_warnings; }
    /// What the compiler says beside that log, in the same form: warnings, and why a stage has no
    /// kernel.
    const platform::Published<std::string>& remarks() const { return m_remarks; }

private:
    void start(const std::string& source, const PreprocessedSource& preprocessed,
               const gpu::FunctionConstantValues& videoConstants, std::string warnings);
    void finish(CompiledProgram program, std::string warnings);
    void publish(const std::string& source, std::string log, std::string warnings = {},
                 std::string remarks = {});

    std::shared_ptr<gpu::Device> m_device;
    platform::MainQueue& m_mainQueue;
    platform::Log& m_log;
    const Client m_client;
    bool m_hasCPU = false;
    bool m_hasVideo = false;
    bool m_hasAudio = false;
    platform::Published<std::string> m_error;
    platform::Published<bool> m_hasError;
    platform::Published<std::string> m_warnings;
    platform::Published<std::string> m_remarks;
    /// The newest program on its way; null when it has arrived.
    std::unique_ptr<Compilation> m_compilation;
    platform::MainQueueAnchor m_anchor;
};

} // namespace starloom
