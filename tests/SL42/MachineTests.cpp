// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/engine/MachineBuffers.h"
#include "tests/SL42/FakeDevice.h"

#include <gtest/gtest.h>

namespace starloom {
namespace {

class MachineTest : public testing::Test {
protected:
    std::shared_ptr<fake::Device> device = std::make_shared<fake::Device>();
    MachineBuffers machine{device};
};

using MachineDeathTest = MachineTest;

} // namespace

TEST_F(MachineTest, IsMadeInOrder) {
    machine.reset();
    struct {
        const char* label;
        std::size_t length;
        gpu::StorageMode mode;
        std::shared_ptr<gpu::Buffer> stored;
    } const expected[] = {
        {"Main memory", 67'108'864, gpu::StorageMode::Private, machine.memory},
        {"Registers", 64, gpu::StorageMode::Shared, machine.registers},
        {"Video memory bank 0", 4'147'200, gpu::StorageMode::Private, machine.screenMemory[0]},
        {"Video memory bank 1", 4'147'200, gpu::StorageMode::Private, machine.screenMemory[1]},
        {"FFT buffer", 3'072, gpu::StorageMode::Shared, machine.fftBuffer},
        {"Mouse data", 16, gpu::StorageMode::Shared, machine.mouseBuffer},
        {"Keyboard data", 256, gpu::StorageMode::Shared, machine.keyboardBuffer},
        {"Audio memory", 6'144'000, gpu::StorageMode::Shared, machine.audioMemory},
    };
    ASSERT_EQ(device->buffers.size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(device->buffers[i]->label(), expected[i].label);
        EXPECT_EQ(device->buffers[i]->length(), expected[i].length) << expected[i].label;
        EXPECT_EQ(device->buffers[i]->storageMode(), expected[i].mode) << expected[i].label;
        EXPECT_EQ(device->buffers[i], expected[i].stored) << expected[i].label;
    }

    machine.audioSpec = {120, 4, 8, 4};
    machine.reset();
    EXPECT_EQ(device->buffers.size(), 2 * std::size(expected));
    EXPECT_EQ(machine.memory, device->buffers[8]);
    EXPECT_EQ(machine.audioMemory->length(), 3'072'000U * 8);
}

TEST_F(MachineTest, BindsEverythingAtItsIndex) {
    machine.reset();
    auto commandBuffer = device->makeCommandQueue()->makeCommandBuffer();
    auto encoder = commandBuffer->makeComputeCommandEncoder();
    RenderData{.machine = machine, .time = 1.5F, .sample = 77}.addToEncoder(*encoder, 24);
    encoder->dispatchThreads({}, {});

    const auto bound = fake::dispatches(*device->commandBuffers.front()).front();
    const std::map<std::uint32_t, std::shared_ptr<gpu::Buffer>> expected{
        {0, machine.memory},          {1, machine.registers},      {5, machine.screenMemory[0]},
        {6, machine.screenMemory[1]}, {7, machine.audioMemory},    {8, machine.fftBuffer},
        {9, machine.mouseBuffer},     {10, machine.keyboardBuffer}};
    ASSERT_EQ(bound.buffers.size(), expected.size());
    for (const auto& [index, buffer] : expected) {
        EXPECT_EQ(bound.buffers.at(index).buffer, buffer) << index;
        EXPECT_EQ(bound.buffers.at(index).offset, index == 7 ? 24U : 0U) << index;
    }
    EXPECT_EQ(fake::boundValue<float>(bound, 2), 1.5F);
    EXPECT_EQ(fake::boundValue<std::uint32_t>(bound, 3), 77U);
    EXPECT_EQ(fake::boundValue<std::uint32_t>(bound, 4), 48000U);
}

TEST_F(MachineTest, SwapsBanksAndClearsTheNewOne) {
    machine.reset();
    const auto banks = machine.screenMemory;
    auto commandBuffer = std::make_shared<fake::CommandBuffer>(*device);
    machine.nextFrame(*commandBuffer);
    EXPECT_EQ(machine.screenMemory[0], banks[1]);
    EXPECT_EQ(machine.screenMemory[1], banks[0]);
    ASSERT_EQ(commandBuffer->commands.size(), 1U);
    const auto& fill = std::get<fake::Fill>(commandBuffer->commands.front());
    EXPECT_EQ(fill.buffer, banks[1]);
    EXPECT_EQ(fill.range.offset, 0U);
    EXPECT_EQ(fill.range.length, banks[1]->length());
    EXPECT_EQ(fill.value, 0);
    machine.nextFrame(*commandBuffer);
    EXPECT_EQ(machine.screenMemory, banks);
}

TEST_F(MachineDeathTest, StopsWithoutMemory) {
    device->buffersLeft = 6;
    EXPECT_DEATH(machine.reset(), "Fatal error: Couldn't allocate virtual machine buffers\n");
    device->buffersLeft = 7;
    EXPECT_DEATH(machine.reset(), "Fatal error: Couldn't allocate audio memory\n");
    device->buffersLeft = 100;
    machine.audioSpec = {1, 1'000'000, 1'000'000, 1}; // fits a count, but not a length in bytes
    EXPECT_DEATH(machine.resetAudioMemory(), "Fatal error: Couldn't allocate audio memory\n");
}

} // namespace starloom
