// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/audio/SampleCapture.h"

#include <array>
#include <utility>

namespace platform {

void SampleCapture::setSamples(std::string name, std::vector<float> samples) {
    m_name = std::move(name);
    m_samples = std::move(samples);
    m_samples.resize((m_samples.size() + blockLength - 1) / blockLength * blockLength);
    m_hasSamples = true;
    if (m_onChange)
        m_onChange();
}

void SampleCapture::advance(std::uint64_t samples) {
    static constexpr std::array<float, blockLength> silence{};
    for (; (m_block + 1) * blockLength <= samples; ++m_block) {
        const std::uint64_t first = m_block * blockLength;
        if (m_onBlock && first < m_samples.size())
            m_onBlock(std::span(m_samples).subspan(first, blockLength));
        else if (m_onBlock)
            m_onBlock(silence);
    }
}

std::vector<AudioCaptureDevice> SampleCapture::devices() {
    if (!m_hasSamples)
        return {};
    return {{.name = m_name, .identifier = m_name}};
}

void SampleCapture::start(const std::string&, BlockHandler onBlock, EventHandler onEvent) {
    m_onBlock = std::move(onBlock);
    onEvent({AudioCaptureEvent::Kind::Started, {}});
}

} // namespace platform
