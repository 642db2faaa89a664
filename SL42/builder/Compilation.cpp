// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/builder/Compilation.h"

#include "SL42/builder/CompilerMessages.h"

#include <utility>

namespace starloom {

// The modes of a machine that was just reset, for drawing functions called outside of fx().
static gpu::FunctionConstantValues neutralModes() {
    gpu::FunctionConstantValues values;
    values.setChar(0, 0);
    values.setChar(1, 0);
    return values;
}

Compilation::Compilation(std::shared_ptr<gpu::Device> device, platform::MainQueue& mainQueue,
                         platform::Log& log, std::string text, std::function<std::string()> cause,
                         const PreprocessedSource& program,
                         const gpu::FunctionConstantValues& videoConstants, Finished finished)
    : m_device(std::move(device)),
      m_mainQueue(mainQueue),
      m_log(log),
      m_cause(std::move(cause)),
      m_cpu{.name = "processor",
            .title = "CPU",
            .wanted = program.hasCPU,
            .constants = neutralModes()},
      m_video{.name = "video",
              .title = "video",
              .wanted = program.hasVideo,
              .constants = videoConstants},
      m_audio{.name = "audio",
              .title = "audio",
              .wanted = program.hasAudio,
              .constants = neutralModes()},
      m_finished(std::move(finished)),
      m_anchor(mainQueue) {
    for (const Kernel* kernel : {&m_cpu, &m_video, &m_audio})
        if (kernel->wanted)
            m_log.line(std::string("Compiling ") + kernel->title);
    m_pendingLibrary = m_device->makeLibrary(
        std::move(text), m_anchor.handler([this](auto library) { take(std::move(library)); }));
}

// All kernels compile at the same time, the one that takes longest first.
void Compilation::take(gpu::Result<std::shared_ptr<gpu::Library>> library) {
    m_pendingLibrary.reset();
    if (library) {
        m_library = *library;
        m_remarks = m_library->warnings();
    }
    const std::string cause = library ? std::string() : m_cause();
    for (Kernel* kernel : {&m_video, &m_cpu, &m_audio}) {
        if (!kernel->wanted) {
            kernel->isDone = true;
        } else if (!library) {
            kernel->isDone = true;
            kernel->message =
                "Compilation failed:\n" + (cause.empty() ? library.error().message : cause);
        } else {
            start(*kernel);
        }
    }
    finishIfDone();
}

void Compilation::start(Kernel& kernel) {
    const auto function = m_library->makeFunction(kernel.name, kernel.constants);
    if (!function) {
        if (&kernel == &m_video)
            m_log.line(function.error().message);
        kernel.isDone = true;
        kernel.message = std::string("Couldn't find ") + kernel.name + " function\n";
        addReason(kernel, function.error().message);
        return;
    }
    kernel.pending = ComputeShader::create(*m_device, *function,
                                           m_anchor.handler([this, &kernel](const auto& shader) {
                                               take(kernel, shader);
                                               finishIfDone();
                                           }));
}

void Compilation::take(Kernel& kernel, const gpu::Result<std::shared_ptr<ComputeShader>>& shader) {
    kernel.isDone = true;
    kernel.pending.reset();
    if (shader) {
        kernel.shader = *shader;
        kernel.message = "Done.\n";
    } else {
        m_log.line(shader.error().message);
        kernel.message =
            std::string("Failed to create ") + kernel.name + " compute pipeline state\n";
        addReason(kernel, shader.error().message);
    }
}

// The log itself has the place in the program, if there is one.
void Compilation::addReason(Kernel& kernel, const std::string& reason) {
    if (placeIn(reason, 0))
        kernel.message += reason + "\n";
    else
        m_remarks += "error: " + reason + "\n";
}

void Compilation::finishIfDone() {
    if (!m_cpu.isDone || !m_video.isDone || !m_audio.isDone)
        return;
    CompiledProgram program;
    program.cpu = m_cpu.shader;
    program.audio = m_audio.shader;
    program.remarks = std::move(m_remarks);
    for (const Kernel* kernel : {&m_cpu, &m_video, &m_audio}) {
        if (!kernel->wanted)
            continue;
        program.log += std::string("Compiling ") + kernel->title + "...\n" + kernel->message;
        program.isComplete = program.isComplete && kernel->shader != nullptr;
    }
    if (m_video.shader) {
        program.video =
            std::make_shared<ShaderVariants>(m_device, m_library, m_video.name, m_mainQueue, m_log);
        program.video->add(m_video.constants, m_video.shader);
    }
    const Finished finished = std::move(m_finished); // which may destroy this
    finished(std::move(program));
}

} // namespace starloom
