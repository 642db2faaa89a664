// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the driver is given of earlier starts, and what is taken from it for later ones.
#include "compute/vulkan/VulkanDevice.h"
#include "tests/compute/vulkan/Shaders.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>

namespace {

using namespace compute;
using Bytes = std::vector<std::byte>;

constexpr std::size_t headerBytes = 32;

/// Keeps code in ordinary memory, and counts.
class Keeper final : public KeptCode {
public:
    Bytes load(const Fingerprint& shader) const override {
        return shader == m_shader ? m_code : Bytes();
    }
    void store(const Fingerprint& shader, std::span<const std::byte> code) override {
        m_shader = shader;
        m_code.assign(code.begin(), code.end());
        ++m_stores;
    }
    const Bytes& code() const { return m_code; }
    Bytes& code() { return m_code; }
    unsigned stores() const { return m_stores; }

private:
    Fingerprint m_shader;
    Bytes m_code;
    unsigned m_stores = 0;
};

class PipelineCacheTest : public ::testing::Test {
protected:
    PipelineCacheTest() : device(open()) {}

    static std::shared_ptr<vulkan::VulkanDevice> open() {
        vulkan::DeviceOptions options;
        options.validation = [](const char* message) { ADD_FAILURE() << message; };
        auto opened = vulkan::VulkanDevice::create("vulkan:llvmpipe", options);
        EXPECT_TRUE(opened) << opened.error().message;
        return opened ? *opened : nullptr;
    }
    std::shared_ptr<Kernel> kernel(const spirv::Shader& shader, std::shared_ptr<KeptCode> kept,
                                   Fingerprint fingerprint = {1, 1}) {
        KernelDescription description;
        description.name = "kernel";
        description.fingerprint = fingerprint;
        auto made = device->makeKernel(std::move(description), shader, std::move(kept));
        EXPECT_TRUE(made) << made.error().message;
        return *made;
    }
    bool isOf(const Bytes& code) { return vulkan::isOf(device->logical().physical(), code); }

    std::shared_ptr<vulkan::VulkanDevice> device;
};

TEST_F(PipelineCacheTest, EachPipelineOfAKernelIsKept) {
    const auto keeper = std::make_shared<Keeper>();
    const auto plain = kernel(test::countShader(), keeper);
    EXPECT_EQ(keeper->stores(), 1u);
    EXPECT_GE(keeper->code().size(), headerBytes);
    EXPECT_TRUE(isOf(keeper->code()));

    const auto inGroups = std::make_shared<Keeper>();
    const auto sum = kernel(test::groupSumShader(), inGroups, {2, 2});
    EXPECT_EQ(inGroups->stores(), 0u) << "none is made before its threadgroups are known";
    const auto& vulkanSum = dynamic_cast<const vulkan::VulkanKernel&>(*sum);
    for (const std::uint32_t threads : {32u, 64u, 32u})
        EXPECT_TRUE(vulkanSum.pipelineFor({.workgroup = {{threads, 1, 1}, 0}}));
    EXPECT_EQ(inGroups->stores(), 2u);
}

// A kernel that is in both a text and the one after it is not compiled twice, and is kept for both.
TEST_F(PipelineCacheTest, EqualShadersHaveOneCache) {
    const auto first = std::make_shared<Keeper>();
    const auto second = std::make_shared<Keeper>();
    const auto before = kernel(test::countShader(), first);
    const auto after = kernel(test::countShader(), second);
    EXPECT_EQ(second->stores(), 1u);
    EXPECT_EQ(first->code(), second->code());
    EXPECT_TRUE(kernel(test::countShader(), nullptr));
}

// The driver must have nothing of it: neither it nor the validation layer says a word.
TEST_F(PipelineCacheTest, OnlyWhatThisDriverMadeIsGivenToIt) {
    const auto keeper = std::make_shared<Keeper>();
    (void)kernel(test::countShader(), keeper);
    const Bytes code = keeper->code();
    ASSERT_GE(code.size(), headerBytes);
    EXPECT_TRUE(isOf(code));
    for (std::size_t i = 0; i < headerBytes; ++i) {
        Bytes other = code;
        other[i] ^= std::byte{0x10};
        EXPECT_FALSE(isOf(other)) << "byte " << i;
        EXPECT_FALSE(isOf(Bytes(code.begin(), code.begin() + static_cast<std::ptrdiff_t>(i))));
        keeper->code() = other;
        (void)kernel(test::countShader(), keeper);
        EXPECT_EQ(keeper->code(), code) << "it is replaced by what is in order";
    }
}

TEST_F(PipelineCacheTest, TheDriversKeyIsPrintableAndStays) {
    const std::string key = device->driverKey();
    EXPECT_EQ(key, open()->driverKey());
    EXPECT_GE(key.size(), 20u);
    EXPECT_EQ(key.find_first_not_of("0123456789abcdef. "), std::string::npos) << key;
}

// Says what it brings; docs/vulkan.md has the numbers.
TEST_F(PipelineCacheTest, WhatItBrings) {
    const auto keeper = std::make_shared<Keeper>();
    const auto time = [&](const std::shared_ptr<KeptCode>& kept) {
        double best = 1e9;
        for (int i = 0; i < 20; ++i) {
            const auto start = std::chrono::steady_clock::now();
            (void)kernel(test::countShader(), kept);
            const std::chrono::duration<double, std::milli> taken =
                std::chrono::steady_clock::now() - start;
            best = std::min(best, taken.count());
        }
        return best;
    };
    const double without = time(nullptr);
    (void)kernel(test::countShader(), keeper);
    const double with = time(keeper);
    std::printf("a pipeline takes %.3f ms, %.3f ms with the %zu bytes kept\n", without, with,
                keeper->code().size());
}

} // namespace
