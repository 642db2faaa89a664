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
    /// Numbers of the results that are computed: enough to have each function at each kind of
    /// place, and few, since what samplers that are not known leave takes long to compile.
    std::string_view results;
    const char* coordinates;
    const char* offset = ""; ///< none for cubes
};
const Shape shapes[] = {
    {"texture1d", {PixelFormat::RGBA32Float, 13, 1, 3, TextureType::D1}, "01", "a.x", ", -2"},
    {"texture1d_array",
     {PixelFormat::RG8Unorm, 8, 1, 1, TextureType::D1Array, 1, 3},
     "1",
     "a.x, uint(a.w)",
     ", 1"},
    {"texture2d", {PixelFormat::R8Unorm, 11, 6, 4}, "02", "a.xy", ", int2(-3, 2)"},
    {"texture2d_array",
     {PixelFormat::RGBA8Unorm, 8, 8, 4, TextureType::D2Array, 1, 3},
     "13",
     "a.xy, uint(a.w)",
     ", int2(2, -1)"},
    {"texture3d",
     {PixelFormat::RGBA8Unorm, 5, 7, 3, TextureType::D3, 6},
     "12",
     "a.xyz",
     ", int3(1, -1, 2)"},
    {"texturecube", {PixelFormat::RGBA32Float, 6, 6, 3, TextureType::Cube}, "023", "a.xyz"},
    {"texturecube_array",
     {PixelFormat::RGBA8Unorm, 4, 4, 3, TextureType::CubeArray, 1, 2},
     "13",
     "a.xyz, uint(a.w)"},
    {"depth2d", {PixelFormat::Depth32Float, 9, 5, 3}, "045", "a.xy", ", int2(1, 1)"},
    {"depth2d_array",
     {PixelFormat::Depth32Float, 4, 6, 2, TextureType::D2Array, 1, 4},
     "24",
     "a.xy, uint(a.w)",
     ", int2(-1, 0)"},
    {"depthcube", {PixelFormat::Depth32Float, 5, 5, 2, TextureType::Cube}, "34", "a.xyz"},
    {"depthcube_array",
     {PixelFormat::Depth32Float, 3, 3, 1, TextureType::CubeArray, 1, 2},
     "15",
     "a.xyz, uint(a.w)"},
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
    const char* gradient = compute::isCube(shape.descriptor.type)     ? "gradientcube(x.xyz, y.xyz)"
                           : shape.descriptor.type == TextureType::D3 ? "gradient3d(x.xyz, y.xyz)"
                                                                      : "gradient2d(x.xy, y.xy)";
    const std::string component = isDepth(shape)   ? ""
                                  : offset.empty() ? ", component::y"
                                                   : ", int2(1, 0), component::y";
    const std::string calls[resultsOfPoint] = {"sample(s, " + at + ")",
                                               "sample(s, " + at + ", level(x.w)" + offset + ")",
                                               "sample(s, " + at + ", " + gradient + ")",
                                               "gather(s, " + at + component + ")",
                                               "sample_compare(s, " + at + ", y.w, level(x.w)" +
                                                   offset + ")",
                                               "gather_compare(s, " + at + ", y.w" + offset + ")"};
    for (const char number : shape.results)
        text += std::string("out[") + number + "] = float4(t." +
                calls[static_cast<std::size_t>(number - '0')] + ");\n";
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
    const std::array<int, 3> gatherOffset = {isDepth(shape) || offset[0] == 0 ? 0 : 1, 0, 0};
    const auto compute = [&](char number) {
        switch (number) {
        case '0':
            return model.sample(s, q.point(), 0);
        case '1':
            return model.sample(s, q.point(offset), q.x[3]);
        case '2':
            return model.sample(s, q.point(), lod);
        case '3':
            return model.gather(s, q.point(gatherOffset), isDepth(shape) ? 0 : 1);
        case '4':
            return model.sample(s, q.point(offset), q.x[3], q.y[3]);
        default:
            return model.gather(s, q.point(offset), 0, q.y[3]);
        }
    };
    std::array<std::optional<Color>, resultsOfPoint> expected;
    for (const char number : shape.results)
        expected[static_cast<std::size_t>(number - '0')] = compute(number);
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
        EXPECT_GT(compared, 5'000u) << "most queries are decided";
    }
}

/// A sampler that the compiler knows leaves other code than one that is an argument.
TEST_P(SamplingTest, ConstantSamplersDoWhatArgumentsDo) {
    using gpu::AddressMode;
    using gpu::Filter;
    using gpu::MipFilter;
    const std::pair<const char*, gpu::Sampler> samplers[] = {
        {"filter::linear, mip_filter::linear, address::repeat, compare_func::less",
         {.minFilter = Filter::Linear,
          .magFilter = Filter::Linear,
          .mipFilter = MipFilter::Linear,
          .sAddress = AddressMode::Repeat,
          .tAddress = AddressMode::Repeat,
          .rAddress = AddressMode::Repeat,
          .compare = gpu::CompareFunction::Less}},
        {"min_filter::linear, mip_filter::nearest, s_address::clamp_to_border,"
         " t_address::mirrored_repeat, r_address::clamp_to_zero, border_color::opaque_white,"
         " compare_func::greater_equal, lod_clamp(0.5f, 1.5f)",
         {.minFilter = Filter::Linear,
          .mipFilter = MipFilter::Nearest,
          .sAddress = AddressMode::ClampToBorder,
          .tAddress = AddressMode::MirroredRepeat,
          .rAddress = AddressMode::ClampToZero,
          .border = gpu::BorderColor::OpaqueWhite,
          .compare = gpu::CompareFunction::GreaterEqual,
          .lodMinimum = 0.5f,
          .lodMaximum = 1.5f}},
        {"coord::pixel, mag_filter::linear, address::clamp_to_edge, compare_func::always",
         {.coordinates = gpu::CoordinateKind::Pixel,
          .magFilter = Filter::Linear,
          .compare = gpu::CompareFunction::Always}},
    };
    std::mt19937 random(4);
    for (const Shape& shape : shapes) {
        // The others have nothing of their own between them.
        static constexpr std::string_view names = "texture1d texture2d texture3d depth2d depthcube";
        if (names.find(std::string(shape.name) + ' ') == std::string_view::npos &&
            !names.ends_with(shape.name))
            continue;
        SCOPED_TRACE(shape.name);
        const TextureModel model(shape.descriptor, random);
        const auto texture = device->makeTexture(shape.descriptor);
        ASSERT_TRUE(texture && model.fill(*texture));
        for (const auto& [settings, sampler] : samplers) {
            std::string text = programOf(shape);
            const auto other = text.find(", sampler s [[sampler(2)]]");
            text.erase(other, std::strlen(", sampler s [[sampler(2)]]"));
            text.insert(text.find("out +="), "constexpr sampler s(" + std::string(settings) + ");");
            const auto queries = anyQueries(shape, sampler, 200, random);
            const auto asArgument = sample(pipeline(programOf(shape)), texture, sampler, queries);
            const auto asConstant = sample(pipeline(text), texture, sampler, queries);
            for (std::size_t i = 0; i < asConstant.size(); ++i)
                for (std::size_t c = 0; c < 4; ++c)
                    ASSERT_NEAR(asConstant[i][c], asArgument[i][c], 1e-5) << settings << " " << i;
        }
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
