// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Textures of every shape, sampled with every kind of sampler, against an independent computation.
#include "tests/gpu/DeviceTest.h"
#include "tests/gpu/TextureModel.h"

#include <algorithm>
#include <cmath>
#include <limits>

using gpu::PixelFormat;
using gpu::TextureType;

namespace test {
namespace {

using Float4 = std::array<float, 4>;

/// A class of textures, and how a program calls its functions with the coordinates and layer `a`
/// and the steps `x` and `y`.
struct Shape {
    const char* name;
    gpu::TextureDescriptor descriptor;
    const char* coordinates;
    const char* offset; ///< none for cubes
    const char* gradient;
    bool isGathered;
};
const Shape shapes[] = {
    {"texture1d",
     {PixelFormat::RGBA32Float, 13, 1, 3, TextureType::D1},
     "a.x",
     ", -2",
     "gradient2d(float2(x.x, 0), float2(y.x, 0))",
     false},
    {"texture1d_array",
     {PixelFormat::RG8Unorm, 8, 1, 1, TextureType::D1Array, 1, 3},
     "a.x, uint(a.w)",
     ", 1",
     "gradient2d(float2(x.x, 0), float2(y.x, 0))",
     false},
    {"texture2d",
     {PixelFormat::R8Unorm, 11, 6, 4},
     "a.xy",
     ", int2(-3, 2)",
     "gradient2d(x.xy, y.xy)",
     true},
    {"texture2d_array",
     {PixelFormat::RGBA8Unorm, 8, 8, 4, TextureType::D2Array, 1, 3},
     "a.xy, uint(a.w)",
     ", int2(2, -1)",
     "gradient2d(x.xy, y.xy)",
     true},
    {"texture3d",
     {PixelFormat::RGBA8Unorm, 5, 7, 3, TextureType::D3, 6},
     "a.xyz",
     ", int3(1, -1, 2)",
     "gradient3d(x.xyz, y.xyz)",
     false},
    {"texturecube",
     {PixelFormat::RGBA32Float, 6, 6, 3, TextureType::Cube},
     "a.xyz",
     "",
     "gradientcube(x.xyz, y.xyz)",
     true},
    {"texturecube_array",
     {PixelFormat::RGBA8Unorm, 4, 4, 3, TextureType::CubeArray, 1, 2},
     "a.xyz, uint(a.w)",
     "",
     "gradientcube(x.xyz, y.xyz)",
     true},
    {"depth2d",
     {PixelFormat::Depth32Float, 9, 5, 3},
     "a.xy",
     ", int2(1, 1)",
     "gradient2d(x.xy, y.xy)",
     true},
    {"depth2d_array",
     {PixelFormat::Depth32Float, 4, 6, 2, TextureType::D2Array, 1, 4},
     "a.xy, uint(a.w)",
     ", int2(-1, 0)",
     "gradient2d(x.xy, y.xy)",
     true},
    {"depthcube",
     {PixelFormat::Depth32Float, 5, 5, 2, TextureType::Cube},
     "a.xyz",
     "",
     "gradientcube(x.xyz, y.xyz)",
     true},
    {"depthcube_array",
     {PixelFormat::Depth32Float, 3, 3, 1, TextureType::CubeArray, 1, 2},
     "a.xyz, uint(a.w)",
     "",
     "gradientcube(x.xyz, y.xyz)",
     true},
};

constexpr std::size_t resultsOfPoint = 6;

bool isDepth(const Shape& shape) {
    return shape.descriptor.format == PixelFormat::Depth32Float;
}

/// One kernel that samples in all ways at once: its sampler is an argument, so that it does for
/// all.
std::string programOf(const Shape& shape) {
    const std::string at = shape.coordinates;
    const std::string offset = shape.offset;
    const std::string texture = std::string(shape.name) + "<float>";
    std::string text = "kernel void run(" + texture +
                       " t [[texture(3)]], sampler s [[sampler(2)]],"
                       " device const float4* points [[buffer(0)]],"
                       " device float4* out [[buffer(1)]], uint id [[thread_position_in_grid]]) {"
                       " float4 a = points[3 * id], x = points[3 * id + 1], y = points[3 * id + 2];"
                       " out += 6 * id;";
    const auto result = [&](int number, const std::string& call) {
        text += "out[" + std::to_string(number) + "] = float4(t." + call + ");\n";
    };
    result(0, "sample(s, " + at + ")");
    result(1, "sample(s, " + at + ", level(x.w)" + offset + ")");
    result(2, "sample(s, " + at + ", " + shape.gradient + ")");
    if (shape.isGathered)
        result(3, "gather(s, " + at +
                      (isDepth(shape)   ? std::string()
                       : offset.empty() ? std::string(", component::y")
                                        : ", int2(1, 0), component::y") +
                      ")");
    if (isDepth(shape)) {
        result(4, "sample_compare(s, " + at + ", y.w, level(x.w)" + offset + ")");
        result(5, "gather_compare(s, " + at + ", y.w" + offset + ")");
    }
    return text + "}";
}

gpu::Sampler anySampler(std::mt19937& random) {
    const auto any = [&]<class Enum>(Enum last) {
        return static_cast<Enum>(random() % (static_cast<unsigned>(last) + 1));
    };
    gpu::Sampler s{.coordinates = gpu::CoordinateKind::Normalized,
                   .minFilter = any(gpu::Filter::Linear),
                   .magFilter = any(gpu::Filter::Linear),
                   .mipFilter = any(gpu::MipFilter::Linear),
                   .sAddress = any(gpu::AddressMode::ClampToBorder),
                   .tAddress = any(gpu::AddressMode::ClampToBorder),
                   .rAddress = any(gpu::AddressMode::ClampToBorder),
                   .border = any(gpu::BorderColor::OpaqueWhite),
                   .compare = any(gpu::CompareFunction::Always)};
    if (random() % 4 == 0) {
        // Pixel coordinates do not repeat.
        s.coordinates = gpu::CoordinateKind::Pixel;
        s.sAddress = s.tAddress = s.rAddress =
            random() % 2 == 0 ? gpu::AddressMode::ClampToEdge : gpu::AddressMode::ClampToZero;
    }
    if (random() % 3 == 0) {
        s.lodMinimum = static_cast<float>(random() % 8) / 4 + 0.125f;
        s.lodMaximum = s.lodMinimum + static_cast<float>(random() % 4) / 4;
    }
    return s;
}

/// A place, steps for its gradient, a level and a reference; `y.w` is a value that depths have.
struct Query {
    Float4 a, x, y;

    TextureModel::Point point(std::array<int, 3> offset = {}) const {
        return {{a[0], a[1], a[2]}, static_cast<std::uint32_t>(a[3]), offset};
    }
};

std::vector<Query> anyQueries(const Shape& shape, const gpu::Sampler& sampler, std::size_t count,
                              std::mt19937& random) {
    std::uniform_real_distribution<float> wide(-1.6f, 2.6f);
    std::uniform_real_distribution<float> unit(0, 1);
    std::uniform_real_distribution<float> step(-0.4f, 0.4f);
    const auto& d = shape.descriptor;
    const float extents[] = {static_cast<float>(d.width), static_cast<float>(d.height),
                             static_cast<float>(d.depth)};
    std::vector<Query> queries(count);
    for (Query& q : queries) {
        const bool isPixel =
            sampler.coordinates == gpu::CoordinateKind::Pixel && !compute::isCube(d.type);
        const bool isNear = random() % 2 == 0;
        for (std::size_t i = 0; i < 3; ++i) {
            const float scale = isPixel ? extents[i] : 1;
            q.a[i] = (isNear ? unit(random) : wide(random)) * scale;
            if (compute::isCube(d.type))
                q.a[i] = unit(random) * 4 - 2;
            q.x[i] = step(random) * scale;
            q.y[i] = step(random) * scale;
        }
        q.a[3] = static_cast<float>(random() % (d.arrayLength + 1));
        q.x[3] = unit(random) * 6 - 1.5f;
        q.y[3] = static_cast<float>(64 + random() % 128) / 256;
    }
    return queries;
}

class SamplingTest : public DeviceTest {
protected:
    std::vector<Float4> sample(const std::shared_ptr<gpu::ComputePipelineState>& kernel,
                               const std::shared_ptr<gpu::Texture>& texture,
                               const gpu::Sampler& sampler, const std::vector<Query>& queries) {
        const auto points = bufferOf(queries);
        const auto out = device->makeBuffer(queries.size() * resultsOfPoint * sizeof(Float4),
                                            gpu::StorageMode::Shared);
        expectCompleted(*run([&](gpu::ComputeCommandEncoder& encoder) {
            encoder.setComputePipelineState(kernel);
            encoder.setBuffer(points, 0, 0);
            encoder.setBuffer(out, 0, 1);
            encoder.setTexture(texture, 3);
            encoder.setSampler(sampler, 2);
            encoder.dispatchThreads({static_cast<std::uint32_t>(queries.size()), 1, 1}, {64, 1, 1});
        }));
        return valuesIn<Float4>(out);
    }
};
SL42_ON_EVERY_DEVICE(SamplingTest);

std::array<int, 3> offsetOf(const Shape& shape) {
    std::array<int, 3> offset{};
    std::string text = shape.offset;
    std::ranges::replace_if(text, [](char c) { return c == ',' || c == '(' || c == ')'; }, ' ');
    if (const auto digit = text.find("int"); digit != std::string::npos)
        text.erase(digit, 4);
    std::sscanf(text.c_str(), "%d %d %d", &offset[0], &offset[1], &offset[2]);
    return offset;
}

/// What the model says of a query; nothing where rounding decides.
std::array<std::optional<Color>, resultsOfPoint> expectedResults(const Shape& shape,
                                                                 const TextureModel& model,
                                                                 const gpu::Sampler& s,
                                                                 const Query& q) {
    const auto offset = offsetOf(shape);
    const double lod =
        model.lodOf(s, q.point(), {{{q.x[0], q.x[1], q.x[2]}, {q.y[0], q.y[1], q.y[2]}}});
    std::array<std::optional<Color>, resultsOfPoint> expected;
    expected[0] = model.sample(s, q.point(), 0);
    expected[1] = model.sample(s, q.point(offset), q.x[3]);
    expected[2] = model.sample(s, q.point(), lod);
    if (shape.isGathered)
        expected[3] = model.gather(
            s,
            q.point(isDepth(shape) || offset[0] == 0 ? std::array{0, 0, 0} : std::array{1, 0, 0}),
            isDepth(shape) ? 0 : 1);
    if (isDepth(shape)) {
        expected[4] = model.sample(s, q.point(offset), q.x[3], q.y[3]);
        expected[5] = model.gather(s, q.point(offset), 0, q.y[3]);
    }
    return expected;
}

TEST_P(SamplingTest, EveryShapeMatchesTheDefinition) {
    std::mt19937 random(2);
    for (const Shape& shape : shapes) {
        SCOPED_TRACE(shape.name);
        const TextureModel model(shape.descriptor, random);
        const auto texture = device->makeTexture(shape.descriptor);
        ASSERT_TRUE(texture && model.fill(*texture));
        const auto kernel = pipeline(programOf(shape));
        std::size_t compared = 0;
        for (int round = 0; round < 60; ++round) {
            const gpu::Sampler s = anySampler(random);
            const auto queries = anyQueries(shape, s, 100, random);
            const auto results = sample(kernel, texture, s, queries);
            for (std::size_t i = 0; i < queries.size(); ++i) {
                const auto expected = expectedResults(shape, model, s, queries[i]);
                for (std::size_t k = 0; k < resultsOfPoint; ++k) {
                    // A comparison next to the edge of a texel counts by tiny weights.
                    const std::size_t components = isDepth(shape) && k != 3 && k != 5 ? 1 : 4;
                    for (std::size_t c = 0; expected[k] && c < components; ++c, ++compared)
                        EXPECT_NEAR(results[i * resultsOfPoint + k][c], (*expected[k])[c], 2e-4)
                            << "round " << round << ", query " << i << ", result " << k
                            << ", component " << c << ", at " << queries[i].a[0] << ", "
                            << queries[i].a[1] << ", " << queries[i].a[2] << ", " << queries[i].a[3]
                            << ", level " << queries[i].x[3];
                }
            }
        }
        EXPECT_GT(compared, 30'000u) << "most queries are decided";
    }
}

TEST_P(SamplingTest, NoCoordinateOrLevelLeavesTheTexture) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float wild[] = {std::numeric_limits<float>::quiet_NaN(),
                              infinity,
                              -infinity,
                              1e30f,
                              -1e30f,
                              0x1p31f,
                              -0x1p31f,
                              0.0f,
                              -0.0f,
                              1.0f,
                              4e9f,
                              0.3f};
    std::mt19937 random(3);
    for (const Shape& shape : shapes) {
        SCOPED_TRACE(shape.name);
        const TextureModel model(shape.descriptor, random);
        const auto texture = device->makeTexture(shape.descriptor);
        ASSERT_TRUE(texture && model.fill(*texture));
        const auto kernel = pipeline(programOf(shape));
        for (int round = 0; round < 12; ++round) {
            gpu::Sampler s = anySampler(random);
            s.coordinates = static_cast<gpu::CoordinateKind>(round % 2);
            std::vector<Query> queries(500);
            for (Query& q : queries)
                for (Float4* vector : {&q.a, &q.x, &q.y})
                    for (float& value : *vector)
                        value = wild[random() % std::size(wild)];
            // Every texel and every border lies between 0 and 1.
            const auto results = sample(kernel, texture, s, queries);
            for (const Float4& result : results)
                for (const float value : result)
                    ASSERT_TRUE(value >= -1e-3f && value <= 1.001f) << value;
        }
    }
}

} // namespace
} // namespace test
