// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The part of the console that turns its source into kernels and hands them to the stages.
#include "SL42/builder/ProgramBuilder.h"
#include "SL42/engine/SL42.h"

#include <utility>

namespace starloom {

void SL42::compile() {
    if (m_preview)
        return;
    ++m_program;
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
    publishLog(compileStages(preprocessed));
}

void SL42::setMusic(const AudioSpec& music) {
    m_audioRenderer.audioSpec = music;
    m_machine.audioSpec = music;
    m_machine.resetAudioMemory();
}

// The stages share one library: a text is compiled once, and its errors are reported once per
// stage. A stage that the program does not use, or whose kernel fails, keeps the kernel that it
// had.
std::string SL42::compileStages(const PreprocessedSource& preprocessed) {
    gpu::Device& device = *m_surroundings.device;
    platform::Log& log = m_surroundings.log;
    if (!m_hasCPU && !m_hasVideo && !m_hasAudio)
        return {};
    if (m_hasVideo && preprocessed.mayDrawText)
        m_videoRenderer.startFont(); // while the program compiles
    const LibraryResult library = device.makeLibrary(assembleProgram(m_source, preprocessed));
    // All kernels compile at the same time, the one that takes longest first.
    std::future<std::string> video;
    std::future<CompiledShader> cpu;
    std::future<CompiledShader> audio;
    if (m_hasVideo)
        video = m_videoRenderer.updateLibraryAsync(library);
    if (m_hasCPU)
        cpu = compileShaderAsync(device, library, "processor", log);
    if (m_hasAudio)
        audio = compileShaderAsync(device, library, "audio", log);

    // They are reported in the order cpu, video, audio. The song is rendered while the video
    // kernel, which takes longest, still compiles.
    std::string messages;
    std::string audioMessages;
    if (m_hasCPU) {
        log.line("Compiling CPU");
        CompiledShader compiled = cpu.get();
        if (compiled.shader)
            m_cpu.shader = std::move(compiled.shader);
        messages += "Compiling CPU...\n" + compiled.message;
    }
    if (m_hasVideo)
        log.line("Compiling video");
    if (m_hasAudio) {
        log.line("Compiling audio");
        CompiledShader compiled = audio.get();
        if (compiled.shader) {
            m_audioRenderer.audioShader = std::move(compiled.shader);
            renderSong();
        }
        audioMessages = "Compiling audio...\n" + compiled.message;
    }
    if (m_hasVideo)
        messages += "Compiling video...\n" + video.get();
    return messages + audioMessages;
}

void SL42::renderSong() {
    if (auto error = shared(m_audioRenderer.internalRender(renderData())))
        runOnMainQueue([program = m_program, error = std::move(error)](SL42& engine) {
            engine.reportFault(error, program);
        });
}

void SL42::publishLog(std::string log) {
    runOnMainQueue([log = std::move(log)](SL42& engine) {
        engine.m_error.set(log);
        engine.m_surroundings.log.line("Error: " + log);
        if (!engine.playing.get())
            engine.m_view->setNeedsDisplay();
        engine.m_hasError.set(log.find("failed") != log.npos);
    });
}

} // namespace starloom
