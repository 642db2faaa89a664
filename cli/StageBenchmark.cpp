// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "cli/StageBenchmark.h"

#include "SL42/builder/Assembly.h"
#include "gpu/WaitFor.h"

#include <chrono>
#include <vector>

namespace cli {
namespace {

using platform::Error;
using platform::Result;

constexpr std::chrono::seconds songTimeLimit(20); // as long as the console allows

/// The kernels that a program needs.
std::vector<const char*> kernelsOf(const starloom::PreprocessedSource& program) {
    std::vector<const char*> names;
    if (program.hasCPU)
        names.push_back("processor");
    if (program.hasVideo)
        names.push_back("video");
    if (program.hasAudio)
        names.push_back("audio");
    return names;
}

Result<CompilePhases> compileKernels(gpu::Device& device, const std::string& text,
                                     const std::vector<const char*>& names) {
    const auto library = SL42_TRY(gpu::waitForLibrary(device, text));
    CompilePhases phases{library->compileTimes().frontEnd, 0, 0};
    gpu::FunctionConstantValues modes;
    modes.setChar(0, 0); // colour mode
    modes.setChar(1, 0); // blend mode
    for (const char* name : names) {
        const auto function = SL42_TRY(library->makeFunction(name, modes));
        const auto pipeline = SL42_TRY(gpu::waitForPipeline(device, function));
        phases.optimiser += pipeline->compileTimes().optimiser;
        phases.codeGeneration += pipeline->compileTimes().codeGeneration;
    }
    return phases;
}

} // namespace

StageBenchmark::StageBenchmark(std::shared_ptr<gpu::Device> device, platform::Log& log)
    : m_device(std::move(device)),
      m_log(log),
      m_queue(m_device->makeCommandQueue()),
      m_machine(m_device),
      m_audioMonitor(m_inputFiles.capture(), m_mainQueue, log),
      m_video(m_device, m_queue, log),
      m_display(m_device, m_mainQueue, log),
      m_view(m_device) {
    m_machine.reset();
}

Result<CompilePhases> StageBenchmark::compile(std::string_view source) {
    const auto program =
        starloom::preprocessSource(source, m_log, [this](const starloom::AudioSpec& music) {
            m_machine.audioSpec = music;
            m_machine.resetAudioMemory();
        });
    const std::string text = starloom::assembleProgram(source, program);
    if (program.mayDrawText)
        m_video.startFont();
    const CompilePhases phases = SL42_TRY(compileKernels(*m_device, text, kernelsOf(program)));
    // The same kernels again, from the device's cache, in the form that the stages hold.
    bool isDone = false;
    const starloom::Compilation compilation(
        m_device, m_mainQueue, m_log, text, [] { return std::string(); }, program,
        starloom::VideoRenderer::constantsFor({}),
        [&](starloom::CompiledProgram compiled) {
            take(std::move(compiled));
            isDone = true;
        });
    while (!isDone)
        m_mainQueue.waitAndRun();
    return phases;
}

void StageBenchmark::take(starloom::CompiledProgram program) {
    if (program.cpu)
        m_cpu.shader.take(std::move(program.cpu));
    if (program.video)
        m_video.updateSource(std::move(program.video));
    if (program.audio)
        m_songShader = std::move(program.audio);
}

void StageBenchmark::waitForDisplay() {
    while (!m_display.isReady())
        m_mainQueue.waitAndRun();
}

template <class Encode>
Result<double> StageBenchmark::measure(const char* label, Encode encode) {
    const auto commandBuffer = m_queue ? m_queue->makeCommandBuffer() : nullptr;
    if (!commandBuffer)
        return Error{"the device takes no work"};
    commandBuffer->setLabel(label);
    encode(*commandBuffer);
    commandBuffer->commit();
    commandBuffer->waitUntilCompleted();
    if (const auto error = commandBuffer->error())
        return Error{error->message};
    return commandBuffer->milliseconds();
}

void StageBenchmark::setInput(starloom::InputFiles files) {
    m_inputFiles.load(std::move(files));
    m_input.keyboard().setSource(m_inputFiles.keys());
}

// As the machine does before each frame.
void StageBenchmark::takeInput(float time) {
    if (const auto mouse = m_inputFiles.beginFrame(platform::Seconds(time), m_input.mouseValues()))
        m_input.setMouseValues(*mouse);
    while (m_mainQueue.pump() > 0) {
    }
    m_input.copyKeyboard();
    m_input.copySpectrum(m_audioMonitor.fftValues());
}

Result<platform::Image> StageBenchmark::picture() {
    const auto texture = m_view.waitForPicture();
    if (!texture)
        return Error{"no frame was drawn"};
    platform::Image image(texture->width(), texture->height());
    if (!texture->getBytes(0, std::as_writable_bytes(image.halves()),
                           image.width() * sizeof(std::uint64_t)))
        return Error{"the picture cannot be read back"};
    return image;
}

Result<StageTimes> StageBenchmark::runFrame(float time) {
    m_video.waitForFont();
    waitForDisplay();
    takeInput(time);
    starloom::RenderData data{m_machine, time};
    data.sample = static_cast<std::uint32_t>(time * static_cast<float>(data.sampleRate));
    const auto drawable = m_view.currentDrawable();
    if (!drawable)
        return Error{"the device has no memory for a picture"};
    StageTimes times;
    if (m_cpu.shader.current())
        times.cpu = SL42_TRY(measure("cpu", [&](auto& buffer) { m_cpu.run(buffer, data); }));
    if (m_video.videoShader())
        times.video =
            SL42_TRY(measure("video", [&](auto& buffer) { m_video.render(data, buffer); }));
    times.display = SL42_TRY(measure("display", [&](auto& buffer) {
        m_display.display(*drawable, data, buffer);
        buffer.present(drawable);
    }));
    m_input.clearClicks();
    // Not part of the times: the bank swap, which the frame shares with the display.
    SL42_TRY(measure("next frame", [&](auto& buffer) { m_machine.nextFrame(buffer); }));
    return times;
}

Result<SongTime> StageBenchmark::renderSong() {
    if (!m_songShader)
        return SongTime{};
    SongTime time{.samples = m_machine.audioSpec.sampleCount(starloom::audioSampleRate)};
    time.milliseconds = SL42_TRY(measure("song", [&](gpu::CommandBuffer& buffer) {
        buffer.setTimeLimit(songTimeLimit);
        const auto encoder = buffer.makeComputeCommandEncoder();
        encoder->setComputePipelineState(m_songShader->pipelineState());
        starloom::RenderData{m_machine}.addToEncoder(*encoder, 0);
        encoder->dispatchThreads({static_cast<std::uint32_t>(time.samples), 1, 1}, {64, 1, 1});
        encoder->endEncoding();
    }));
    return time;
}

} // namespace cli
