// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/engine/Display.h"

#include "SL42/engine/Screen.h"
#include "SL42/prelude/PreludeText.h"
#include "platform/base/Fatal.h"

#include <utility>

namespace starloom {

Display::Display(std::shared_ptr<gpu::Device> device)
    : m_device(std::move(device)), m_blankTexture(m_device->makeTexture({})) {
    auto library = m_device->makeLibrary(preludeText::display);
    if (!library)
        platform::fatalError(library.error().message);
    if (!m_blankTexture)
        platform::fatalError("Couldn't make the blank editor texture");
    m_library = std::move(*library);
    m_library->setLabel("Display");
    updateConstants();
}

void Display::updateConstants() {
    m_constantValues.setChar(0, static_cast<std::int8_t>(m_colorMode));
    m_constantValues.setBool(1, m_hdr);
    m_constantValues.setBool(2, m_showEditorOverlay && m_editorTexture);
    m_constantValues.setBool(3, m_invertEditorOverlay);
    startFunction();
}

void Display::startFunction() {
    const auto function = m_library->makeFunction("display", m_constantValues);
    if (!function)
        platform::fatalError(function.error().message);
    m_pendingShader = ComputeShader::createAsync(*m_device, *function);
    m_displayShader.reset();
}

/// Waits for it when it is pending.
ComputeShader& Display::shader() {
    if (!m_displayShader) {
        auto made = m_pendingShader.get();
        if (!made)
            platform::fatalError(made.error().message);
        m_displayShader = std::move(*made);
    }
    return *m_displayShader;
}

void Display::setShowEditorOverlay(bool show) {
    if (std::exchange(m_showEditorOverlay, show) != show)
        updateConstants();
}

void Display::setInvertEditorOverlay(bool invert) {
    if (std::exchange(m_invertEditorOverlay, invert) != invert)
        updateConstants();
}

void Display::setEditorTexture(std::optional<YUVTexture> texture) {
    const bool appears = texture.has_value() != m_editorTexture.has_value();
    m_editorTexture = std::move(texture);
    if (appears && m_showEditorOverlay)
        updateConstants();
}

void Display::followRegisters(const MachineBuffers& machine) {
    const std::uint8_t colorMode = machine.readRegister(Register::ColorMode);
    const bool hdr = machine.readRegister(Register::HDR) != 0;
    if (colorMode != m_colorMode || hdr != m_hdr) {
        m_colorMode = colorMode;
        m_hdr = hdr;
        updateConstants();
    } else if (shader().isStopped()) {
        // It is no program's kernel: if it did not come through, then because the machine was too
        // busy. The picture must come back.
        startFunction();
    }
}

void Display::display(gpu::Drawable& drawable, const RenderData& renderData,
                      gpu::CommandBuffer& commandBuffer) {
    const auto encoder = commandBuffer.makeComputeCommandEncoder();
    if (!encoder)
        return;
    encoder->setLabel("Display encoder");
    followRegisters(renderData.machine);
    encoder->setComputePipelineState(shader().pipelineState());
    encoder->setBuffer(renderData.machine.screenMemory[0], 0, 0);
    encoder->setTexture(m_editorTexture ? m_editorTexture->y : m_blankTexture, 0);
    encoder->setTexture(m_editorTexture ? m_editorTexture->uv : m_blankTexture, 1);
    encoder->setTexture(drawable.texture(), 2);
    encoder->dispatchThreads({screenWidth, screenHeight, 1}, {8, 8, 1});
    encoder->endEncoding();
}

} // namespace starloom
