// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/font/FontTextureGenerator.h"

#include "gpu/WaitFor.h"
#include "platform/base/Fatal.h"

#include <chrono>
#include <utility>

namespace starloom {
namespace {

using platform::fatalError;

/// One kernel, run once per style and pixel. Most texels are blank, as the new texture is already;
/// passing them over halves the time.
constexpr char kernelSource[] = R"(#include <metal_stdlib>
using namespace metal;

kernel void addFontChannel(texture2d<float, access::read> style [[texture(0)]],
                           texture2d<float, access::read_write> atlas [[texture(1)]],
                           constant int& channel [[buffer(0)]],
                           uint2 position [[thread_position_in_grid]]) {
    const float coverage = style.read(position).r;
    if (coverage == 0)
        return;
    float4 texel = atlas.read(position);
    texel[channel] = coverage;
    atlas.write(texel, position);
}
)";

/// A merge fails when a user's kernel takes the compute service down with it, which must not cost
/// the text; but a device that fails it every time is not worth a frame more.
constexpr int maxAttempts = 3;

std::shared_ptr<gpu::Texture> makeAtlas(gpu::Device& device, std::uint32_t size) {
    auto texture = device.makeTexture({.format = gpu::PixelFormat::RGBA8Unorm,
                                       .width = size,
                                       .height = size,
                                       .mipLevels = gpu::fullMipCount(size, size)});
    if (!texture)
        fatalError("Failed to set up font generator");
    texture->setLabel("Font");
    return texture;
}

platform::Result<std::shared_ptr<gpu::ComputePipelineState>> tryPipeline(gpu::Device& device) {
    device.vouchFor(kernelSource);
    const auto library = SL42_TRY(gpu::waitForLibrary(device, kernelSource));
    return gpu::waitForPipeline(device, SL42_TRY(library->makeFunction("addFontChannel")));
}

/// It is known to compile, so whoever says that it does not is replaced.
platform::Result<std::shared_ptr<gpu::ComputePipelineState>> makePipeline(gpu::Device& device,
                                                                          platform::Log& log) {
    auto pipeline = tryPipeline(device);
    for (int attempt = 1; !pipeline && attempt < maxAttempts; ++attempt) {
        log.line("Error: the font's own kernel is compiled again: " + pipeline.error().message);
        device.replaceWorker();
        pipeline = tryPipeline(device);
    }
    return pipeline;
}

platform::Result<FontPictures> draw(const FontNames& names, const FontGrid& grid,
                                    platform::Log& log, const std::stop_token& stop) {
    const auto fonts = SL42_TRY(platform::FontLookup::open());
    return drawFontPictures(names, grid, fonts, log, FontCache::ofThisUser(), stop);
}

} // namespace

FontTextureGenerator::FontTextureGenerator(std::shared_ptr<gpu::Device> device,
                                           std::shared_ptr<gpu::CommandQueue> queue,
                                           platform::Log& log, FontNames font, double textureSize)
    : m_device(std::move(device)),
      m_queue(std::move(queue)),
      m_log(log),
      m_grid(textureSize),
      m_texture(makeAtlas(*m_device, m_grid.size())),
      m_drawing(std::async(std::launch::async,
                           [names = std::move(font), grid = m_grid, &log, device = m_device,
                            stop = m_stop.get_token()]() -> platform::Result<Drawn> {
                               auto pictures = SL42_TRY(draw(names, grid, log, stop));
                               return Drawn{std::move(pictures), makePipeline(*device, log)};
                           })) {}

FontTextureGenerator::~FontTextureGenerator() {
    m_stop.request_stop();
}

const std::shared_ptr<gpu::Texture>& FontTextureGenerator::texture() {
    if (m_stage == Stage::Drawing)
        takePictures();
    while (m_stage == Stage::Merging) {
        m_work->waitUntilCompleted();
        finishStep();
    }
    return m_texture;
}

const std::shared_ptr<gpu::Texture>& FontTextureGenerator::textureSoFar() {
    switch (m_stage) {
    case Stage::Drawing:
        if (m_drawing.wait_for(std::chrono::seconds(0)) == std::future_status::ready)
            takePictures();
        break;
    case Stage::Merging:
        finishStep();
        break;
    case Stage::Complete:
        break;
    }
    return m_texture;
}

/// Waits for the thread if need be.
void FontTextureGenerator::takePictures() {
    auto drawn = m_drawing.get();
    if (!drawn) {
        m_log.line("Error: " + drawn.error().message);
        fatalError("Could not create CGContext for font renderin");
    }
    if (!drawn->pipeline) {
        m_log.line("Error: there is no text, because the font failed: " +
                   drawn->pipeline.error().message);
        m_stage = Stage::Complete;
        return;
    }
    m_pipeline = *drawn->pipeline;
    m_pictures = std::move(drawn->pictures);
    m_stage = Stage::Merging;
    commitStep();
}

void FontTextureGenerator::commitStep() {
    m_work = m_queue->makeCommandBuffer();
    if (!m_work)
        fatalError("Failed to create command buffer for font generator");
    m_work->setLabel("Font texture");
    if (m_step < fontStyleCount)
        encodeMerge(*m_work);
    else
        encodeMipmaps(*m_work);
    m_work->commit();
    ++m_attempts;
}

void FontTextureGenerator::finishStep() {
    const gpu::CommandBufferStatus status = m_work->status();
    if (status != gpu::CommandBufferStatus::Completed && status != gpu::CommandBufferStatus::Error)
        return;
    const auto error = m_work->error();
    if (error && m_attempts < maxAttempts)
        return commitStep();
    if (!error && m_step < fontStyleCount) {
        m_pictures.styles[m_step++].reset();
        m_attempts = 0;
        return commitStep();
    }
    if (error)
        m_log.line("Error: text is incomplete, because the font failed: " + error->message);
    m_work.reset();
    m_pictures = {};
    m_stage = Stage::Complete;
}

void FontTextureGenerator::encodeMerge(gpu::CommandBuffer& commandBuffer) const {
    const auto compute = commandBuffer.makeComputeCommandEncoder();
    if (!compute)
        fatalError("Failed to create compute command encoder for font texture");
    auto style = m_device->makeTexture({.format = gpu::PixelFormat::R8Unorm,
                                        .width = m_pictures.size,
                                        .height = m_pictures.size,
                                        .mipLevels = 1},
                                       m_pictures.styles[m_step], 0, m_pictures.size);
    if (!style)
        fatalError("Couldn't mipmap font texture.");
    const auto channel = static_cast<std::int32_t>(m_step);
    compute->setComputePipelineState(m_pipeline);
    compute->setTexture(std::move(style), 0);
    compute->setTexture(m_texture, 1);
    compute->setBytes(std::as_bytes(std::span(&channel, 1)), 0);
    compute->dispatchThreads({m_pictures.size, m_pictures.size, 1}, {64, 1, 1});
    compute->endEncoding();
}

void FontTextureGenerator::encodeMipmaps(gpu::CommandBuffer& commandBuffer) const {
    const auto blit = commandBuffer.makeBlitCommandEncoder();
    if (!blit)
        fatalError("Failed to create blit command encoder for font texture");
    blit->generateMipmaps(m_texture);
    blit->endEncoding();
}

} // namespace starloom
