// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Single texels of textures of every shape, textures over buffers, atomics, arrays of textures,
// argument buffers; and what happens beyond every edge of them.
#include "tests/gpu/DeviceTest.h"
#include "tests/gpu/TextureModel.h"

using gpu::PixelFormat;
using gpu::StorageMode;
using gpu::TextureType;

namespace test {
namespace {

using Word4 = std::array<std::uint32_t, 4>;
using Float4 = std::array<float, 4>;

/// A class of textures; how a program names the texel at x, y of a slice, and what it says of its
/// extents.
struct Shape {
    const char* name;
    gpu::TextureDescriptor descriptor;
    const char* texel;
    const char* extents;
};
const Shape shapes[] = {
    {"texture1d",
     {PixelFormat::RGBA8Unorm, 9, 1, 3, TextureType::D1},
     "p.x, l",
     "t.get_width(1), 4, t.get_num_mip_levels(), 3"},
    {"texture1d_array",
     {PixelFormat::RGBA8Unorm, 9, 1, 2, TextureType::D1Array, 1, 4},
     "p.x, p.z, l",
     "t.get_width(1), 4, t.get_array_size(), 4"},
    {"texture2d",
     {PixelFormat::RGBA8Unorm, 9, 5, 3},
     "p.xy, l",
     "t.get_width(1), 4, t.get_height(2), 1"},
    {"texture2d_array",
     {PixelFormat::RGBA8Unorm, 8, 5, 2, TextureType::D2Array, 1, 3},
     "p.xy, p.z, l",
     "t.get_height(1), 2, t.get_array_size(), 3"},
    {"texture3d",
     {PixelFormat::RGBA8Unorm, 7, 4, 3, TextureType::D3, 9},
     "p, l",
     "t.get_depth(), 9, t.get_depth(2), 2"},
    {"texturecube",
     {PixelFormat::RGBA8Unorm, 4, 4, 3, TextureType::Cube},
     "p.xy, p.z, l",
     "t.get_width(), 4, t.get_height(3), 0"},
    {"texturecube_array",
     {PixelFormat::RGBA8Unorm, 4, 4, 2, TextureType::CubeArray, 1, 3},
     "p.xy, p.z % 6, p.z / 6, l",
     "t.get_array_size(), 3, t.get_num_mip_levels(), 2"},
    {"texture2d_ms",
     {PixelFormat::RGBA8Unorm, 6, 5, 1, TextureType::D2Multisample, 1, 1, 4},
     "p.xy, p.z",
     "t.get_num_samples(), 4, t.get_height(), 5"},
    {"texture2d_ms_array",
     {PixelFormat::RGBA8Unorm, 6, 5, 1, TextureType::D2MultisampleArray, 1, 3, 2},
     "p.xy, p.z / 2, p.z % 2",
     "t.get_num_samples(), 2, t.get_array_size(), 3"},
    {"texture_buffer",
     {PixelFormat::RGBA8Unorm, 100, 1, 1, TextureType::Buffer},
     "p.x",
     "t.get_width(), 100, 1, 1"},
    {"depth2d", {PixelFormat::Depth32Float, 6, 5, 3}, "p.xy, l", "t.get_width(), 6, 1, 1"},
    {"depth2d_array",
     {PixelFormat::Depth32Float, 6, 5, 1, TextureType::D2Array, 1, 2},
     "p.xy, p.z, l",
     "t.get_array_size(), 2, 1, 1"},
    {"depthcube",
     {PixelFormat::Depth32Float, 3, 3, 2, TextureType::Cube},
     "p.xy, p.z, l",
     "t.get_width(1), 1, 1, 1"},
    {"depthcube_array",
     {PixelFormat::Depth32Float, 3, 3, 1, TextureType::CubeArray, 1, 2},
     "p.xy, p.z % 6, p.z / 6, l",
     "t.get_array_size(), 2, 1, 1"},
    {"depth2d_ms",
     {PixelFormat::Depth32Float, 6, 5, 1, TextureType::D2Multisample, 1, 1, 4},
     "p.xy, p.z",
     "t.get_num_samples(), 4, 1, 1"},
};

class TextureAccessTest : public DeviceTest {
protected:
    std::shared_ptr<gpu::CommandBuffer>
    dispatch(const std::shared_ptr<gpu::ComputePipelineState>& kernel, gpu::Extent threads,
             const std::vector<std::shared_ptr<gpu::Buffer>>& buffers,
             const std::vector<std::shared_ptr<gpu::Texture>>& textures) {
        return run([&](gpu::ComputeCommandEncoder& encoder) {
            encoder.setComputePipelineState(kernel);
            encoder.setBuffers(buffers, 0);
            for (std::uint32_t i = 0; i < textures.size(); ++i)
                if (textures[i])
                    encoder.setTexture(textures[i], i);
            encoder.dispatchThreads(threads, {8, 4, 1});
        });
    }
    std::shared_ptr<gpu::Buffer> zeros(std::size_t bytes) {
        return device->makeBuffer(bytes, StorageMode::Shared);
    }
    std::shared_ptr<gpu::Texture> words(const gpu::TextureDescriptor& descriptor,
                                        std::vector<std::uint32_t> values) {
        auto texture = device->makeTexture(descriptor);
        const std::size_t row =
            descriptor.width * std::size_t{compute::bytesPerPixel(descriptor.format)};
        EXPECT_TRUE(texture->replace(0, std::as_bytes(std::span(values)), row));
        return texture;
    }
};
SL42_ON_EVERY_DEVICE(TextureAccessTest);

TEST_P(TextureAccessTest, EveryTexelOfEveryShapeIsReadAndNothingAround) {
    std::mt19937 random(1);
    for (const Shape& shape : shapes) {
        SCOPED_TRACE(shape.name);
        const auto kernel =
            pipeline(std::string("kernel void run(") + shape.name +
                     "<float, access::read> t [[texture(0)]], device float4* out [[buffer(0)]],"
                     " device uint4* extents [[buffer(1)]], uint3 p [[thread_position_in_grid]],"
                     " uint3 size [[threads_per_grid]], constant uint& l [[buffer(2)]]) {"
                     " extents[0] = uint4(" +
                     shape.extents +
                     ");"
                     " out[(p.z * size.y + p.y) * size.x + p.x] = float4(t.read(" +
                     shape.texel + ")); }");
        const TextureModel model(shape.descriptor, random);
        const auto texture = device->makeTexture(shape.descriptor);
        ASSERT_TRUE(texture && model.fill(*texture));
        for (std::uint32_t level = 0; level <= shape.descriptor.mipLevels; ++level) {
            const bool exists = level < shape.descriptor.mipLevels;
            // One slice, row and column more than there are, and wherever y does not matter, one
            // row.
            const auto [width, height, depth] = model.extents(level);
            const std::uint32_t slices = exists ? model.sliceCount(level) : 1;
            const bool hasRows = compute::hasHeight(shape.descriptor.type);
            const auto w = static_cast<std::uint32_t>(width) + 1;
            const std::uint32_t h = hasRows ? static_cast<std::uint32_t>(height) + 1 : 1;
            const bool hasSlices = slices > 1;
            const std::uint32_t d = slices + (hasSlices ? 1 : 0);
            const auto out = zeros(std::size_t{w} * h * d * 16);
            const auto extents = zeros(16);
            const bool ignoresLevel =
                !exists && std::string(shape.texel).find('l') == std::string::npos;
            if (ignoresLevel)
                continue;
            expectCompleted(*dispatch(kernel, {w, h, d},
                                      {out, extents, bufferOf(std::vector{level})}, {texture}));
            const auto values = valuesIn<Float4>(out);
            const auto said = valuesIn<Word4>(extents)[0];
            EXPECT_TRUE(said[0] == said[1] && said[2] == said[3]);
            for (std::uint32_t z = 0; z < d; ++z)
                for (std::uint32_t y = 0; y < h; ++y)
                    for (std::uint32_t x = 0; x < w; ++x) {
                        const bool isInside =
                            exists && x + 1 < w && (!hasRows || y + 1 < h) && z < slices;
                        Color expected{};
                        if (isInside)
                            expected =
                                model.texel(level, z, static_cast<int>(x), static_cast<int>(y));
                        const bool isDepth = shape.descriptor.format == PixelFormat::Depth32Float;
                        for (std::size_t c = 0; c < (isDepth ? 1 : 4); ++c)
                            ASSERT_NEAR(values[(std::size_t{z} * h + y) * w + x][c], expected[c],
                                        1e-6)
                                << "level " << level << " at " << x << ", " << y << ", " << z;
                    }
        }
    }
}

TEST_P(TextureAccessTest, WritesReachTheirTexelAndNothingElse) {
    for (const Shape& shape : shapes) {
        const TextureType type = shape.descriptor.type;
        if (compute::isMultisample(type) || shape.descriptor.format == PixelFormat::Depth32Float)
            continue;
        SCOPED_TRACE(shape.name);
        const bool hasRows = compute::hasHeight(type);
        const auto kernel =
            pipeline(std::string("kernel void run(") + shape.name +
                     "<float, access::write> t [[texture(0)]], uint3 p [[thread_position_in_grid]],"
                     " constant uint& l [[buffer(0)]]) { t.write(float4(float3(p + 1) / 255, 1), " +
                     shape.texel + "); }");
        const auto texture = device->makeTexture(shape.descriptor);
        const std::uint32_t level = shape.descriptor.mipLevels - 1;
        // Far beyond all edges, so that a missing check would not stay within the memory.
        expectCompleted(*dispatch(kernel, {128, hasRows ? 64u : 1u, 40},
                                  {bufferOf(std::vector{level})}, {texture}));
        std::mt19937 random(0);
        const TextureModel model(shape.descriptor, random);
        for (std::uint32_t l = 0; l <= level; ++l)
            for (std::uint32_t slice = 0; slice < model.sliceCount(l); ++slice) {
                const auto [width, height, depth] = model.extents(l);
                const auto row = static_cast<std::size_t>(width) * 4;
                std::vector<std::byte> pixels(row * static_cast<std::size_t>(height));
                ASSERT_TRUE(texture->getSlice(l, slice, pixels, row));
                for (std::size_t i = 0; i < pixels.size(); ++i) {
                    const std::size_t place[] = {i % row / 4 + 1, i / row + 1, slice + 1, 255};
                    // What has no slices was written by forty threads.
                    if (i % 4 == 2 && model.sliceCount(l) == 1)
                        continue;
                    ASSERT_EQ(std::to_integer<std::size_t>(pixels[i]),
                              l == level ? place[i % 4] : 0)
                        << "level " << l << ", slice " << slice << ", byte " << i;
                }
            }
    }
}

TEST_P(TextureAccessTest, IntegersAreKeptWhole) {
    const auto copy = [&](const char* type) {
        return pipeline(
            std::string("kernel void run(texture2d<") + type + "> from [[texture(0)]], texture2d<" +
            type +
            ", access::write> to [[texture(1)]],"
            " uint2 p [[thread_position_in_grid]]) {"
            " constexpr sampler s(coord::pixel, filter::linear);"
            " to.write((p.x & 1) ? from.read(p) : from.sample(s, float2(p) + 0.75), p); }");
    };
    const std::vector<std::uint32_t> values = {0, 1, 0xffffffff, 0x80000000, 0x01020304, 7, 8, 9};
    for (const auto& [format, type, width] : {std::tuple{PixelFormat::R32Uint, "uint", 8u},
                                              {PixelFormat::R32Sint, "int", 8u},
                                              {PixelFormat::RGBA8Uint, "uint", 8u},
                                              {PixelFormat::RGBA32Uint, "uint", 2u},
                                              {PixelFormat::RGBA32Sint, "int", 2u},
                                              {PixelFormat::R8Uint, "uint", 32u}}) {
        const gpu::TextureDescriptor descriptor{format, width, 1, 1};
        const auto from = words(descriptor, values);
        const auto to = device->makeTexture(descriptor);
        expectCompleted(*dispatch(copy(type), {width, 1, 1}, {}, {from, to}));
        std::vector<std::uint32_t> result(8);
        ASSERT_TRUE(to->getBytes(0, std::as_writable_bytes(std::span(result)), 32));
        EXPECT_EQ(result, values) << type << ", format " << static_cast<int>(format);
    }
}

TEST_P(TextureAccessTest, AtomicsOfManyThreadsAddUp) {
    const auto kernel = pipeline(
        "kernel void run(texture2d<uint, access::read_write> a [[texture(0)]],"
        " texture3d<int, access::read_write> b [[texture(1)]],"
        " texture1d_array<uint, access::read_write> c [[texture(2)]],"
        " texture_buffer<int, access::read_write> d [[texture(3)]],"
        " device atomic_uint* seen [[buffer(0)]], uint id [[thread_position_in_grid]]) {"
        " uint4 before = a.atomic_fetch_add(uint2(id % 2, 0), uint4(1));"
        " a.atomic_fetch_add(uint2(2 + id, id % 5), uint4(1));" // mostly outside
        " atomic_fetch_add_explicit(seen, before.x, memory_order_relaxed);"
        " b.atomic_fetch_min(uint3(0, 0, 1), int4(-int(id)));"
        " b.atomic_fetch_max(uint3(0, 0, 0), int4(int(id)));"
        " c.atomic_fetch_or(1, 1, uint4(1u << (id % 32))); c.atomic_fetch_xor(0, id, uint4(1));"
        " int4 old = d.atomic_load(0); while (!d.atomic_compare_exchange_weak(0, &old, old + 2)) {}"
        " d.atomic_fetch_sub(1, int4(1)); d.atomic_store(int4(id % 1 + 5), 2);"
        " d.atomic_exchange(3, int4(6)); d.atomic_fetch_add(~0u, int4(1)); }");
    const auto a = words({PixelFormat::R32Uint, 2, 1, 1}, {0, 0});
    gpu::TextureDescriptor volume{PixelFormat::R32Sint, 1, 1, 1, TextureType::D3, 2};
    const auto b = device->makeTexture(volume);
    const auto c = device->makeTexture({PixelFormat::R32Uint, 2, 1, 1, TextureType::D1Array, 1, 2});
    const auto memory = zeros(16);
    const auto d =
        device->makeTexture({PixelFormat::R32Sint, 4, 1, 1, TextureType::Buffer}, memory, 0, 16);
    const auto seen = zeros(4);
    expectCompleted(*dispatch(kernel, {1000, 1, 1}, {seen}, {a, b, c, d}));
    const auto word = [](const gpu::Texture& texture, std::uint32_t slice, std::size_t x) {
        std::vector<std::int32_t> row(texture.width());
        EXPECT_TRUE(
            texture.getSlice(0, slice, std::as_writable_bytes(std::span(row)), row.size() * 4));
        return row[x];
    };
    EXPECT_EQ(word(*a, 0, 0), 500);
    EXPECT_EQ(word(*a, 0, 1), 500);
    EXPECT_EQ(valuesIn<std::uint32_t>(seen)[0], 2u * (500 * 499 / 2)) << "each value before, once";
    EXPECT_EQ(word(*b, 1, 0), -999);
    EXPECT_EQ(word(*b, 0, 0), 999);
    EXPECT_EQ(word(*c, 1, 1), -1);
    EXPECT_EQ(word(*c, 0, 0), 1);
    EXPECT_EQ(valuesIn<std::int32_t>(memory), (std::vector<std::int32_t>{2000, -1000, 5, 6}));
}

TEST_P(TextureAccessTest, BufferTexturesShareTheMemoryOfTheirBuffer) {
    const auto kernel =
        pipeline("kernel void run(texture_buffer<float, access::read_write> t [[texture(0)]],"
                 " device uint* words [[buffer(0)]], uint id [[thread_position_in_grid]]) {"
                 " t.write(t.read(id) + 1.0 / 255, id); t.fence(); words[id + 8] = id; }");
    const auto memory = bufferOf(std::vector<std::uint32_t>(16, 0x01020304));
    const gpu::TextureDescriptor descriptor{PixelFormat::RGBA8Unorm, 4, 1, 1, TextureType::Buffer};
    const auto texture = device->makeTexture(descriptor, memory, 16, 16);
    ASSERT_TRUE(texture);
    expectCompleted(*dispatch(kernel, {8, 1, 1}, {memory}, {texture}));
    const auto after = valuesIn<std::uint32_t>(memory);
    EXPECT_EQ(after[3], 0x01020304u);
    EXPECT_EQ(after[4], 0x02030405u);
    EXPECT_EQ(after[7], 0x02030405u);
    EXPECT_EQ(after[9], 1u);
    EXPECT_FALSE(device->makeTexture(descriptor, memory, 56, 16)) << "beyond the end of the buffer";
    EXPECT_FALSE(device->makeTexture(descriptor, memory, 2, 16)) << "not aligned";
    EXPECT_FALSE(device->makeTexture(descriptor, std::shared_ptr<gpu::Buffer>(), 0, 16));
}

TEST_P(TextureAccessTest, ArraysOfTexturesAndSamplersAreIndexed) {
    const auto kernel =
        pipeline("kernel void run(array<texture2d<float>, 5> t [[texture(3)]],"
                 " array<sampler, 2> s [[sampler(1)]], texture2d<float> alone [[texture(1)]],"
                 " device float4* out [[buffer(0)]], constant uint* chosen [[buffer(1)]],"
                 " uint id [[thread_position_in_grid]]) {"
                 " uint n = chosen[id];"
                 " out[4 * id] = t[n].sample(s[id & 1], float2(1.5, 0.5)) + alone.read(uint2(0));"
                 " out[4 * id + 1] = t[2].read(uint2(0)); out[4 * id + 2] = t[n].read(uint2(0));"
                 " out[4 * id + 3] = float4(is_null_texture(t[n]), t[n].get_width(), 0, 0); }");
    const auto colored = [&](float value) {
        auto texture = device->makeTexture({PixelFormat::RGBA32Float, 1, 1, 1});
        EXPECT_TRUE(texture->replace(0, bytes(Float4{value, value, value, 1}), 16));
        return texture;
    };
    const std::vector<std::uint32_t> chosen = {0, 4, 2, 1, 3, 0, 9, ~0u};
    const auto out = zeros(chosen.size() * 64);
    const auto encode = [&](bool withSampler) {
        return run([&](gpu::ComputeCommandEncoder& encoder) {
            encoder.setComputePipelineState(kernel);
            encoder.setBuffer(out, 0, 0);
            encoder.setBuffer(bufferOf(chosen), 0, 1);
            encoder.setTexture(colored(0.5f), 1);
            for (const std::uint32_t i : {0u, 1u, 2u, 4u}) // the fourth is left out
                encoder.setTexture(colored(static_cast<float>(i + 1)), 3 + i);
            encoder.setSampler({}, 1);
            if (withSampler)
                encoder.setSampler({.sAddress = gpu::AddressMode::ClampToZero}, 2);
            encoder.dispatchThreads({static_cast<std::uint32_t>(chosen.size()), 1, 1}, {8, 1, 1});
        });
    };
    expectError(*encode(false), gpu::CommandBufferError::Code::InvalidCommand,
                "Test: kernel 'run' needs sampler 1 ('s')");
    expectCompleted(*encode(true));
    const auto results = valuesIn<Float4>(out);
    for (std::size_t i = 0; i < chosen.size(); ++i) {
        const std::uint32_t n = std::min(chosen[i], 4u); // an index past the end is the last
        const float value = n == 3 ? 0 : static_cast<float>(n + 1);
        EXPECT_EQ(results[4 * i][0], (i % 2 == 0 ? value : 0) + 0.5f) << i;
        EXPECT_EQ(results[4 * i + 1][0], 3.0f);
        EXPECT_EQ(results[4 * i + 2][0], value) << i;
        EXPECT_EQ(results[4 * i + 3][0], n == 3 ? 1.0f : 0.0f) << i;
        EXPECT_EQ(results[4 * i + 3][1], n == 3 ? 0.0f : 1.0f) << i;
    }
}

/// What stands in an argument buffer of the programs below.
struct Arguments {
    std::uint64_t data = 0;
    std::uint64_t image = 0;
    std::array<std::uint64_t, 3> edge{};
    std::array<std::uint64_t, 2> more{};
    float factor = 1;
    std::uint32_t count = 0;
};
constexpr const char* argumentProgram =
    "struct Arguments { device float* data [[id(0)]]; texture2d<float> image [[id(1)]];"
    " sampler edge [[id(2)]]; array<texture3d<float>, 2> more [[id(3)]]; float factor; uint count; "
    "};"
    "kernel void run(constant Arguments& a [[buffer(2)]], device float4* out [[buffer(0)]],"
    " uint id [[thread_position_in_grid]]) {"
    " a.data[id] += a.factor * id;"
    " out[id] = a.image.sample(a.edge, float2(1.5)) + a.more[id & 1].read(uint3(0, 0, 1)); }";

TEST_P(TextureAccessTest, ArgumentBuffersHoldBuffersTexturesAndSamplers) {
    const auto kernel = pipeline(argumentProgram);
    const auto data = bufferOf(std::vector<float>(20, 1));
    const auto image = device->makeTexture({PixelFormat::RGBA32Float, 1, 1, 1});
    ASSERT_TRUE(image->replace(0, bytes(Float4{3, 0, 0, 1}), 16));
    std::vector<std::shared_ptr<gpu::Texture>> volumes;
    for (const float value : {10.0f, 20.0f}) {
        volumes.push_back(
            device->makeTexture({PixelFormat::RGBA32Float, 1, 1, 1, TextureType::D3, 2}));
        ASSERT_TRUE(volumes.back()->replaceSlice(0, 1, bytes(Float4{value, 0, 0, 1}), 16));
    }
    const auto out = zeros(16 * 16);
    const Arguments arguments{.factor = 2};
    const gpu::Sampler white{.sAddress = gpu::AddressMode::ClampToBorder,
                             .border = gpu::BorderColor::OpaqueWhite};
    const auto runWith = [&](std::span<const gpu::ArgumentValue> values) {
        return run([&](gpu::ComputeCommandEncoder& encoder) {
            encoder.setComputePipelineState(kernel);
            encoder.setBuffer(out, 0, 0);
            encoder.setArguments(bytes(arguments), values, 2);
            encoder.dispatchThreads({16, 1, 1}, {8, 1, 1});
        });
    };
    std::vector<gpu::ArgumentValue> values = {
        {offsetof(Arguments, data), gpu::ArgumentValue::Place{data, 8}},
        {offsetof(Arguments, image), image},
        {offsetof(Arguments, edge), white},
        {offsetof(Arguments, more), volumes[0]},
        {offsetof(Arguments, more) + 8, volumes[1]}};
    expectCompleted(*runWith(values));
    const auto results = valuesIn<Float4>(out);
    const auto numbers = valuesIn<float>(data);
    for (std::size_t i = 0; i < 16; ++i) {
        EXPECT_EQ(results[i][0], 1.0f + (i % 2 == 0 ? 10.0f : 20.0f)) << i;
        EXPECT_EQ(numbers[i + 2], 1.0f + 2.0f * static_cast<float>(i)) << i;
    }
    EXPECT_EQ(numbers[1], 1.0f);

    for (const std::size_t offset :
         {sizeof(Arguments) - 4, sizeof(Arguments), std::size_t{4}, ~std::size_t{7}}) {
        values[1].offset = offset;
        expectError(*runWith(values), gpu::CommandBufferError::Code::InvalidCommand,
                    "Test: a resource lies outside of its argument buffer");
    }
}

TEST_P(TextureAccessTest, GarbageInAnArgumentBufferHarmsNobodyElse) {
    std::mt19937_64 random(5);
    const auto out = zeros(16 * 16);
    const auto innocent =
        pipeline("kernel void run(device uint* out [[buffer(0)]]) { out[0] = 42; }");
    for (int round = 0; round < 3; ++round) {
        // A new text each time, since what has faulted is not run again.
        const auto kernel =
            pipeline(argumentProgram + std::string(static_cast<std::size_t>(round) + 1, ' '));
        std::vector<std::uint64_t> garbage(sizeof(Arguments) / 8 + 1);
        for (auto& word : garbage)
            word = round == 0 ? 0 : random() >> (round == 1 ? 0 : 18);
        const auto arguments = bufferOf(garbage);
        const auto faulty = dispatch(kernel, {16, 1, 1}, {out, out, arguments}, {});
        if (const auto error = faulty->error())
            EXPECT_EQ(error->code, gpu::CommandBufferError::Code::KernelFault) << error->message;
        expectCompleted(*dispatch(innocent, {1, 1, 1}, {out}, {}));
        EXPECT_EQ(valuesIn<std::uint32_t>(out)[0], 42u);
    }
}

TEST_P(TextureAccessTest, WhatDoesNotFitIsRefused) {
    const auto refuses = [&](const std::string& parameter,
                             const gpu::TextureDescriptor& descriptor) {
        const auto kernel = pipeline("kernel void run(" + parameter +
                                     " t [[texture(0)]], device uint* out [[buffer(0)]])"
                                     " { out[0] = t.get_width(); }");
        expectError(*dispatch(kernel, {1, 1, 1}, {zeros(4)}, {device->makeTexture(descriptor)}),
                    gpu::CommandBufferError::Code::InvalidCommand,
                    "Test: kernel 'run' needs texture 0 ('t')");
    };
    refuses("texture3d<float>", {PixelFormat::RGBA8Unorm, 4, 4, 1});
    refuses("texture2d<uint>", {PixelFormat::RGBA8Unorm, 4, 4, 1});
    refuses("texture2d<int>", {PixelFormat::R32Uint, 4, 4, 1});
    refuses("depth2d<float>", {PixelFormat::RGBA8Unorm, 4, 4, 1});
    refuses("texture2d<half>", {PixelFormat::Depth32Float, 4, 4, 1});
    refuses("texturecube<float>", {PixelFormat::RGBA8Unorm, 4, 4, 1, TextureType::D2Array, 1, 6});
    for (const char* text : {"kernel void run(array<texture2d<float>, 9> t [[texture(120)]]) {}",
                             "kernel void run(array<texture2d<float>, 2> t [[texture(0)]],"
                             " texture2d<float> u [[texture(1)]]) {}",
                             "kernel void run(array<sampler, 20> s [[sampler(0)]]) {}"})
        EXPECT_FALSE(gpu::waitForLibrary(*device, DeviceTest::text(text))) << text;
}

} // namespace
} // namespace test
