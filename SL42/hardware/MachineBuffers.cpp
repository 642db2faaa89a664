// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/hardware/MachineBuffers.h"

#include "SL42/hardware/Screen.h"
#include "platform/base/Fatal.h"

#include <limits>
#include <span>
#include <utility>

namespace starloom {

using gpu::StorageMode;

static constexpr std::size_t clearScreenLength = std::size_t{screenWidth} * screenHeight * 4;

MachineBuffers::MachineBuffers(std::shared_ptr<gpu::Device> gpuDevice)
    : device(std::move(gpuDevice)),
      clearScreenContents(std::make_shared<std::vector<std::uint8_t>>(clearScreenLength)) {}

void MachineBuffers::reset() {
    const auto make = [this](std::size_t length, StorageMode mode, const char* label) {
        BufferPtr buffer = device->makeBuffer(length, mode);
        if (!buffer)
            platform::fatalError("Couldn't allocate virtual machine buffers");
        buffer->setLabel(label);
        return buffer;
    };
    BufferPtr newMemory = make(mainMemoryLength, StorageMode::Private, "Main memory");
    BufferPtr newRegisters = make(registersLength, StorageMode::Shared, "Registers");
    BufferPtr bank0 = make(screenBankLength, StorageMode::Private, "Video memory bank 0");
    BufferPtr bank1 = make(screenBankLength, StorageMode::Private, "Video memory bank 1");
    BufferPtr newFFT = make(fftBufferLength, StorageMode::Shared, "FFT buffer");
    BufferPtr newMouse = make(mouseBufferLength, StorageMode::Shared, "Mouse data");
    BufferPtr newKeyboard = make(keyboardBufferLength, StorageMode::Shared, "Keyboard data");

    memory = std::move(newMemory);
    registers = std::move(newRegisters);
    screenMemory = {std::move(bank0), std::move(bank1)};
    fftBuffer = std::move(newFFT);
    mouseBuffer = std::move(newMouse);
    keyboardBuffer = std::move(newKeyboard);
    resetAudioMemory();
}

void MachineBuffers::resetAudioMemory() {
    const std::uint64_t count = audioSpec.sampleCount(audioSampleRate);
    BufferPtr buffer;
    if (count <= std::numeric_limits<std::size_t>::max() / audioSampleLength)
        buffer = device->makeBuffer(count * audioSampleLength, StorageMode::Shared);
    if (!buffer)
        platform::fatalError("Couldn't allocate audio memory");
    buffer->setLabel("Audio memory");
    audioMemory = std::move(buffer);
}

static void clear(const MachineBuffers::BufferPtr& bank, gpu::CommandBuffer& commandBuffer) {
    const auto encoder = commandBuffer.makeBlitCommandEncoder();
    if (!encoder)
        return;
    encoder->fill(bank, {.offset = 0, .length = bank->length()}, 0);
    encoder->endEncoding();
}

void MachineBuffers::nextFrame(gpu::CommandBuffer& commandBuffer) {
    std::swap(screenMemory[0], screenMemory[1]);
    clear(screenMemory[0], commandBuffer);
}

void MachineBuffers::restoreBanks(const BufferPtr& shown, gpu::CommandBuffer& commandBuffer) {
    if (screenMemory[0] == shown)
        std::swap(screenMemory[0], screenMemory[1]);
    clear(screenMemory[0], commandBuffer);
}

void RenderData::addToEncoder(gpu::ComputeCommandEncoder& encoder, std::size_t audioOffset) const {
    const auto setValue = [&encoder](const auto& value, std::uint32_t index) {
        encoder.setBytes(std::as_bytes(std::span(&value, 1)), index);
    };
    encoder.setBuffer(machine.memory, 0, 0);
    encoder.setBuffer(machine.registers, 0, 1);
    setValue(time, 2);
    setValue(sample, 3);
    setValue(sampleRate, 4);
    encoder.setBuffers(machine.screenMemory, 5);
    encoder.setBuffer(machine.audioMemory, audioOffset, 7);
    encoder.setBuffer(machine.fftBuffer, 0, 8);
    encoder.setBuffer(machine.mouseBuffer, 0, 9);
    encoder.setBuffer(machine.keyboardBuffer, 0, 10);
}

} // namespace starloom
