// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Sound input that was recorded before, for rendering to files and for tests: as far as it has been
// told that time has come, it hands out what a device would have captured until then.
#pragma once

#include "platform/audio/AudioCapture.h"

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

/// Has no device until it is given samples. Behind their end there is silence. One thread, which
/// also gets the blocks.
class SampleCapture final : public AudioCapture {
public:
    /// `samples` are mono, 48000 a second; the first is heard at time 0.
    void setSamples(std::string name, std::vector<float> samples);
    /// Hands out all blocks that are complete `samples` after the beginning and were not before.
    void advance(std::uint64_t samples);

    std::vector<AudioCaptureDevice> devices() override;
    void watchDevices(ListHandler onChange) override { m_onChange = std::move(onChange); }
    void start(const std::string& identifier, BlockHandler onBlock, EventHandler onEvent) override;
    void stop() override { m_onBlock = {}; }

private:
    std::string m_name;
    std::vector<float> m_samples; ///< whole blocks
    bool m_hasSamples = false;
    std::uint64_t m_block = 0; ///< the next one
    ListHandler m_onChange;
    BlockHandler m_onBlock;
};

} // namespace platform
