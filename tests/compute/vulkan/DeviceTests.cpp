// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The device with shaders written by hand, on a software driver with the validation layer: each of
// its messages fails the test. Once with memory that the driver takes as it lies, once with copies.
#include "compute/memory/GuardedMemory.h"
#include "compute/vulkan/VulkanDevice.h"
#include "tests/compute/vulkan/Shaders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <numeric>
#include <optional>
#include <vector>

namespace {

using namespace compute;
using vulkan::DeviceOptions;
using vulkan::VulkanDevice;

constexpr const char* softwareDriver = "vulkan:llvmpipe";

void failTest(const char* message) {
    ADD_FAILURE() << message;
}

Parameter buffer(std::uint32_t index, Access access = Access::ReadWrite) {
    Parameter parameter;
    parameter.kind = ParameterKind::Buffer;
    parameter.index = index;
    parameter.access = access;
    return parameter;
}

class DeviceTest : public ::testing::TestWithParam<bool> {
protected:
    DeviceTest() : device(open({.alwaysCopies = GetParam()})) {}

    static std::shared_ptr<VulkanDevice> open(DeviceOptions options) {
        options.validation = failTest;
        auto opened = VulkanDevice::create(softwareDriver, options);
        EXPECT_TRUE(opened) << opened.error().message;
        return opened ? *opened : nullptr;
    }
    std::shared_ptr<Kernel> kernel(const spirv::Shader& shader, std::vector<Parameter> parameters) {
        KernelDescription description;
        description.name = "kernel";
        description.parameters = std::move(parameters);
        auto made = device->makeKernel(std::move(description), shader);
        EXPECT_TRUE(made) << made.error().message;
        return *made;
    }
    Memory memory(std::size_t numbers) {
        return *device->adopt(*memory::GuardedMemory::allocate(numbers * sizeof(std::uint32_t)));
    }
    static std::span<std::uint32_t> numbersOf(const Memory& memory) {
        return {reinterpret_cast<std::uint32_t*>(memory->data()),
                memory->length() / sizeof(std::uint32_t)};
    }
    /// Hands over what was recorded and waits for it.
    platform::Result<void> finish() { return device->wait(SL42_TRY(device->submit())); }
    void expectFinished() {
        const auto finished = finish();
        EXPECT_TRUE(finished) << finished.error().message;
    }

    std::shared_ptr<VulkanDevice> device;
};

TEST_P(DeviceTest, EveryThreadRunsOnce) {
    struct Row {
        Extent grid;
        std::uint32_t begin;
        std::uint32_t end;
    };
    // The last is longer than the driver's longest row of workgroups.
    const Row rows[] = {
        {{1, 1, 1}, 0, 1},     {{64, 1, 1}, 0, 64},  {{65, 1, 1}, 0, 65},
        {{100, 1, 1}, 30, 77}, {{33, 17, 3}, 0, 33}, {{33, 17, 3}, 9, 21},
        {{20, 20, 1}, 5, 5},   {{20, 0, 1}, 0, 20},  {{4'200'000, 1, 1}, 7, 4'199'999}};
    const auto count = kernel(test::countShader(), {buffer(0)});
    for (const Row& row : rows) {
        const Memory counts =
            memory(std::max(1u, row.grid.width * row.grid.height * row.grid.depth));
        Bindings bindings;
        bindings.buffers[0] = counts->data();
        device->begin(1, {});
        count->run(bindings, row.grid, {32, 1, 1}, row.begin, row.end);
        expectFinished();
        std::size_t wrong = 0;
        for (std::size_t i = 0; i < numbersOf(counts).size(); ++i) {
            const std::uint32_t x = i % row.grid.width;
            const bool runs = row.grid.height > 0 && x >= row.begin && x < row.end;
            wrong += numbersOf(counts)[i] == (runs ? 1 : 0) ? 0 : 1;
        }
        EXPECT_EQ(wrong, 0u) << row.grid.width << " x " << row.grid.height;
    }
}

TEST_P(DeviceTest, ACommandBufferRunsInOrderAndSeesWhatTheProcessWrote) {
    const auto count = kernel(test::countShader(), {buffer(0)});
    const auto twice = kernel(test::doubleShader(), {buffer(0, Access::Read), buffer(1)});
    const Memory first = memory(1000);
    const Memory second = memory(1000);
    std::iota(numbersOf(first).begin(), numbersOf(first).end(), 0);
    Bindings bindings;
    bindings.buffers[0] = first->data();
    bindings.buffers[1] = second->data();
    device->begin(1, {});
    // More than fit one submission.
    for (std::uint32_t i = 0; i < 300; ++i) {
        device->enter(i);
        count->run(bindings, {1000, 1, 1}, {32, 1, 1});
    }
    device->enter(300);
    twice->run(bindings, {1000, 1, 1}, {32, 1, 1});
    expectFinished();
    EXPECT_EQ(numbersOf(first)[999], 1299u);
    EXPECT_EQ(numbersOf(second)[999], 2 * 1299u);

    // What the process writes between two submissions of one command buffer is seen, too.
    numbersOf(first)[10] = 5;
    twice->run(bindings, {1000, 1, 1}, {32, 1, 1});
    expectFinished();
    EXPECT_EQ(numbersOf(second)[10], 10u);
    EXPECT_EQ(numbersOf(second)[999], 2 * 1299u);
}

TEST_P(DeviceTest, CommandBuffersAreHandedOverBeforeTheOnesBeforeAreDone) {
    constexpr std::uint32_t commandBuffers = 40;
    const auto count = kernel(test::countShader(), {buffer(0)});
    const auto twice = kernel(test::doubleShader(), {buffer(0, Access::Read), buffer(1)});
    const Memory numbers = memory(400'000);
    const Memory doubled = memory(400'000);
    Bindings bindings;
    bindings.buffers[0] = numbers->data();
    bindings.buffers[1] = doubled->data();
    Ticket last = 0;
    bool wasAtWork = false;
    for (std::uint32_t i = 1; i <= commandBuffers; ++i) {
        device->begin(i, {});
        device->enter(i % 3);
        count->run(bindings, {400'000, 1, 1}, {32, 1, 1});
        twice->run(bindings, {400'000, 1, 1}, {32, 1, 1});
        const auto ticket = device->submit();
        ASSERT_TRUE(ticket) << ticket.error().message;
        EXPECT_GT(*ticket, last);
        last = *ticket;
        if (const auto place = device->placeAtWork()) {
            wasAtWork = true;
            EXPECT_LE(place->commandBuffer, i);
            EXPECT_EQ(place->command, place->commandBuffer % 3);
        }
    }
    EXPECT_TRUE(wasAtWork);
    ASSERT_TRUE(device->wait(last));
    EXPECT_FALSE(device->placeAtWork());
    EXPECT_EQ(std::ranges::count(numbersOf(numbers), commandBuffers), 400'000);
    EXPECT_EQ(std::ranges::count(numbersOf(doubled), 2 * commandBuffers), 400'000);
}

TEST_P(DeviceTest, FillsAndCopiesHappenInTheirTurn) {
    const auto count = kernel(test::countShader(), {buffer(0)});
    const Memory numbers = memory(50'000);
    const Memory target = memory(50'000);
    Bindings bindings;
    bindings.buffers[0] = numbers->data();
    const std::span<std::byte> bytes(numbers->data(), numbers->length());
    const std::span<std::byte> copied(target->data(), target->length());
    std::vector<std::uint8_t> expected(bytes.size());
    const auto addOne = [&] {
        for (std::size_t i = 0; i < expected.size(); i += 4) {
            std::uint32_t number = 0;
            std::memcpy(&number, &expected[i], sizeof number);
            ++number;
            std::memcpy(&expected[i], &number, sizeof number);
        }
    };
    const auto fill = [&](std::size_t offset, std::size_t length, std::uint8_t value) {
        EXPECT_TRUE(device->fill(bytes.subspan(offset, length), value));
        std::fill_n(expected.begin() + static_cast<std::ptrdiff_t>(offset), length, value);
    };
    const auto move = [&](std::size_t from, std::size_t to, std::size_t length) {
        EXPECT_TRUE(device->copy(bytes.subspan(from, length), bytes.subspan(to, length)));
        std::memmove(&expected[to], &expected[from], length);
    };
    std::uint32_t value = 1;
    for (std::size_t i = 0; i < expected.size(); i += 4, value = value * 1664525 + 1013904223) {
        std::memcpy(&expected[i], &value, sizeof value);
        std::memcpy(&bytes[i], &value, sizeof value);
    }
    device->begin(1, {});
    count->run(bindings, {50'000, 1, 1}, {32, 1, 1});
    addOne();
    fill(0, 64, 1);
    fill(101, 1, 2); // not a whole word
    fill(103, 7, 3); // parts of two, and a word between
    fill(120, 0, 9);
    count->run(bindings, {50'000, 1, 1}, {32, 1, 1});
    addOne();
    move(5, 1000, 150'001); // longer than goes at once, and into itself
    move(90'000, 80'003, 100'000);
    count->run(bindings, {50'000, 1, 1}, {32, 1, 1});
    addOne();
    EXPECT_TRUE(device->copy(bytes, copied));
    const auto beforeFill = expected;
    fill(0, bytes.size(), 7);
    expectFinished();
    EXPECT_EQ(std::memcmp(copied.data(), beforeFill.data(), beforeFill.size()), 0);
    EXPECT_EQ(std::memcmp(bytes.data(), expected.data(), expected.size()), 0);
}

TEST_P(DeviceTest, WhatNoKernelWritesIsNotWrittenBack) {
    const auto twice = kernel(test::doubleShader(), {buffer(0, Access::Read), buffer(1)});
    const Memory first = memory(1);
    const Memory second = memory(1);
    Bindings bindings;
    bindings.buffers[0] = first->data();
    bindings.buffers[1] = second->data();
    const std::vector<Memory> used = {first, second};
    device->begin(1, used);
    numbersOf(first)[0] = 4;
    twice->run(bindings, {1, 1, 1}, {1, 1, 1});
    expectFinished();
    EXPECT_EQ(numbersOf(first)[0], 4u);
    EXPECT_EQ(numbersOf(second)[0], 8u);
}

TEST_P(DeviceTest, BuffersCanBeBoundWithinAndEndWhereTheyEnd) {
    const auto count = kernel(test::countShader(), {buffer(0)});
    const Memory counts = memory(100);
    Bindings bindings;
    bindings.buffers[0] = counts->data() + 90 * sizeof(std::uint32_t);
    device->begin(1, {});
    count->run(bindings, {64, 1, 1}, {32, 1, 1});
    bindings.buffers[0] = nullptr; // nothing is bound
    count->run(bindings, {64, 1, 1}, {32, 1, 1});
    expectFinished();
    EXPECT_EQ(std::ranges::count(numbersOf(counts).first(90), 0u), 90);
    EXPECT_EQ(std::ranges::count(numbersOf(counts).last(10), 1u), 10);
}

TEST_P(DeviceTest, SubgroupsAreFullWhereAShaderRequiresThat) {
    // 4, 8 or 16, as the processor's vectors are.
    VkPhysicalDeviceSubgroupProperties subgroups{};
    subgroups.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_SUBGROUP_PROPERTIES;
    VkPhysicalDeviceProperties2 properties{};
    properties.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_PROPERTIES_2;
    properties.pNext = &subgroups;
    vkGetPhysicalDeviceProperties2(device->logical().physical().handle, &properties);
    device = open({.alwaysCopies = GetParam(), .subgroupThreads = subgroups.subgroupSize});
    ASSERT_EQ(device->logical().physical().features.subgroupThreads, subgroups.subgroupSize);
    const auto sum = kernel(test::subgroupSumShader(subgroups.subgroupSize), {buffer(0)});
    const Memory sums = memory(10);
    Bindings bindings;
    bindings.buffers[0] = sums->data();
    device->begin(1, {});
    // What the edge cuts has 38 threads, of which the driver cannot make full ones: it is not
    // asked.
    sum->run(bindings, {235, 2, 1}, {24, 2, 1});
    expectFinished();
    for (std::size_t i = 0; i < 10; ++i)
        EXPECT_EQ(numbersOf(sums)[i], i == 9 ? 37u * 38 / 2 : 47u * 48 / 2) << i;
}

TEST_P(DeviceTest, ThreadgroupsHaveTheirArguments) {
    const auto sum = kernel(test::groupSumShader(), {buffer(0), buffer(1)});
    // 10 threadgroups along x, the last of which is cut, and 3 along y.
    const Memory sums = memory(30);
    const Memory places = memory(30);
    Bindings bindings;
    bindings.buffers[0] = sums->data();
    bindings.buffers[1] = places->data();
    bindings.threadgroupBytes[0] = 40;
    bindings.threadgroupBytes[1] = 48 * sizeof(std::uint32_t);
    device->begin(1, {});
    sum->run(bindings, {235, 6, 1}, {24, 2, 1});
    expectFinished();
    // What is cut has no other threads: all of a workgroup come to its barriers.
    const auto sumOf = [](std::size_t place) {
        return place % 10 == 9 ? 37u * 38 / 2 : 47u * 48 / 2;
    };
    for (std::size_t i = 0; i < 30; ++i)
        EXPECT_EQ(numbersOf(sums)[i], sumOf(i)) << i;
    EXPECT_EQ(std::ranges::count(numbersOf(places), 48u), 30);

    // Threadgroups whose first thread is in the range.
    sum->run(bindings, {235, 6, 1}, {24, 2, 1}, 48, 100);
    expectFinished();
    for (std::size_t i = 0; i < 30; ++i)
        EXPECT_EQ(numbersOf(sums)[i], (i % 10 >= 2 && i % 10 <= 4 ? 2 : 1) * sumOf(i)) << i;

    sum->run(bindings, {4096, 1, 1}, {2048, 1, 1});
    const auto finished = finish();
    ASSERT_FALSE(finished);
    EXPECT_EQ(finished.error().message,
              "kernel 'kernel': this device has threadgroups of at most 1024 threads");
}

TEST_P(DeviceTest, PointersLeadToWhatTheCommandBufferUses) {
    const auto follow = kernel(test::followShader(), {buffer(0, Access::Read), buffer(1)});
    const Memory address = memory(2);
    const Memory answer = memory(2);
    const Memory target = memory(50);
    const Memory other = memory(50);
    Bindings bindings;
    bindings.buffers[0] = address->data();
    bindings.buffers[1] = answer->data();
    const std::vector<Memory> used = {target};
    for (const Memory& aim : {target, other}) {
        device->begin(1, used);
        const std::uint64_t place = device->addressOf(aim->data() + 49 * sizeof(std::uint32_t));
        std::memcpy(address->data(), &place, sizeof place);
        follow->run(bindings, {1, 1, 1}, {1, 1, 1});
        follow->run(bindings, {1, 1, 1}, {1, 1, 1}); // its spare memory is clear again
        expectFinished();
        EXPECT_EQ(numbersOf(aim)[49], aim == target ? 7u : 0u);
        EXPECT_EQ(numbersOf(answer)[0], 0u);
        EXPECT_EQ(numbersOf(answer)[1], 3u);
    }
}

// The next ones are written while the device is still at those before.
TEST_P(DeviceTest, WhatKernelsWriteToTheirInputHarmsNoOtherInput) {
    const auto count = kernel(test::countShader(), {buffer(0)});
    const Memory input =
        *device->adoptInput(*memory::GuardedMemory::allocate(100 * sizeof(std::uint32_t)));
    const Memory seen = memory(100);
    Bindings bindings;
    bindings.buffers[0] = input->data();
    device->begin(1, {});
    count->run(bindings, {50, 1, 1}, {32, 1, 1});
    const auto ticket = device->submit();
    numbersOf(input)[99] = 5;
    ASSERT_TRUE(ticket && device->wait(*ticket));
    EXPECT_EQ(numbersOf(input)[99], 5u);
    device->begin(2, {});
    device->copy(std::span(input->data(), input->length()),
                 std::span(seen->data(), seen->length()));
    expectFinished();
    EXPECT_EQ(numbersOf(seen)[99], 5u);
}

TEST_P(DeviceTest, PrivateMemoryIsTheDevicesAndWrittenBackWhenItIsTime) {
    struct Row {
        std::optional<std::chrono::milliseconds> interval;
        std::uint32_t added; ///< what the process sees of three kernels
    };
    const Row rows[] = {
        {std::chrono::milliseconds(0), 3}, {std::chrono::hours(1), 0}, {std::nullopt, 0}};
    for (const Row& row : rows) {
        device = open(
            {.alwaysCopies = GetParam(), .alwaysLocal = true, .snapshotInterval = row.interval});
        const auto count = kernel(test::countShader(), {buffer(0)});
        auto mapped = *memory::GuardedMemory::allocate(1000 * sizeof(std::uint32_t));
        std::iota(numbersOf(mapped).begin(), numbersOf(mapped).end(), 0);
        const Memory own = *device->adoptPrivate(std::move(mapped));
        const Memory seen = memory(1000);
        Bindings bindings;
        bindings.buffers[0] = own->data();
        for (std::uint64_t i = 1; i <= 3; ++i) {
            device->begin(i, {});
            count->run(bindings, {1000, 1, 1}, {32, 1, 1});
            device->copy(std::span(own->data(), own->length()),
                         std::span(seen->data(), seen->length()));
            expectFinished();
            device->writeBack();
            EXPECT_EQ(numbersOf(seen)[999], 999 + i);
        }
        EXPECT_EQ(numbersOf(own)[0], row.added);
        EXPECT_EQ(numbersOf(own)[999], 999 + row.added);
        device->begin(4, {});
    }
}

TEST_P(DeviceTest, MemoryComesAndGoes) {
    const auto count = kernel(test::countShader(), {buffer(0)});
    std::byte* place = nullptr;
    for (int i = 0; i < 20; ++i) {
        const Memory counts = memory(100);
        place = counts->data();
        EXPECT_NE(device->addressOf(place), 0u);
        Bindings bindings;
        bindings.buffers[0] = place;
        device->begin(1, {});
        count->run(bindings, {100, 1, 1}, {32, 1, 1});
        expectFinished();
        EXPECT_EQ(std::ranges::count(numbersOf(counts), 1u), 100);
        device->begin(1, {}); // lets go
    }
    EXPECT_EQ(device->addressOf(place), 0u);
}

TEST_P(DeviceTest, ALostDeviceSaysSoAndStaysLost) {
    device = open({.alwaysCopies = GetParam(), .lostAfter = 3}); // one is the first start
    const auto count = kernel(test::countShader(), {buffer(0)});
    const Memory counts = memory(100);
    Bindings bindings;
    bindings.buffers[0] = counts->data();
    for (int i = 0; i < 3; ++i) {
        device->begin(1, {});
        count->run(bindings, {100, 1, 1}, {32, 1, 1});
        const auto finished = finish();
        EXPECT_EQ(finished.hasValue(), i == 0);
        EXPECT_EQ(device->isLost(), i > 0);
        if (!finished)
            EXPECT_EQ(finished.error().message,
                      "Cannot run kernels on the device: the device was lost");
    }
}

// What the frame waits for, and what comes after it on another thread.
TEST_P(DeviceTest, ASnapshotTakesNotMuchLongerThanACopy) {
    device = open({.alwaysCopies = GetParam(),
                   .alwaysLocal = true,
                   .snapshotInterval = std::chrono::milliseconds(0)});
    const Memory own = *device->adoptPrivate(*memory::GuardedMemory::allocate(64u << 20));
    const std::span<std::byte> bytes(own->data(), own->length());
    const auto milliseconds = [](const auto& work) {
        const auto start = std::chrono::steady_clock::now();
        work();
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
            .count();
    };
    for (std::uint8_t i = 0; i < 3; ++i) {
        device->begin(i, {});
        const double frame = milliseconds([&] {
            device->fill(bytes.first(4), i);
            expectFinished();
        });
        const double after = milliseconds([&] { device->writeBack(); });
        std::printf("%.1f ms, then %.1f ms for 64 MB\n", frame, after);
        EXPECT_EQ(std::to_integer<int>(bytes[0]), i);
    }
}

INSTANTIATE_TEST_SUITE_P(Memory, DeviceTest, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Copied" : "Imported"; });

// Of the thread that waits for it; the driver's threads are the device here.
TEST(DeviceTests, AFrameCostsLittleProcessorTime) {
    constexpr int frames = 500;
    constexpr int kernels = 4;
    const auto device = *VulkanDevice::create(softwareDriver, {});
    KernelDescription description;
    description.parameters = {buffer(0), buffer(1)};
    const auto count = *device->makeKernel(std::move(description), test::countShader());
    const Memory numbers =
        *device->adopt(*memory::GuardedMemory::allocate(64 * sizeof(std::uint32_t)));
    Bindings bindings;
    bindings.buffers[0] = numbers->data();
    const std::vector<Memory> used(30, numbers);
    const auto now = [] {
        timespec time{};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
    };
    double begin = 0;
    for (int frame = -10; frame < frames; ++frame) {
        if (frame == 0)
            begin = now(); // warm
        device->begin(1, used);
        for (std::uint32_t i = 0; i < kernels; ++i) {
            device->enter(i);
            count->run(bindings, {64, 1, 1}, {64, 1, 1});
        }
        ASSERT_TRUE(device->wait(*device->submit()));
    }
    const double milliseconds = (now() - begin) / frames;
    std::printf("%.3f ms a frame of %d kernels\n", milliseconds, kernels);
    EXPECT_LT(milliseconds, 0.5);
}

TEST(DeviceTests, AShaderThatNeedsWhatTheDeviceLacksIsRefusedInOneLine) {
    const auto device = *VulkanDevice::create(softwareDriver, {.validation = failTest});
    KernelDescription description;
    description.name = "run";
    auto shader = test::countShader();
    shader.requirements.subgroupThreads = 32; // the driver's are of 4 or 8 threads
    const auto kernel = device->makeKernel(std::move(description), shader);
    ASSERT_FALSE(kernel);
    EXPECT_EQ(kernel.error().message, "kernel 'run': this device has no subgroups of 32 threads");
}

TEST(DeviceTests, TooLargeABufferIsRefusedInOneLine) {
    const auto device = VulkanDevice::create(softwareDriver, {.validation = failTest});
    ASSERT_TRUE(device);
    const auto adopted = (*device)->adopt(*memory::GuardedMemory::allocate(std::size_t{5} << 30));
    ASSERT_FALSE(adopted);
    EXPECT_EQ(adopted.error().message, "The device takes buffers of at most 2048 MB");
}

TEST_P(DeviceTest, WhatNoDescriptorCanBeOfIsRefusedInOneLine) {
    auto shader = test::countShader();
    shader.describedBuffers = {{.slot = 0, .alignment = 16}};
    const auto count = kernel(shader, {buffer(0)});
    const auto errorAt = [&](const Memory& memory, std::size_t offset) {
        Bindings bindings;
        bindings.buffers[0] = memory->data() + offset;
        device->begin(1, {});
        count->run(bindings, {1, 1, 1}, {1, 1, 1});
        const auto finished = finish();
        return finished ? std::string() : finished.error().message;
    };
    const Memory small = memory(100);
    EXPECT_EQ(errorAt(small, 16), "");
    EXPECT_EQ(errorAt(small, 20), "A buffer is bound at an offset that is not a multiple of 16, as "
                                  "its numbers ask for");
    const Memory large = memory((32 << 20) + 1000);
    EXPECT_EQ(errorAt(large, 0), "This device has buffers of at most 128 MB for kernels");
    EXPECT_EQ(errorAt(large, 4096), "");
}

} // namespace
