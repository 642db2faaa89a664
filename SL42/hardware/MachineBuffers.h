// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The console's hardware: every buffer that the stages share, and the snapshot of it that is bound
// to each kernel.
#pragma once

#include "SL42/hardware/AudioSpec.h"
#include "SL42/hardware/Register.h"
#include "gpu/Device.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace starloom {

inline constexpr std::size_t mainMemoryLength = std::size_t{64} << 20;
inline constexpr std::size_t registersLength = 64;
inline constexpr std::size_t fftBufferLength = 3072;     ///< FFTValues
inline constexpr std::size_t mouseBufferLength = 16;     ///< MtlMouseDataStruct, and room
inline constexpr std::size_t keyboardBufferLength = 256; ///< state[128], pressed[128]
inline constexpr std::size_t audioSampleLength = 8;      ///< left and right, 32-bit floats

/// A value: copies share the buffers. Main thread. Main memory and the screen banks are private to
/// the device; the host writes the input buffers while frames are in flight, and a frame may see
/// the next one's input.
class MachineBuffers {
public:
    using BufferPtr = std::shared_ptr<gpu::Buffer>;

    /// No buffers yet, until the first reset().
    explicit MachineBuffers(std::shared_ptr<gpu::Device> device);

    /// Makes all buffers anew, all zeros. Stops the program when the device has no memory.
    void reset();
    /// Replaces the audio memory by one for the song in audioSpec, all zeros; likewise.
    void resetAudioMemory();
    /// Swaps the screen banks and clears the new current one, after what `commandBuffer` already
    /// holds. Call it once per displayed frame.
    void nextFrame(gpu::CommandBuffer& commandBuffer);
    /// Puts the banks in order after frames that failed: `shown` holds the last picture that was
    /// shown and becomes [1] again, the other one is cleared. Nothing else may be in flight. With a
    /// bank that is not of this machine only [0] is cleared.
    void restoreBanks(const BufferPtr& shown, gpu::CommandBuffer& commandBuffer);

    std::shared_ptr<gpu::Device> device;
    BufferPtr memory;
    BufferPtr registers;
    /// [0] is drawn in this frame, [1] holds the last frame's picture.
    std::array<BufferPtr, 2> screenMemory;
    BufferPtr audioMemory;
    BufferPtr fftBuffer;
    BufferPtr mouseBuffer;
    BufferPtr keyboardBuffer;
    AudioSpec audioSpec;
    /// A cleared screen of one byte per component. The banks are cleared by the device instead.
    std::shared_ptr<const std::vector<std::uint8_t>> clearScreenContents;
};

/// What a stage needs to know about the machine to run one kernel.
struct RenderData {
    MachineBuffers machine;
    float time = 0;             ///< seconds into the song
    std::uint32_t sample = 0;   ///< position in the song
    RegisterValues registers{}; ///< at the end of the frame before
    std::uint32_t sampleRate = audioSampleRate;

    /// Binds buffers 0 to 10 in the order that every generated kernel declares. `audioOffset` is
    /// in bytes into the audio memory.
    void addToEncoder(gpu::ComputeCommandEncoder& encoder, std::size_t audioOffset) const;
};

} // namespace starloom
