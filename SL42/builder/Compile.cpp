// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The part of the console that turns its source into kernels and hands them to the stages.
#include "SL42/builder/Compilation.h"
#include "SL42/builder/ProgramBuilder.h"
#include "SL42/engine/SL42.h"

#include <utility>

namespace starloom {

/// A command buffer that has been running for longer when a program is compiled belongs to a
/// program that is on its way out.
static constexpr std::chrono::milliseconds longestFrame(250);

void SL42::compile() {
    if (m_preview)
        return;
    ++m_program;
    m_compilation.reset();
    m_surroundings.device->endLongRunning(longestFrame);
    runOnMainQueue([](SL42& engine) { engine.m_fault.set({}); });
    if (m_source.empty()) {
        publishLog("No fx() or sfx() found");
        return;
    }
    const PreprocessedSource preprocessed = preprocessSource(
        m_source, m_surroundings.log, [this](const AudioSpec& music) { setMusic(music); });
    m_hasCPU = preprocessed.hasCPU;
    m_hasVideo = preprocessed.hasVideo;
    m_hasAudio = preprocessed.hasAudio;
    if (m_hasCPU || m_hasVideo || m_hasAudio)
        startCompilation(preprocessed);
    else
        publishLog({});
}

// What the song that is about to be rendered goes into can stay when its shape does.
void SL42::setMusic(const AudioSpec& music) {
    m_audioRenderer.audioSpec = music;
    if (std::exchange(m_machine.audioSpec, music) != music)
        m_machine.resetAudioMemory();
}

void SL42::startCompilation(const PreprocessedSource& preprocessed) {
    if (m_hasVideo && preprocessed.mayDrawText)
        m_videoRenderer.startFont(); // while the program compiles
    m_compilation = std::make_unique<Compilation>(
        m_surroundings.device, m_surroundings.mainQueue, m_surroundings.log,
        assembleProgram(m_source, preprocessed), preprocessed,
        VideoRenderer::constantsFor(m_registers),
        [this, number = m_program, source = m_source](CompiledProgram program) {
            m_takenProgram = number;
            m_takenSource = program.isComplete ? source : std::string();
            take(std::move(program));
        });
}

// A stage that the program does not use, or whose kernel fails, keeps the kernel that it had.
void SL42::take(CompiledProgram program) {
    m_compilation.reset();
    m_awaitsProgram = false;
    if (program.cpu)
        m_cpu.shader.take(std::move(program.cpu));
    if (program.video)
        m_videoRenderer.take(std::move(program.video));
    m_surroundings.device->endLongRunning(longestFrame);
    if (program.audio) {
        m_audioRenderer.audioShader = std::move(program.audio);
        renderSong();
    }
    publishLog(std::move(program.log));
}

void SL42::renderSong() {
    m_audioRenderer.internalRender(
        renderData(),
        [this, program = m_takenProgram](const std::optional<gpu::CommandBufferError>& error) {
            reportFault(shared(error), program);
        });
}

void SL42::publishLog(std::string log) {
    runOnMainQueue([log = std::move(log)](SL42& engine) {
        engine.m_hasProgram = true;
        engine.m_error.set(log);
        engine.m_surroundings.log.line("Error: " + log);
        if (!engine.playing.get())
            engine.m_view->setNeedsDisplay();
        engine.m_hasError.set(log.find("failed") != log.npos);
    });
}

} // namespace starloom
