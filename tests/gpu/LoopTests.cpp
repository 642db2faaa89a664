// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Loops in which some values depend on the round alone, some on the row, some on the thread, and
// divisions by what all threads have in common. Each body is compiled twice: for the device, and by
// the compiler of this test.
#include "tests/gpu/DeviceTest.h"

#include <array>
#include <cmath>

namespace test {
namespace {

using LoopTest = DeviceTest;
SL42_ON_EVERY_DEVICE(LoopTest);

struct Body {
    const char* text;
    float (*run)(float x, float y, const std::array<float, 3>& in);
};

// clang-format off
#define BODY(...)                                                                                  \
    Body{#__VA_ARGS__, [](float x, float y, const std::array<float, 3>& in) {                      \
        float sum = x * 0 + y * 0 + in[0] * 0;                                                     \
        __VA_ARGS__                                                                                \
        return sum;                                                                                \
    }}
// clang-format on

using std::floor;
using std::sqrt;

const Body bodies[] = {
    BODY(float weight = 1; for (int i = 0; i < 10; ++i) {
        sum += weight * sqrt(float(i) + in[0]) * x;
        weight *= 0.5f;
    }),
    BODY(for (int i = 0; i < 40; ++i) {
        if (float(i) * in[0] > x * 0.25f)
            break;
        sum += sqrt(float(i)) + y * float(i);
    }),
    BODY(for (float f = 0; f < 1; f += 0.125f) sum += sqrt(f * in[1]) * x;),
    BODY(for (int i = 0; i < 5; ++i) {
        float outer = sqrt(float(i) + in[0]);
        for (int j = 0; j < 7; ++j)
            sum += outer * sqrt(float(j) * in[1]) + x + y * float(j);
    }),
    BODY(for (int i = 0; i < 12; ++i) sum += sqrt(y + float(i) * in[0]) + x * 0.01f;),
    BODY(for (int i = 0; i < 1000; ++i) sum += sqrt(float(i)) * x * 0.001f;),
    BODY(for (int i = 60; i > 0; i -= 7) {
        if (i % 3 == int(x) % 3)
            continue;
        sum += sqrt(float(i) * in[1]) * y;
    }),
    BODY(float last = 0; for (int i = 0; i < 8; ++i) {
        last = sqrt(float(i) + in[0]);
        if (last > x * 0.1f)
            break;
    } sum = last;),
    BODY(if (x > 3) for (int i = 0; i < 20 && i < int(x); ++i) sum += sqrt(float(i) + y);),
    BODY(float f = in[0]; int i = 0; while (i < 30) {
        f = f * 0.9f + sqrt(float(i));
        i += f > in[1] ? 2 : 1;
        sum += f * x;
    }),
    BODY(for (int i = 0; i < 9; ++i) sum += x / (float(i) + in[0]) + (x + y) / in[1];),
    BODY(for (int i = 0; i < 3; ++i) sum += sqrt(in[i] + y) * x;),
    BODY(for (int i = 0; i < 3; ++i) {
        if (in[i] > x)
            break;
        sum += sqrt(in[i]) + x;
    }),
    BODY(sum = floor(x / in[2]) + 100 * floor(y * in[2] / in[2]);),
    // Threads that break, from the loop's own level or from within an if, skip the rest of the loop
    // and nothing behind it.
    BODY(float own[2] = {0, 0}; int i = 0; for (; i < int(in[2]) - 40; ++i) {
        if (i == int(x) % 7)
            break;
        own[i & 1] += 1;
    } sum = own[0] * 10 + own[1] + 100 * float(i);),
    BODY(float own[2] = {0, 0}; int i = 0; for (; i < int(in[2]) - 40; ++i) {
        if (int(x) % 3 != 0)
            if (i == int(x) % 7)
                break;
        own[i & 1] += 1;
    } sum = own[0] * 10 + own[1] + 100 * float(i);),
    // All threads leave at once, the first or the other way. What follows each is so short that it
    // runs with an empty mask as well, and must bring nothing to where both end.
    BODY(int i = 0; while (true) {
        if (i == int(in[1]) + 1) {
            sum = float(i * 3);
            break;
        }
        if (i == int(in[2]) - 43) {
            sum = float(i * i);
            break;
        }
        i = (i * 5 + 3) & 15;
    } sum += x;),
    BODY(int i = 0; while (true) {
        if (i == int(in[2]) - 43) {
            sum = float(i * 3);
            break;
        }
        if (i == int(in[1]) + 1) {
            sum = float(i * i);
            break;
        }
        i = (i * 5 + 3) & 15;
    } sum += x;),
};

TEST_P(LoopTest, EveryRoundAndEveryThreadHasItsOwnValues) {
    constexpr std::uint32_t width = 100;
    constexpr std::uint32_t height = 6;
    const std::array<float, 3> in = {0.75f, 3.5f, 49};
    const auto input = bufferOf<float>({in.begin(), in.end()});
    for (const Body& body : bodies) {
        const auto kernel = pipeline("kernel void run(device float* out [[buffer(0)]],"
                                     " constant float* in [[buffer(1)]],"
                                     " uint2 p [[thread_position_in_grid]]) {"
                                     " float x = p.x, y = p.y, sum = 0;" +
                                     std::string(body.text) + "out[p.y * 100 + p.x] = sum; }");
        const auto output = bufferOf(std::vector<float>(std::size_t{width} * height, -1));
        expectCompleted(*run([&](gpu::ComputeCommandEncoder& encoder) {
            encoder.setComputePipelineState(kernel);
            encoder.setBuffer(output, 0, 0);
            encoder.setBuffer(input, 0, 1);
            encoder.dispatchThreads({width, height, 1}, {32, 1, 1});
        }));
        const auto out = valuesIn<float>(output);
        for (std::uint32_t i = 0; i < out.size(); ++i) {
            const std::uint32_t row = i / width;
            const float expected =
                body.run(static_cast<float>(i % width), static_cast<float>(row), in);
            ASSERT_NEAR(out[i], expected, 1e-4f * std::abs(expected) + 1e-4f)
                << body.text << " at " << i % width << ", " << row;
        }
    }
}

} // namespace
} // namespace test
