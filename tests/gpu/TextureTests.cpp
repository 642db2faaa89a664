// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/gpu/DeviceTest.h"

#include <cmath>

using gpu::PixelFormat;
using gpu::StorageMode;

namespace test {
namespace {

constexpr PixelFormat formats[] = {PixelFormat::R8Unorm, PixelFormat::RG8Unorm,
                                   PixelFormat::RGBA8Unorm, PixelFormat::RGBA16Float,
                                   PixelFormat::RGBA32Float};

/// Number of components of a pixel and bytes of each.
struct Components {
    std::size_t count;
    std::size_t bytes;
};
Components componentsOf(PixelFormat format) {
    const std::size_t bytes = format == PixelFormat::RGBA32Float   ? 4
                              : format == PixelFormat::RGBA16Float ? 2
                                                                   : 1;
    return {compute::bytesPerPixel(format) / bytes, bytes};
}

float load(const std::byte* place, std::size_t componentBytes) {
    const auto as = [place]<class T>(T value) {
        std::memcpy(&value, place, sizeof value);
        return static_cast<float>(value);
    };
    return componentBytes == 1   ? as(std::uint8_t{}) / 255
           : componentBytes == 2 ? as(_Float16{})
                                 : as(float{});
}

void store(std::byte* place, std::size_t componentBytes, float value) {
    const auto byte = static_cast<std::uint8_t>(std::lround(value * 255));
    const auto half = static_cast<_Float16>(value);
    const void* const sources[] = {nullptr, &byte, &half, nullptr, &value};
    std::memcpy(place, sources[componentBytes], componentBytes);
}

/// A different value in every component, all exact in every format.
float pattern(std::size_t x, std::size_t y, std::size_t component) {
    return static_cast<float>((x * 3 + y * 5 + component * 7) % 6) * 51 / 255;
}

std::vector<std::byte> image(PixelFormat format, std::uint32_t width, std::uint32_t height) {
    const auto [count, size] = componentsOf(format);
    std::vector<std::byte> pixels(width * height * count * size);
    for (std::size_t i = 0; i < pixels.size() / size; ++i)
        store(&pixels[i * size], size, pattern(i / count % width, i / count / width, i % count));
    return pixels;
}

class TextureTest : public DeviceTest {
protected:
    std::vector<std::byte> pixelsOf(const gpu::Texture& texture, std::uint32_t level = 0) {
        const std::size_t row = gpu::mipExtent(texture.width(), level) *
                                compute::bytesPerPixel(texture.descriptor().format);
        std::vector<std::byte> pixels(row * gpu::mipExtent(texture.height(), level));
        EXPECT_TRUE(texture.getBytes(level, pixels, row));
        return pixels;
    }
    std::shared_ptr<gpu::CommandBuffer>
    dispatchOver(const std::shared_ptr<gpu::ComputePipelineState>& kernel,
                 const std::vector<std::shared_ptr<gpu::Texture>>& textures) {
        return run([&](gpu::ComputeCommandEncoder& encoder) {
            encoder.setComputePipelineState(kernel);
            for (std::uint32_t i = 0; i < textures.size(); ++i)
                encoder.setTexture(textures[i], i);
            encoder.dispatchThreads({textures[0]->width(), textures[0]->height(), 1}, {16, 16, 1});
        });
    }
};
SL42_ON_EVERY_DEVICE(TextureTest);

TEST_P(TextureTest, KernelsReadAndWriteEveryFormat) {
    const auto copy = pipeline(
        "kernel void run(texture2d<float, access::read> from [[texture(0)]],"
        " texture2d<float, access::write> to [[texture(1)]], uint2 p [[thread_position_in_grid]])"
        " { to.write(from.read(p), p); }");
    for (const PixelFormat format : formats) {
        const auto pixels = image(format, 37, 11);
        const auto from = device->makeTexture({format, 37, 11, 1});
        const auto to = device->makeTexture({format, 37, 11, 1});
        EXPECT_EQ(pixelsOf(*to), std::vector<std::byte>(pixels.size())) << "zero at birth";
        ASSERT_TRUE(from->replace(0, pixels, 37 * compute::bytesPerPixel(format)));
        expectCompleted(*dispatchOver(copy, {from, to}));
        EXPECT_EQ(pixelsOf(*to), pixels) << static_cast<int>(format);
    }
}

TEST_P(TextureTest, MipmapsAreBoxFilteredAlsoFromOddSizes) {
    for (const PixelFormat format : formats) {
        const auto [count, size] = componentsOf(format);
        const auto texture = device->makeTexture({format, 13, 6, gpu::fullMipCount(13, 6)});
        ASSERT_TRUE(texture->replace(0, image(format, 13, 6), 13 * count * size));
        expectCompleted(
            *blit([&](gpu::BlitCommandEncoder& encoder) { encoder.generateMipmaps(texture); }));
        for (std::uint32_t level = 1; level < texture->descriptor().mipLevels; ++level) {
            const auto above = pixelsOf(*texture, level - 1);
            const auto here = pixelsOf(*texture, level);
            const std::uint32_t aboveWidth = gpu::mipExtent(13, level - 1);
            const std::uint32_t aboveHeight = gpu::mipExtent(6, level - 1);
            const std::uint32_t width = gpu::mipExtent(13, level);
            for (std::size_t i = 0; i < here.size() / size; ++i) {
                const std::size_t x = i / count % width;
                const std::size_t y = i / count / width;
                float sum = 0;
                for (const std::size_t dy : {0, 1})
                    for (const std::size_t dx : {0, 1}) {
                        const std::size_t sx = std::min<std::size_t>(2 * x + dx, aboveWidth - 1);
                        const std::size_t sy = std::min<std::size_t>(2 * y + dy, aboveHeight - 1);
                        sum +=
                            load(&above[((sy * aboveWidth + sx) * count + i % count) * size], size);
                    }
                // Half a step of 8 bits, or the rounding of a half.
                const float tolerance = size == 1 ? 0.51f / 255 : size == 2 ? 1e-3f : 1e-6f;
                EXPECT_NEAR(load(&here[i * size], size), sum / 4, tolerance)
                    << static_cast<int>(format) << " level " << level << " at " << x << ", " << y;
            }
        }
    }
}

TEST_P(TextureTest, MemoryOfTheCallerIsUsedInPlace) {
    const auto invert =
        pipeline("kernel void run(texture2d<float, access::read_write> image [[texture(0)]],"
                 " uint2 p [[thread_position_in_grid]]) { image.write(1.0 - image.read(p), p); }");
    const auto memory = *platform::SharedMemory::create(8192, "frame");
    const gpu::TextureDescriptor descriptor{PixelFormat::R8Unorm, 10, 4, 1};
    const auto texture = device->makeTexture(descriptor, memory, 100, 32);
    ASSERT_TRUE(texture);
    memory->bytes()[100 + 32] = std::byte{55};
    expectCompleted(*dispatchOver(invert, {texture}));
    EXPECT_EQ(memory->bytes()[100 + 32], std::byte{200});
    EXPECT_EQ(memory->bytes()[100 + 10], std::byte{0}) << "the gap after a row";
    EXPECT_EQ(memory->bytes()[99], std::byte{0});

    EXPECT_FALSE(device->makeTexture(descriptor, memory, 8192 - 32 * 3 - 9, 32));
    EXPECT_FALSE(device->makeTexture(descriptor, memory, 0, 9));
    EXPECT_FALSE(device->makeTexture(descriptor, memory, ~std::size_t{0} - 8, 32));
    EXPECT_FALSE(device->makeTexture(descriptor, std::shared_ptr<platform::SharedMemory>(), 0, 32));
}

TEST_P(TextureTest, SenselessDescriptorsAndShortRowsAreRefused) {
    EXPECT_FALSE(device->makeTexture({PixelFormat::R8Unorm, 0, 4, 1}));
    EXPECT_FALSE(device->makeTexture({PixelFormat::R8Unorm, 4, 4, 4}));
    EXPECT_FALSE(device->makeTexture({PixelFormat::RGBA32Float, 1u << 31, 1u << 31, 1}));
    const auto texture = device->makeTexture({PixelFormat::RGBA8Unorm, 4, 4, 3});
    std::vector<std::byte> pixels(64);
    EXPECT_TRUE(texture->replace(0, pixels, 16));
    EXPECT_FALSE(texture->replace(0, std::span(pixels).first(63), 16));
    EXPECT_FALSE(texture->replace(0, pixels, 15));
    EXPECT_FALSE(texture->getBytes(3, pixels, 16));
    EXPECT_FALSE(texture->getBytes(0, pixels, ~std::size_t{0}));
    expectError(*run([&](gpu::ComputeCommandEncoder& encoder) {
        encoder.setComputePipelineState(pipeline(
            "kernel void run(texture2d<float> image [[texture(2)]], device float* o [[buffer(0)]])"
            " { o[0] = image.read(uint2(0)).x; }"));
        encoder.setBuffer(device->makeBuffer(16, StorageMode::Shared), 0, 0);
        encoder.dispatchThreads({1, 1, 1}, {1, 1, 1});
    }),
                gpu::CommandBufferError::Code::InvalidCommand,
                "Test: kernel 'run' needs texture 2 ('image')");
}

} // namespace
} // namespace test
