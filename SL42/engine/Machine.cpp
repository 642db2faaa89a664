// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/engine/Machine.h"

#include "SL42/engine/FaultDescription.h"
#include "platform/base/Fatal.h"

#include <chrono>
#include <cmath>
#include <cstring>
#include <utility>

namespace starloom {

/// A command buffer that has been running for longer when a program is compiled belongs to a
/// program that is on its way out.
static constexpr std::chrono::milliseconds longestFrame(250);

static std::shared_ptr<gpu::CommandQueue> makeQueue(gpu::Device& device) {
    auto queue = device.makeCommandQueue();
    if (!queue)
        platform::fatalError("The GPU device has no command queue");
    return queue;
}

static std::shared_ptr<gpu::Buffer> makeRegisterCopy(gpu::Device& device) {
    auto buffer = device.makeBuffer(registersLength, gpu::StorageMode::Shared);
    if (!buffer)
        platform::fatalError("Couldn't allocate virtual machine buffers");
    buffer->setLabel("Registers of a frame");
    return buffer;
}

Machine::Machine(MachineSurroundings surroundings)
    : m_surroundings(std::move(surroundings)),
      m_audioMonitor(m_surroundings.audioCapture, m_surroundings.mainQueue, m_surroundings.log),
      m_view(m_surroundings.makeView(m_surroundings.device)),
      m_queue(makeQueue(*m_surroundings.device)),
      m_audioRenderer(m_queue, m_surroundings.mainQueue, m_surroundings.audioEngine,
                      m_surroundings.log),
      m_videoRenderer(m_surroundings.device, m_queue, m_surroundings.log),
      m_semaphore(m_surroundings.mainQueue, maxFramesInFlight),
      m_buffers(m_surroundings.device),
      m_display(m_surroundings.device, m_surroundings.mainQueue, m_surroundings.log),
      m_anchor(m_surroundings.mainQueue) {
    m_view->hdr.set(true);
    m_buffers.reset();
    for (Frame& frame : m_frames)
        frame.registers = makeRegisterCopy(*m_surroundings.device);
    m_input.setMouseValues({});
}

Machine::~Machine() {
    m_audioRenderer.stopRendering();
    m_videoRenderer.stop();
    m_display.stop();
    m_frames = {};
    // The handlers of work in flight refer to the surroundings. Work is done in order.
    if (const auto last = m_queue->makeCommandBuffer()) {
        last->commit();
        last->waitUntilCompleted();
    }
}

void Machine::expectProgram() {
    m_surroundings.device->endLongRunning(longestFrame);
    m_anchor.async([this] { m_fault.set({}); });
}

// The audio memory is as long as the song, so it is kept while the length cannot change.
void Machine::setMusic(const AudioSpec& music) {
    m_audioRenderer.audioSpec = music;
    if (std::exchange(m_buffers.audioSpec, music) != music)
        m_buffers.resetAudioMemory();
}

gpu::FunctionConstantValues Machine::videoConstants() const {
    return VideoRenderer::constantsFor(m_registers);
}

// A stage that the program does not use, or whose kernel fails, keeps the kernel that it had.
void Machine::take(CompiledProgram program) {
    ++m_programNumber;
    m_awaitsProgram = false;
    if (program.cpu)
        m_cpu.shader.take(std::exchange(program.cpu, nullptr));
    if (program.video)
        m_videoRenderer.updateSource(std::exchange(program.video, nullptr));
    m_surroundings.device->endLongRunning(longestFrame);
    const auto audio = std::exchange(program.audio, nullptr);
    m_program = std::move(program);
    if (!audio)
        return;
    m_audioRenderer.audioShader = audio;
    renderSong();
}

void Machine::renderSong() {
    m_audioRenderer.internalRender(
        renderData(),
        [this, program = m_programNumber](const std::optional<gpu::CommandBufferError>& error) {
            reportFault(shared(error), program);
        });
}

void Machine::logPublished() {
    m_hasProgram = true;
    if (!m_playing)
        m_view->setNeedsDisplay();
}

void Machine::reset() {
    ++m_resets;
    m_startTime.reset();
    m_time = 0;
    m_buffers.reset();
    m_registers = {};
    if (!m_playing)
        m_view->setNeedsDisplay();
    m_audioRenderer.reset();
}

void Machine::updateTime() {
    const platform::Seconds now = m_surroundings.clock.now();
    if (!m_startTime)
        m_startTime = now;
    const double elapsed = (now - *m_startTime).count();
    m_time = static_cast<float>(std::fmod(elapsed, m_audioRenderer.audioSpec.duration()));
    if (m_hasAudio) {
        m_sample = m_audioRenderer.sample();
        return;
    }
    const float sample = m_time * static_cast<float>(audioSampleRate);
    if (!(sample > -1.0F && sample < 0x1p32F))
        platform::fatalError("The time is not a position in the song");
    m_sample = static_cast<std::uint32_t>(sample);
}

void Machine::updateCursor(MTLPreview& view) {
    const bool show = m_registers[Register::MousePointer] == 0;
    if (std::exchange(m_showCursor, show) != show)
        view.setShowCursor(show);
}

void Machine::copyInput() {
    if (m_nextState) {
        m_time = m_nextState->time;
        m_sample = m_nextState->sample;
        m_input.write(*m_nextState);
        m_nextState.reset();
        return;
    }
    m_input.copyKeyboard();
    if (m_audioMonitor.isActive().get())
        m_input.copySpectrum(m_audioMonitor.fftValues());
    else if (m_audioRenderer.hasAudio() && m_audioRenderer.isPlaying().get())
        m_input.copySpectrum(m_audioRenderer.fftValues);
}

void Machine::observeFrame() {
    if (!m_frameObserver)
        return;
    const FrameState state = m_input.state(m_time, m_sample);
    m_frameObserver({.clock = m_surroundings.clock.now(),
                     .state = state,
                     .source = m_program.source,
                     .program = m_programNumber,
                     .resets = m_resets,
                     .songPlays = m_audioRenderer.isPlaying().get()});
}

RenderData Machine::renderData() const {
    return {.machine = m_buffers, .time = m_time, .sample = m_sample, .registers = m_registers};
}

bool Machine::isReadyToDraw() const {
    if (!m_hasProgram || !m_display.isReady() || (m_awaitsProgram && m_surroundings.isCompiling()))
        return false;
    return m_restoresBanks ? m_semaphore.value() == maxFramesInFlight : m_semaphore.value() > 0;
}

void Machine::waitUntilReady() {
    const auto isSettled = [this] {
        return m_videoRenderer.isSettled(m_registers) && m_display.isSettled(m_registers);
    };
    while (!isReadyToDraw())
        m_surroundings.mainQueue.waitAndRun();
    if (!m_surroundings.exactFrames)
        return;
    while (!isSettled()) {
        m_videoRenderer.makeFunction(m_registers);
        m_display.makeFunction(m_registers);
        if (!isSettled())
            m_surroundings.mainQueue.waitAndRun();
    }
}

void Machine::draw(MTLPreview& view) {
    waitUntilReady();
    if (m_playing)
        updateTime();
    updateCursor(view);
    copyInput();
    observeFrame();
    auto inputs = nextInputs();
    if (wouldRepeat(inputs)) {
        view.repeatPicture();
        return m_input.clearClicks();
    }
    m_semaphore.wait();

    Frame& frame = m_frames[m_nextFrame++ % m_frames.size()];
    frame.program = m_programNumber;
    frame.inputs = std::move(inputs);
    m_shownInputs.reset();
    const auto commandBuffer = drawMachine(frame);
    if (!commandBuffer) {
        m_semaphore.signal();
        return;
    }
    // When no kernel may be run, the last picture stays on the screen.
    const auto drawable = m_videoRenderer.hasFailed() ? nullptr : view.currentDrawable();
    frame.bank = drawable ? m_buffers.screenMemory[0] : nullptr;
    if (drawable)
        showMachine(drawable, commandBuffer);
}

static void copyRegisters(const std::shared_ptr<gpu::Buffer>& from,
                          const std::shared_ptr<gpu::Buffer>& to,
                          gpu::CommandBuffer& commandBuffer) {
    const auto encoder = commandBuffer.makeBlitCommandEncoder();
    if (!encoder)
        return;
    encoder->copy(from, 0, to, 0, registersLength);
    encoder->endEncoding();
}

// Handlers run on the device's thread; they do no more than hop to the main queue.
std::shared_ptr<gpu::CommandBuffer> Machine::drawMachine(Frame& frame) {
    auto commandBuffer = m_queue->makeCommandBuffer();
    if (!commandBuffer)
        return nullptr;
    commandBuffer->setLabel("Render");
    commandBuffer->addCompletedHandler([this, &frame](gpu::CommandBuffer& completed) {
        m_anchor.async(
            [this, &frame, error = shared(completed.error())] { frameCompleted(frame, error); });
    });
    if (m_restoresBanks)
        restoreBanks(*commandBuffer);
    if (m_lastRender)
        commandBuffer->setNeeds(m_lastRender);
    m_lastRender = commandBuffer;
    const RenderData data = renderData();
    frame.cpu = m_cpu.run(*commandBuffer, data);
    frame.video = m_videoRenderer.render(data, *commandBuffer);
    frame.registersOf = m_buffers.registers;
    copyRegisters(frame.registersOf, frame.registers, *commandBuffer);
    commandBuffer->commit();
    return commandBuffer;
}

void Machine::restoreBanks(gpu::CommandBuffer& commandBuffer) {
    m_restoresBanks = false;
    m_lastRender = nullptr;
    m_buffers.restoreBanks(m_shownBank, commandBuffer);
}

void Machine::showMachine(const std::shared_ptr<gpu::Drawable>& drawable,
                          const std::shared_ptr<gpu::CommandBuffer>& render) {
    const auto commandBuffer = m_queue->makeCommandBuffer();
    if (!commandBuffer)
        return;
    commandBuffer->setLabel("Display");
    commandBuffer->setNeeds(render);
    commandBuffer->addCompletedHandler(
        [this, program = m_programNumber](gpu::CommandBuffer& completed) {
            if (auto error = shared(completed.error()))
                m_anchor.async([this, program, error = std::move(error)] {
                    m_shownInputs.reset();
                    reportFault(error, program);
                });
        });
    m_display.display(*drawable, renderData(), *commandBuffer);
    m_buffers.nextFrame(*commandBuffer);
    commandBuffer->present(drawable);
    commandBuffer->commit();
}

// A cpu() may change memory in every frame, so such a program's frames are never left out.
std::optional<FrameInputs> Machine::nextInputs() {
    if (m_surroundings.exactFrames || m_cpu.shader.current() ||
        !m_videoRenderer.isSettled(m_registers) || !m_videoRenderer.isFontComplete())
        return std::nullopt;
    return inputsSeen({.video = m_videoRenderer.settledShader(m_registers),
                       .registers = m_buffers.registers,
                       .time = m_time,
                       .sample = m_sample,
                       .input = m_input.changes()});
}

bool Machine::wouldRepeat(const std::optional<FrameInputs>& inputs) {
    return inputs && inputs == m_shownInputs && m_semaphore.value() == maxFramesInFlight &&
           m_display.wouldRepeat(m_registers);
}

void Machine::frameCompleted(Frame& frame, const SharedError& error) {
    m_input.clearClicks();
    if (error)
        frameFailed(frame, error);
    else
        frameSucceeded(frame);
    m_semaphore.signal();
}

void Machine::frameFailed(Frame& frame, const SharedError& error) {
    m_shownInputs.reset();
    m_restoresBanks = true;
    // Until the newer program is there, the next frame would run as long and be ended like this
    // one.
    m_awaitsProgram = m_surroundings.isCompiling() &&
                      (m_awaitsProgram || error->code == gpu::CommandBufferError::Code::Ended);
    reportFault(error, frame.program);
}

void Machine::frameSucceeded(Frame& frame) {
    if (frame.registersOf == m_buffers.registers) // not those of before a reset
        std::memcpy(m_registers.bytes.data(), frame.registers->contents().data(),
                    m_registers.bytes.size());
    m_cpu.shader.prove(frame.cpu);
    m_videoRenderer.prove(frame.video);
    noteGood(frame);
    if (!m_fault.get().empty() && !isAnyNewestStopped())
        m_fault.set({}); // a fault that the program has got over
    if (frame.bank) {
        m_shownBank = frame.bank;
        m_shownInputs = frame.inputs;
    }
}

bool Machine::isAnyNewestStopped() const {
    const auto& audio = m_audioRenderer.audioShader;
    return m_cpu.shader.isNewestStopped() || m_videoRenderer.isNewestStopped() ||
           (audio && audio->isStopped());
}

// A frame proves a program only when every stage drew it with that program's kernel.
void Machine::noteGood(const Frame& frame) {
    if (m_goodProgram == frame.program || frame.program != m_programNumber ||
        !m_program.isComplete || frame.cpu != m_cpu.shader.newest() ||
        frame.video != m_videoRenderer.newest() || !m_fault.get().empty())
        return;
    m_goodProgram = frame.program;
    m_surroundings.programIsGood(m_program.source);
}

Machine::SharedError Machine::shared(std::optional<gpu::CommandBufferError> error) {
    return error ? std::make_shared<gpu::CommandBufferError>(*std::move(error)) : nullptr;
}

// A stopped kernel is reported once, when it is stopped; frames that were on their way then fail
// with PipelineStopped. Command buffers that were ended or not carried out are nobody's fault.
void Machine::reportFault(const SharedError& error, unsigned program) {
    using Code = gpu::CommandBufferError::Code;
    if (!error || error->code == Code::PipelineStopped || error->code == Code::Ended ||
        error->code == Code::NotCarriedOut)
        return;
    m_surroundings.log.line("Error: " + error->message);
    if (program != m_programNumber || m_surroundings.isCompiling())
        return;
    m_fault.set(describeFault(*error, m_program) + consequenceOf(*error));
    if (m_fault.get() != error->message)
        m_surroundings.log.line(m_fault.get());
}

std::string Machine::consequenceOf(const gpu::CommandBufferError& error) const {
    if (m_surroundings.exactFrames)
        return {}; // rendering ends with the fault
    if (error.kernel == "audio")
        return m_audioRenderer.audioBuffer() ? "; the song before plays on" : "";
    const bool isCPU = error.kernel == "processor";
    if (isCPU ? !m_cpu.shader.isNewestStopped() : !m_videoRenderer.isNewestStopped())
        return "; it runs on";
    if (isCPU ? m_cpu.shader.hasFailed() : m_videoRenderer.hasFailed())
        return "; there is no earlier one to go back to";
    return "; the last good program goes on";
}

} // namespace starloom
