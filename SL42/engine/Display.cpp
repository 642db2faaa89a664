// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/engine/Display.h"

#include "SL42/hardware/Screen.h"
#include "SL42/prelude/PreludeText.h"
#include "platform/base/Fatal.h"

namespace starloom {

Display::Display(std::shared_ptr<gpu::Device> device, platform::MainQueue& mainQueue,
                 platform::Log& log)
    : m_device(std::move(device)),
      m_mainQueue(mainQueue),
      m_log(log),
      m_blankTexture(m_device->makeTexture({})),
      m_anchor(mainQueue) {
    if (!m_blankTexture)
        platform::fatalError("Couldn't make the blank editor texture");
    startCompiling();
}

void Display::startCompiling() {
    m_device->vouchFor(preludeText::display);
    m_pendingLibrary =
        m_device->makeLibrary(std::string(preludeText::display),
                              m_anchor.handler([this](const auto& library) { take(library); }));
}

void Display::take(const gpu::Result<std::shared_ptr<gpu::Library>>& library) {
    if (!library)
        return takeFailure(library.error().message);
    (*library)->setLabel("Display");
    m_displayShader =
        std::make_unique<ShaderVariants>(m_device, *library, "display", m_mainQueue, m_log);
    // In a task of its own, since it may replace the very object that calls it.
    m_displayShader->failed =
        m_anchor.handler([this](const std::string& message) { takeFailure(message); });
    m_displayShader->made = [this] {
        m_isReady = true;
        m_failures = 0;
    };
    makeFunction({});
}

void Display::takeFailure(const std::string& message) {
    constexpr unsigned mostFailures = 3;
    if (++m_failures >= mostFailures) {
        if (!m_isReady)
            platform::fatalError(message);
        return;
    }
    m_log.line("Error: the picture's own kernel is compiled again: " + message);
    m_device->replaceWorker();
    if (m_isReady)
        m_displayShader->forgetFailures();
    else
        startCompiling();
}

void Display::stop() {
    m_pendingLibrary.reset();
    m_displayShader.reset();
    m_displayedWith.reset();
    m_isReady = false;
}

const gpu::FunctionConstantValues& Display::updateConstants(const RegisterValues& registers) {
    const Modes modes{.colorMode = registers[Register::ColorMode],
                      .hdr = registers[Register::HDR] != 0,
                      .showEditor = m_showEditorOverlay && m_editorTexture,
                      .invertEditorColors = m_invertEditorOverlay};
    if (m_modes != modes) {
        m_modes = modes;
        m_constantValues.setChar(0, static_cast<std::int8_t>(modes.colorMode));
        m_constantValues.setBool(1, modes.hdr);
        m_constantValues.setBool(2, modes.showEditor);
        m_constantValues.setBool(3, modes.invertEditorColors);
    }
    return m_constantValues;
}

bool Display::isSettled(const RegisterValues& registers) {
    return m_isReady && m_displayShader->isSettled(updateConstants(registers));
}

// The display's kernel is our own, not the program's: only a busy machine can have stopped it. It
// is made again, so that the picture comes back.
void Display::makeFunction(const RegisterValues& registers) {
    if (m_displayShader)
        m_displayShader->use(updateConstants(registers), true);
}

bool Display::wouldRepeat(const RegisterValues& registers) {
    return m_displayedWith && isSettled(registers) &&
           m_displayShader->use(updateConstants(registers)) == m_displayedWith;
}

void Display::display(gpu::Drawable& drawable, const RenderData& renderData,
                      gpu::CommandBuffer& commandBuffer) {
    const auto shader = m_displayShader->use(updateConstants(renderData.registers), true);
    const auto encoder = commandBuffer.makeComputeCommandEncoder();
    if (!encoder)
        return;
    encoder->setLabel("Display encoder");
    encoder->setComputePipelineState(shader->pipelineState());
    encoder->setBuffer(renderData.machine.screenMemory[0], 0, 0);
    encoder->setTexture(m_editorTexture ? m_editorTexture->y : m_blankTexture, 0);
    encoder->setTexture(m_editorTexture ? m_editorTexture->uv : m_blankTexture, 1);
    encoder->setTexture(drawable.texture(), 2);
    encoder->dispatchThreads({screenWidth, screenHeight, 1}, {8, 8, 1});
    encoder->endEncoding();
    m_displayedWith = shader;
}

} // namespace starloom
