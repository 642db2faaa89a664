// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/engine/VideoRenderer.h"

#include "SL42/engine/Screen.h"
#include "platform/base/Fatal.h"

#include <utility>

namespace starloom {

VideoRenderer::VideoRenderer(std::shared_ptr<gpu::Device> device,
                             std::shared_ptr<gpu::CommandQueue> queue, platform::Log& log)
    : m_device(std::move(device)),
      m_queue(std::move(queue)),
      m_log(log),
      m_blank(m_device->makeTexture({})) {
    if (!m_blank)
        platform::fatalError("Failed to set up font generator");
    m_blank->setLabel("No font");
    setConstants();
}

std::string VideoRenderer::updateLibrary(const LibraryResult& library) {
    return updateLibraryAsync(library).get();
}

std::future<std::string> VideoRenderer::updateLibraryAsync(const LibraryResult& library) {
    if (!library)
        return std::async(std::launch::deferred,
                          [message = compilationFailed(library)] { return message; });
    m_library = *library;
    return makeFunctionAsync();
}

std::string VideoRenderer::makeFunction() {
    return makeFunctionAsync().get();
}

// What there is to say is said by get(), so that the log stays in order.
std::future<std::string> VideoRenderer::makeFunctionAsync() {
    if (!m_library)
        return std::async(std::launch::deferred,
                          [] { return std::string("Couldn't load library for video shader\n"); });
    const auto function = m_library->makeFunction("video", m_constantValues);
    if (!function)
        return std::async(std::launch::deferred, [this, message = function.error().message] {
            m_log.line(message);
            return std::string("Couldn't find video function\n");
        });
    return std::async(std::launch::deferred,
                      [this, pending = ComputeShader::createAsync(*m_device, *function)]() mutable {
                          return takeShader(pending.get());
                      });
}

std::string VideoRenderer::takeShader(gpu::Result<std::unique_ptr<ComputeShader>> shader) {
    if (!shader) {
        m_log.line(shader.error().message);
        return "Failed to create video compute pipeline state\n";
    }
    m_videoShader = std::move(*shader);
    return "Done.\n";
}

void VideoRenderer::setConstants() {
    m_constantValues.setChar(0, static_cast<std::int8_t>(m_colorMode));
    m_constantValues.setChar(1, static_cast<std::int8_t>(m_blendMode));
}

// When the rebuilding fails, the frame draws with the kernel before.
void VideoRenderer::followRegisters(const MachineBuffers& machine) {
    const std::uint8_t colorMode = machine.readRegister(Register::ColorMode);
    const std::uint8_t blendMode = machine.readRegister(Register::BlendMode);
    if (colorMode == m_colorMode && blendMode == m_blendMode)
        return;
    m_colorMode = colorMode;
    m_blendMode = blendMode;
    setConstants();
    makeFunction();
}

void VideoRenderer::startFont() {
    if (!m_font)
        m_font = std::make_unique<FontTextureGenerator>(m_device, m_queue, m_log);
}

void VideoRenderer::waitForFont() {
    if (m_font)
        m_font->texture();
}

// Moves the merging of the font on by a step, in command buffers of its own.
std::shared_ptr<gpu::Texture> VideoRenderer::fontTexture() {
    return m_font ? m_font->textureSoFar() : m_blank;
}

void VideoRenderer::render(const RenderData& renderData, gpu::CommandBuffer& commandBuffer) {
    // A stopped kernel must not come back by way of a register, where it would hang every frame.
    if (!m_videoShader || m_videoShader->isStopped())
        return;
    auto font = fontTexture();
    const auto encoder = commandBuffer.makeComputeCommandEncoder();
    if (!encoder)
        return;
    encoder->setLabel("Video encoder");
    followRegisters(renderData.machine);
    encoder->setComputePipelineState(m_videoShader->pipelineState());
    renderData.addToEncoder(*encoder, 0);
    encoder->setTexture(std::move(font), 2);
    encoder->dispatchThreads({screenWidth, screenHeight, 1}, {8, 8, 1});
    encoder->endEncoding();
}

} // namespace starloom
