// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/engine/SL42.h"

#include "LiveCoding/LiveCodingFile.h"
#include "SL42/document/Journal.h"
#include "platform/TextFile.h"
#include "platform/base/Fatal.h"

#include <cmath>
#include <cstring>
#include <utility>

namespace starloom {

static Surroundings announce(Surroundings surroundings, const std::string& title) {
    surroundings.log.line("Init sl42: " + title);
    if (!surroundings.device)
        platform::fatalError("There is no GPU device");
    return surroundings;
}

static std::shared_ptr<gpu::CommandQueue> makeQueue(gpu::Device& device) {
    auto queue = device.makeCommandQueue();
    if (!queue)
        platform::fatalError("The GPU device has no command queue");
    return queue;
}

SL42::SL42(Surroundings surroundings, std::string title, std::string source, bool preview)
    : m_surroundings(announce(std::move(surroundings), title)),
      m_preview(preview),
      m_title(std::move(title)),
      m_source(std::move(source)),
      m_size(platform::characterCount(m_source)),
      m_audioMonitor(m_surroundings.audioCapture, m_surroundings.mainQueue, m_surroundings.log),
      m_view(m_surroundings.makeView(m_surroundings.device)),
      m_queue(makeQueue(*m_surroundings.device)),
      m_audioRenderer(m_queue, m_surroundings.mainQueue, m_surroundings.audioEngine,
                      m_surroundings.log),
      m_videoRenderer(m_surroundings.device, m_queue, m_surroundings.log),
      m_semaphore(m_surroundings.mainQueue, maxFramesInFlight),
      m_machine(m_surroundings.device),
      m_display(m_surroundings.device) {
    m_view->hdr.set(true);
    m_machine.reset();
    setMouseValues({});
    m_view->setDelegate(this);
    if (!m_preview) {
        compile();
        pack();
        reset();
    }
}

SL42::~SL42() {
    m_view->setDelegate(nullptr);
    // The handlers of work in flight refer to the surroundings. Work is done in order.
    if (const auto last = m_queue->makeCommandBuffer()) {
        last->commit();
        last->waitUntilCompleted();
    }
}

void SL42::setSource(std::string source) {
    m_source = std::move(source);
    if (m_preview)
        return;
    if (Journal* journal = m_surroundings.journal)
        if (auto recorded = journal->record(m_title, m_source); !recorded)
            m_surroundings.log.line("The journal is not kept: " + recorded.error().message);
    runOnMainQueue(
        [size = platform::characterCount(m_source)](SL42& engine) { engine.m_size.set(size); });
    compile();
    surveySizes();
    pack();
}

void SL42::setMouseValues(const MouseValues& values) {
    m_mouseValues.set(values);
    std::memcpy(m_machine.mouseBuffer->contents().data(), &values.mouseDataStruct(),
                sizeof(MtlMouseDataStruct));
}

void SL42::setShowEditorOverlay(bool show) {
    m_surroundings.log.line(show ? "Showing editor overlay" : "Hiding editor overlay");
    m_display.setShowEditorOverlay(show);
}

void SL42::setEditorTexture(std::optional<YUVTexture> texture) {
    m_display.setEditorTexture(std::move(texture));
}

void SL42::reset() {
    m_startTime.reset();
    m_time = 0;
    m_machine.reset();
    if (!playing.get())
        m_view->setNeedsDisplay();
    m_audioRenderer.reset();
}

void SL42::updateTime() {
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

void SL42::updateCursor(MTLPreview& view) {
    const bool show = m_machine.readRegister(Register::MousePointer) == 0;
    if (std::exchange(m_showCursor, show) != show)
        view.setShowCursor(show);
}

void SL42::copyInput() {
    const KeyboardState keys = m_keyboard.getKeyboardState();
    std::memcpy(m_machine.keyboardBuffer->contents().data(), &keys, sizeof keys);
    const auto fft = m_machine.fftBuffer->contents();
    if (m_audioMonitor.isActive().get())
        std::memcpy(fft.data(), &m_audioMonitor.fftValues(), sizeof(FFTValues));
    else if (m_audioRenderer.hasAudio() && m_audioRenderer.isPlaying().get())
        std::memcpy(fft.data(), &m_audioRenderer.fftValues, sizeof(FFTValues));
}

RenderData SL42::renderData() const {
    return {.machine = m_machine, .time = m_time, .sample = m_sample};
}

void SL42::draw(MTLPreview& view) {
    if (m_preview)
        return;
    m_semaphore.wait();
    if (playing.get())
        updateTime();
    updateCursor(view);
    copyInput();

    const auto commandBuffer = m_queue->makeCommandBuffer();
    if (!commandBuffer) {
        m_semaphore.signal();
        return;
    }
    drawMachine(*commandBuffer);
    if (const auto drawable = view.currentDrawable())
        showMachine(drawable);
}

// Handlers run on the device's thread; they do no more than hop to the main queue.
void SL42::drawMachine(gpu::CommandBuffer& commandBuffer) {
    commandBuffer.setLabel("Render");
    commandBuffer.addCompletedHandler([this, program = m_program](gpu::CommandBuffer& completed) {
        runOnMainQueue([program, error = shared(completed.error())](SL42& engine) {
            engine.reportFault(error, program);
            engine.frameCompleted();
        });
    });
    const RenderData data = renderData();
    m_cpu.run(commandBuffer, data);
    m_videoRenderer.render(data, commandBuffer);
    commandBuffer.commit();
}

void SL42::showMachine(const std::shared_ptr<gpu::Drawable>& drawable) {
    const auto commandBuffer = m_queue->makeCommandBuffer();
    if (!commandBuffer)
        return;
    commandBuffer->setLabel("Display");
    commandBuffer->addCompletedHandler([this, program = m_program](gpu::CommandBuffer& completed) {
        if (auto error = shared(completed.error()))
            runOnMainQueue([program, error = std::move(error)](SL42& engine) {
                engine.reportFault(error, program);
            });
    });
    m_display.display(*drawable, renderData(), *commandBuffer);
    m_machine.nextFrame(*commandBuffer);
    commandBuffer->present(drawable);
    commandBuffer->commit();
}

// The left click lasts until a frame has seen it. The right click then reads as set from the first
// frame on: programs have come to rely on that.
void SL42::frameCompleted() {
    MouseValues values = mouseValues();
    values.setClicks(false, true);
    setMouseValues(values);
    m_semaphore.signal();
}

SL42::SharedError SL42::shared(std::optional<gpu::CommandBufferError> error) {
    return error ? std::make_shared<gpu::CommandBufferError>(*std::move(error)) : nullptr;
}

// A stopped kernel is reported once, when it is stopped; frames that were on their way then fail
// with PipelineStopped.
void SL42::reportFault(const SharedError& error, unsigned program) {
    if (!error || error->code == gpu::CommandBufferError::Code::PipelineStopped)
        return;
    m_surroundings.log.line("Error: " + error->message);
    if (program == m_program)
        m_fault.set(error->message);
}

} // namespace starloom
