// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Pictures that become frames of film in one pass, against the same by way of 8-bit pixels.
#include "platform/image/DisplayColours.h"
#include "platform/image/Image.h"
#include "platform/media/FilmFrame.h"
#include "platform/media/FrameConverter.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <random>
#include <utility>
#include <vector>

namespace platform::tests {
namespace {

FFmpegPtr<AVFrame> emptyFrame(int width, int height) {
    FFmpegPtr<AVFrame> frame(av_frame_alloc());
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = width;
    frame->height = height;
    EXPECT_EQ(av_frame_get_buffer(frame.get(), 0), 0);
    return frame;
}

/// The largest difference in one of the planes, and how many of its bytes differ.
std::pair<int, double> difference(const AVFrame& a, const AVFrame& b, std::size_t plane) {
    const int share = plane == 0 ? 1 : 2;
    int largest = 0;
    double count = 0;
    for (int y = 0; y < a.height / share; ++y) {
        for (int x = 0; x < a.width / share; ++x) {
            const int step = std::abs(a.data[plane][y * a.linesize[plane] + x] -
                                      b.data[plane][y * b.linesize[plane] + x]);
            largest = std::max(largest, step);
            count += step != 0;
        }
    }
    return {largest, count};
}

// A picture as it is, and in 8 bits with each pixel repeated. A part of it has numbers that are no
// colours of any screen.
TEST(FilmFrame, IsThatOfTheLargePicture) {
    constexpr std::uint32_t width = 328; // of five blocks and a bit
    constexpr std::uint32_t height = 256;
    Image picture(width, height);
    std::minstd_rand random(7);
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            const auto any = [&] { return static_cast<float>(random() % 1025) / 1024; };
            picture.setPixel(x, y,
                             y % 2 == 0 ? std::array{any(), any(), any(), 1.0F}
                                        : std::array{any() * any() / 8, any() / 8, 0.0F, 1.0F});
            if (x < 192 && y >= height * 2 / 3)
                for (std::size_t channel = 0; channel < 3; ++channel)
                    picture.halves()[(std::size_t{y} * width + x) * 4 + channel] =
                        static_cast<std::uint16_t>(random());
        }
    }
    std::vector<std::uint32_t> small(std::size_t{width} * height);
    convertToDisplay(picture.halves(), small);
    for (const std::uint32_t repeat : {2U, 4U}) {
        SCOPED_TRACE(repeat);
        const MovieFormat format{.width = width * repeat, .height = height * repeat};
        std::vector<std::uint32_t> large(std::size_t{format.width} * format.height);
        for (std::size_t i = 0; i < large.size(); ++i)
            large[i] = small[i / format.width / repeat * width + i % format.width / repeat];
        const auto expected =
            emptyFrame(static_cast<int>(format.width), static_cast<int>(format.height));
        const auto drawn = emptyFrame(expected->width, expected->height);
        FrameConverter::create(format)->convert(large, *expected);
        drawFilmFrame(picture.halves(), repeat, *drawn);
        for (std::size_t plane = 0; plane < 3; ++plane) {
            const auto [largest, count] = difference(*expected, *drawn, plane);
            EXPECT_LE(largest, 1) << "plane " << plane;
            const double bytes = static_cast<double>(large.size()) / (plane == 0 ? 1 : 4);
            EXPECT_LT(count / bytes, 0.3) << "plane " << plane;
        }
    }
}

} // namespace
} // namespace platform::tests
