// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/engine/SL42.h"

#include "LiveCoding/LiveCodingFile.h"
#include "SL42/builder/Compilation.h"
#include "SL42/builder/ProgramBuilder.h"
#include "SL42/document/Journal.h"
#include "platform/TextFile.h"
#include "platform/base/Fatal.h"

#include <algorithm>
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

static std::shared_ptr<gpu::Buffer> makeRegisterCopy(gpu::Device& device) {
    auto buffer = device.makeBuffer(registersLength, gpu::StorageMode::Shared);
    if (!buffer)
        platform::fatalError("Couldn't allocate virtual machine buffers");
    buffer->setLabel("Registers of a frame");
    return buffer;
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
      m_display(m_surroundings.device, m_surroundings.mainQueue, m_surroundings.log),
      m_screenCapture(m_surroundings.device, m_surroundings.mainQueue, m_surroundings.log,
                      m_surroundings.makeCapture) {
    m_view->hdr.set(true);
    m_machine.reset();
    for (Frame& frame : m_frames)
        frame.registers = makeRegisterCopy(*m_surroundings.device);
    setMouseValues({});
    m_view->setDelegate(this);
    if (!m_preview) {
        compile();
        pack();
        reset();
    }
    m_screenCapture.textureUpdateBlock = [this](std::optional<YUVTexture> texture) {
        setEditorTexture(std::move(texture));
    };
}

SL42::~SL42() {
    m_view->setDelegate(nullptr);
    m_compilation.reset();
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

void SL42::setSource(std::string source) {
    keepSource(std::move(source));
    if (m_preview)
        return;
    compile();
    surveySizes();
    pack();
}

void SL42::offerSource(std::string source) {
    keepSource(std::move(source));
    if (m_preview)
        return;
    runAgain();
    surveySizes();
    pack();
}

void SL42::keepSource(std::string source) {
    m_source = std::move(source);
    if (m_preview)
        return;
    if (Journal* journal = m_surroundings.journal)
        if (auto recorded = journal->record(m_title, m_source); !recorded)
            m_surroundings.log.line("The journal is not kept: " + recorded.error().message);
    runOnMainQueue(
        [size = platform::characterCount(m_source)](SL42& engine) { engine.m_size.set(size); });
}

void SL42::runAgain() {
    const auto bad = findBadMusic(m_source);
    if (!bad)
        return compile();
    m_compilation.reset();
    const std::size_t line = linesBeforeProgram() + bad->line;
    publishLog("Compilation failed:\nprogram_source:" + std::to_string(line) +
               ":1: error: " + bad->reason + "\n");
}

void SL42::setMouseValues(const MouseValues& values) {
    m_mouseValues.set(values);
    setInput(*m_machine.mouseBuffer, std::as_bytes(std::span(&values.mouseDataStruct(), 1)));
}

void SL42::setInput(gpu::Buffer& buffer, std::span<const std::byte> bytes) {
    const auto contents = buffer.contents();
    if (std::memcmp(contents.data(), bytes.data(), bytes.size()) == 0)
        return;
    std::memcpy(contents.data(), bytes.data(), bytes.size());
    ++m_inputChanges;
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
    m_registers = {};
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
    const bool show = m_registers[Register::MousePointer] == 0;
    if (std::exchange(m_showCursor, show) != show)
        view.setShowCursor(show);
}

void SL42::copyInput() {
    const KeyboardState keys = m_keyboard.getKeyboardState();
    setInput(*m_machine.keyboardBuffer, std::as_bytes(std::span(&keys, 1)));
    const auto setSpectrum = [this](const FFTValues& values) {
        setInput(*m_machine.fftBuffer, std::as_bytes(std::span(&values, 1)));
    };
    if (m_audioMonitor.isActive().get())
        setSpectrum(m_audioMonitor.fftValues());
    else if (m_audioRenderer.hasAudio() && m_audioRenderer.isPlaying().get())
        setSpectrum(m_audioRenderer.fftValues);
}

RenderData SL42::renderData() const {
    return {.machine = m_machine, .time = m_time, .sample = m_sample, .registers = m_registers};
}

bool SL42::isReadyToDraw() const {
    if (!m_hasProgram || !m_display.isReady() || (m_awaitsProgram && m_compilation))
        return false;
    return m_restoresBanks ? m_semaphore.value() == maxFramesInFlight : m_semaphore.value() > 0;
}

void SL42::waitUntilReady() {
    const auto isSettled = [this] {
        return m_videoRenderer.isSettled(m_registers) && m_display.isSettled(m_registers);
    };
    while (!isReadyToDraw())
        m_surroundings.mainQueue.waitAndRun();
    if (!m_surroundings.exactFrames)
        return;
    while (!isSettled()) {
        m_videoRenderer.prepare(m_registers);
        m_display.prepare(m_registers);
        if (!isSettled())
            m_surroundings.mainQueue.waitAndRun();
    }
}

void SL42::draw(MTLPreview& view) {
    if (m_preview)
        return;
    waitUntilReady();
    if (playing.get())
        updateTime();
    updateCursor(view);
    copyInput();
    auto inputs = nextInputs();
    if (wouldRepeat(inputs)) {
        view.repeatPicture();
        return clearClicks();
    }
    m_semaphore.wait();

    Frame& frame = m_frames[m_nextFrame++ % m_frames.size()];
    frame.program = m_takenProgram;
    frame.inputs = std::move(inputs);
    m_shownInputs.reset();
    const auto commandBuffer = drawMachine(frame);
    if (!commandBuffer) {
        m_semaphore.signal();
        return;
    }
    // While nothing may draw, the last picture stays.
    const auto drawable = m_videoRenderer.hasFailed() ? nullptr : view.currentDrawable();
    frame.bank = drawable ? m_machine.screenMemory[0] : nullptr;
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
std::shared_ptr<gpu::CommandBuffer> SL42::drawMachine(Frame& frame) {
    auto commandBuffer = m_queue->makeCommandBuffer();
    if (!commandBuffer)
        return nullptr;
    commandBuffer->setLabel("Render");
    commandBuffer->addCompletedHandler([this, &frame](gpu::CommandBuffer& completed) {
        runOnMainQueue([&frame, error = shared(completed.error())](SL42& engine) {
            engine.frameCompleted(frame, error);
        });
    });
    if (m_restoresBanks)
        restoreBanks(*commandBuffer);
    if (m_lastRender)
        commandBuffer->setNeeds(m_lastRender);
    m_lastRender = commandBuffer;
    const RenderData data = renderData();
    frame.cpu = m_cpu.run(*commandBuffer, data);
    frame.video = m_videoRenderer.render(data, *commandBuffer);
    frame.registersOf = m_machine.registers;
    copyRegisters(frame.registersOf, frame.registers, *commandBuffer);
    commandBuffer->commit();
    return commandBuffer;
}

void SL42::restoreBanks(gpu::CommandBuffer& commandBuffer) {
    m_restoresBanks = false;
    m_lastRender = nullptr;
    m_machine.restoreBanks(m_shownBank, commandBuffer);
}

void SL42::showMachine(const std::shared_ptr<gpu::Drawable>& drawable,
                       const std::shared_ptr<gpu::CommandBuffer>& render) {
    const auto commandBuffer = m_queue->makeCommandBuffer();
    if (!commandBuffer)
        return;
    commandBuffer->setLabel("Display");
    commandBuffer->setNeeds(render);
    commandBuffer->addCompletedHandler(
        [this, program = m_takenProgram](gpu::CommandBuffer& completed) {
            if (auto error = shared(completed.error()))
                runOnMainQueue([program, error = std::move(error)](SL42& engine) {
                    engine.m_shownInputs.reset();
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
void SL42::clearClicks() {
    MouseValues values = mouseValues();
    values.setClicks(false, true);
    setMouseValues(values);
}

// Only the picture is known to be a repetition: what runs on every core goes on.
std::optional<FrameInputs> SL42::nextInputs() {
    if (m_surroundings.exactFrames || m_cpu.shader.current() ||
        !m_videoRenderer.isSettled(m_registers) || !m_videoRenderer.isFontComplete())
        return std::nullopt;
    return inputsSeen({.video = m_videoRenderer.settledShader(m_registers),
                       .registers = m_machine.registers,
                       .time = m_time,
                       .sample = m_sample,
                       .input = m_inputChanges});
}

bool SL42::wouldRepeat(const std::optional<FrameInputs>& inputs) {
    return inputs && inputs == m_shownInputs && m_semaphore.value() == maxFramesInFlight &&
           m_display.wouldRepeat(m_registers);
}

void SL42::frameCompleted(Frame& frame, const SharedError& error) {
    clearClicks();
    if (error) {
        m_shownInputs.reset();
        m_restoresBanks = true;
        // What was ended for a newer program would only have to be ended again.
        m_awaitsProgram = m_compilation &&
                          (m_awaitsProgram || error->code == gpu::CommandBufferError::Code::Ended);
        reportFault(error, frame.program);
    } else {
        if (frame.registersOf == m_machine.registers) // not those of before a reset
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
    m_semaphore.signal();
}

bool SL42::isAnyNewestStopped() const {
    const auto& audio = m_audioRenderer.audioShader;
    return m_cpu.shader.isNewestStopped() || m_videoRenderer.isNewestStopped() ||
           (audio && audio->isStopped());
}

// A frame that a stage drew with an earlier kernel says nothing for the program.
void SL42::noteGood(const Frame& frame) {
    if (m_goodProgram == frame.program || frame.program != m_takenProgram ||
        m_takenSource.empty() || frame.cpu != m_cpu.shader.newest() ||
        frame.video != m_videoRenderer.newest() || !m_fault.get().empty())
        return;
    m_goodProgram = frame.program;
    if (Journal* journal = m_surroundings.journal) // record() has said it if there is none
        (void)journal->recordGood(m_title, m_takenSource);
}

SL42::SharedError SL42::shared(std::optional<gpu::CommandBufferError> error) {
    return error ? std::make_shared<gpu::CommandBufferError>(*std::move(error)) : nullptr;
}

// A stopped kernel is reported once, when it is stopped; frames that were on their way then fail
// with PipelineStopped, and nobody is to blame for what was ended or left out.
void SL42::reportFault(const SharedError& error, unsigned program) {
    using Code = gpu::CommandBufferError::Code;
    if (!error || error->code == Code::PipelineStopped || error->code == Code::Ended ||
        error->code == Code::NotCarriedOut)
        return;
    m_surroundings.log.line("Error: " + error->message);
    if (program != m_takenProgram || m_compilation)
        return;
    m_fault.set(describe(*error) + consequenceOf(*error));
    if (m_fault.get() != error->message)
        m_surroundings.log.line(m_fault.get());
}

// The innermost place in the program itself: what it called of the prelude is not its own.
std::string SL42::describe(const gpu::CommandBufferError& error) const {
    const std::size_t before = linesBeforeProgram();
    const auto lineCount =
        static_cast<std::size_t>(std::count(m_source.begin(), m_source.end(), '\n')) + 1;
    const auto place = std::ranges::find_if(error.lines, [&](std::uint32_t line) {
        return line > before && line <= before + lineCount;
    });
    if (place == error.lines.end() || error.what.empty())
        return error.message;
    return "line " + std::to_string(*place - before) + ": " + error.what;
}

std::string SL42::consequenceOf(const gpu::CommandBufferError& error) const {
    if (m_surroundings.exactFrames)
        return {}; // there is no show
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
