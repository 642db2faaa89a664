// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/audio/SongRendering.h"

#include "platform/base/Fatal.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

namespace starloom {
namespace {

constexpr std::uint32_t threadgroup = 64;
constexpr std::uint32_t firstPiece = 2048;
/// Copying so many takes the main thread about a millisecond.
constexpr std::uint32_t largestPiece = 1U << 18;
/// Of one piece.
constexpr unsigned maxAttempts = 5;
/// What a piece should take: a fraction of a frame.
constexpr double pieceMilliseconds = 5;

std::uint32_t sampleCountOf(const AudioSpec& spec) {
    const std::uint64_t count = spec.sampleCount(audioSampleRate);
    if (count > std::numeric_limits<std::uint32_t>::max())
        platform::fatalError("The song has too many samples");
    return static_cast<std::uint32_t>(count);
}

/// Whole threadgroups that take about as long as a piece should, at most four times as many as the
/// piece before.
std::uint32_t nextPiece(std::uint32_t piece, double milliseconds) {
    const double factor = std::clamp(pieceMilliseconds / std::max(milliseconds, 1e-3), 1e-3, 4.0);
    const auto wanted = static_cast<std::uint32_t>(factor * piece);
    return std::clamp(wanted, threadgroup, largestPiece) / threadgroup * threadgroup;
}

} // namespace

// A flag per sample without branches keeps the loop vectorised.
void RenderedSong::copy(std::span<const std::byte> audioMemory, std::size_t first,
                        std::size_t count) {
    assert(audioMemory.size() / audioSampleLength >= first + count);
    const std::byte* source = audioMemory.data();
    float* left = buffer->channel(0).data();
    float* right = buffer->channel(1).data();
    unsigned nonZero = 0;
    for (std::size_t i = first; i < first + count; ++i) {
        float sample[2];
        std::memcpy(sample, source + i * audioSampleLength, sizeof sample);
        left[i] = sample[0];
        right[i] = sample[1];
        nonZero |=
            static_cast<unsigned>(sample[0] != 0.0F) | static_cast<unsigned>(sample[1] != 0.0F);
    }
    hasSound = hasSound || nonZero != 0;
}

SongRendering::SongRendering(std::shared_ptr<gpu::CommandQueue> queue,
                             platform::MainQueue& mainQueue, std::shared_ptr<ComputeShader> shader,
                             RenderData renderData, std::function<void()> progressed,
                             Finished finished)
    : m_queue(std::move(queue)),
      m_shader(std::move(shader)),
      m_renderData(std::move(renderData)),
      m_progressed(std::move(progressed)),
      m_finished(std::move(finished)),
      m_sampleCount(sampleCountOf(m_renderData.machine.audioSpec)),
      m_piece(firstPiece),
      m_anchor(mainQueue) {
    if (!m_shader)
        platform::fatalError("There is no audio kernel to render with");
    m_song.buffer = PCMBuffer::create(m_sampleCount);
    if (m_song.buffer && m_sampleCount > 0)
        renderPiece();
    else
        m_anchor.async([this] { finish(std::move(m_song)); });
}

double SongRendering::progress() const {
    return m_sampleCount == 0 ? 1 : static_cast<double>(m_done) / m_sampleCount;
}

void SongRendering::renderPiece() {
    const auto commandBuffer = m_queue->makeCommandBuffer();
    if (!commandBuffer)
        platform::fatalError("Couldn't make command buffer for audio rendering.");
    commandBuffer->setLabel("Audio");
    const auto encoder = commandBuffer->makeComputeCommandEncoder();
    if (!encoder)
        platform::fatalError("Couldn't make command buffer or encoder for audio rendering.");
    m_piece = std::min(m_piece, m_sampleCount - m_done);
    encoder->setLabel("Audio encoder");
    encoder->setComputePipelineState(m_shader->pipelineState());
    m_renderData.addToEncoder(*encoder, 0);
    encoder->dispatchPart({m_sampleCount, 1, 1}, {threadgroup, 1, 1},
                          {.offset = m_done, .length = m_piece});
    encoder->endEncoding();

    using Outcome = platform::Result<double, gpu::CommandBufferError>;
    commandBuffer->addCompletedHandler(
        [rendered = m_anchor.handler([this](const std::shared_ptr<Outcome>& outcome) {
            if (*outcome)
                pieceRendered(**outcome);
            else
                pieceFailed(outcome->error());
        })](gpu::CommandBuffer& completed) {
            const auto error = completed.error();
            rendered(std::make_shared<Outcome>(error ? Outcome(*error)
                                                     : Outcome(completed.milliseconds())));
        });
    commandBuffer->commit();
}

void SongRendering::pieceRendered(double milliseconds) {
    m_song.copy(m_renderData.machine.audioMemory->contents(), m_done, m_piece);
    m_done += m_piece;
    m_attempts = 0;
    if (m_done == m_sampleCount)
        return finish(std::move(m_song));
    m_piece = nextPiece(m_piece, milliseconds);
    renderPiece();
    m_progressed();
}

// What ended for a reason outside of it is rendered again.
void SongRendering::pieceFailed(const gpu::CommandBufferError& error) {
    using Code = gpu::CommandBufferError::Code;
    const bool isInnocent = error.code == Code::ServiceLost || error.code == Code::Ended ||
                            (error.code != Code::PipelineStopped && !m_shader->isStopped());
    if (isInnocent && ++m_attempts < maxAttempts)
        renderPiece();
    else
        finish(error);
}

void SongRendering::finish(Result result) {
    const Finished finished = std::move(m_finished); // which may destroy this
    finished(std::move(result));
}

} // namespace starloom
