// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/audio/MixerPlayerNode.h"

#include <cassert>
#include <utility>

namespace platform {

MixerPlayerNode::~MixerPlayerNode() {
    stop();
}

void MixerPlayerNode::schedule(std::shared_ptr<const PCMBuffer> buffer, std::int64_t start) {
    assert(buffer && start <= 0);
    m_scheduled = std::move(buffer);
    m_start = start;
}

void MixerPlayerNode::setVolume(float volume) {
    m_volume = volume;
    if (m_voice)
        m_voice->setVolume(volume);
}

void MixerPlayerNode::play() {
    if (m_voice || !m_scheduled || m_scheduled->frameLength() == 0)
        return;
    m_voice = m_mixer.begin(m_scheduled, -m_start, m_volume);
}

void MixerPlayerNode::stop() {
    if (m_voice)
        m_mixer.end(m_voice);
    m_voice = nullptr;
    m_scheduled = nullptr;
}

std::unique_ptr<AudioPlayerNode>
MixerPlayerNode::playInPhase(std::shared_ptr<const PCMBuffer> buffer) {
    if (!m_voice)
        return nullptr;
    auto node = std::make_unique<MixerPlayerNode>(m_mixer);
    node->m_volume = 0;
    node->m_voice = m_mixer.beginInPhase(*m_voice, std::move(buffer), node->m_volume);
    return node;
}

std::optional<std::int64_t> MixerPlayerNode::position() const {
    if (!m_voice)
        return std::nullopt;
    return m_mixer.position(*m_voice);
}

} // namespace platform
