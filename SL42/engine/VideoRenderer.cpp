// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/engine/VideoRenderer.h"

#include "SL42/hardware/Screen.h"
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
}

gpu::FunctionConstantValues VideoRenderer::constantsFor(const RegisterValues& registers) {
    gpu::FunctionConstantValues constants;
    constants.setChar(0, static_cast<std::int8_t>(registers[Register::ColorMode]));
    constants.setChar(1, static_cast<std::int8_t>(registers[Register::BlendMode]));
    return constants;
}

const gpu::FunctionConstantValues& VideoRenderer::updateConstants(const RegisterValues& registers) {
    if (std::exchange(m_registers, registers) != registers)
        m_constantValues = constantsFor(registers);
    return m_constantValues;
}

bool VideoRenderer::isSettled(const RegisterValues& registers) {
    const auto current = videoShader();
    return !current || current->isSettled(updateConstants(registers));
}

std::shared_ptr<ComputeShader> VideoRenderer::settledShader(const RegisterValues& registers) {
    const auto current = videoShader();
    return current ? current->use(updateConstants(registers)) : nullptr;
}

void VideoRenderer::makeFunction(const RegisterValues& registers) {
    if (const auto current = videoShader())
        current->use(updateConstants(registers));
}

void VideoRenderer::startFont() {
    if (!m_fontGen)
        m_fontGen = std::make_unique<FontTextureGenerator>(m_device, m_queue, m_log);
}

void VideoRenderer::waitForFont() {
    if (m_fontGen)
        m_fontGen->texture();
}

// Moves the merging of the font on by a step, in command buffers of its own.
std::shared_ptr<gpu::Texture> VideoRenderer::fontTex() {
    return m_fontGen ? m_fontGen->textureSoFar() : m_blank;
}

std::shared_ptr<ShaderVariants> VideoRenderer::render(const RenderData& renderData,
                                                      gpu::CommandBuffer& commandBuffer) {
    auto current = videoShader();
    const auto shader = current ? current->use(updateConstants(renderData.registers)) : nullptr;
    if (!shader)
        return nullptr;
    auto font = fontTex();
    const auto encoder = commandBuffer.makeComputeCommandEncoder();
    if (!encoder)
        return nullptr;
    encoder->setLabel("Video encoder");
    encoder->setComputePipelineState(shader->pipelineState());
    renderData.addToEncoder(*encoder, 0);
    encoder->setTexture(std::move(font), 2);
    encoder->dispatchThreads({screenWidth, screenHeight, 1}, {8, 8, 1});
    encoder->endEncoding();
    return current;
}

} // namespace starloom
