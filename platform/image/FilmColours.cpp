// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/image/FilmColours.h"

#include "platform/image/DisplayColours.h"
#include "platform/image/Image.h"
#include "platform/image/LinearColours.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

// The loops below are arithmetic that the compiler does for as many pixels at once as a processor
// can, in a variant for each kind of processor.
#define SL42_IN_EACH_VARIANT [[gnu::always_inline]] inline

namespace platform {
namespace {

constexpr std::size_t blockLength = 64;

template <class T>
using Block = std::array<T, blockLength>;

constexpr std::uint16_t halfOfOne = 0x3c00;

/// From 0 to 1.
struct Colours {
    Block<float> red;
    Block<float> green;
    Block<float> blue;
};

/// Of a half float from 0 to 1. What is below 2^-14 becomes something as small.
SL42_IN_EACH_VARIANT float valueOf(std::uint16_t half) {
    constexpr std::uint32_t otherBias = (127 - 15) << 23;
    return std::bit_cast<float>((std::uint32_t{half} << 13) + otherBias);
}

// The transfer curve of sRGB (IEC 61966-2-1) in polynomials, which are off by less than a twentieth
// of a byte there and back: that of light minimises the error after the way back, that of the way
// back takes the root of the light.

SL42_IN_EACH_VARIANT float decode(float x) {
    const float curve =
        9.1688309e-4F +
        x * (3.2746263e-2F +
             x * (0.51938065F + x * (0.66716436F + x * (-0.30738203F + x * 8.7284234e-2F))));
    return x <= 0.04045F ? x * (1 / 12.92F) : curve;
}

SL42_IN_EACH_VARIANT float encode(float light) {
    const float x = __builtin_elementwise_sqrt(light);
    const float curve =
        -4.223195e-2F +
        x * (1.5752709F +
             x * (-1.8994765F +
                  x * (3.8984415F + x * (-5.0031687F + x * (3.4186874F + x * -0.94767161F)))));
    return light <= 0.0031308F ? light * 12.92F : curve;
}

/// One of the channels of each pixel. Two loops, since the compiler takes only as many pixels at
/// once as it can load whole.
SL42_IN_EACH_VARIANT void decodeBlock(const std::uint16_t* rgba, int channel,
                                      Block<float>& lights) {
    Block<std::uint16_t> halves;
    for (std::size_t i = 0; i < blockLength; ++i) {
        std::uint64_t pixel = 0; // whole, since the compiler is slow with parts of it
        std::memcpy(&pixel, rgba + Image::channelsPerPixel * i, sizeof pixel);
        halves[i] = static_cast<std::uint16_t>(pixel >> 16 * channel);
    }
    for (std::size_t i = 0; i < blockLength; ++i)
        lights[i] = decode(valueOf(halves[i]));
}

SL42_IN_EACH_VARIANT void encodeBlock(Block<float>& lights) {
    for (float& light : lights)
        light = encode(std::min(std::max(light, 0.0F), 1.0F));
}

SL42_IN_EACH_VARIANT void encodeOrdinary(const std::uint16_t* rgba, Colours& colours) {
    decodeBlock(rgba, 0, colours.red);
    decodeBlock(rgba, 1, colours.green);
    decodeBlock(rgba, 2, colours.blue);
    for (std::size_t i = 0; i < blockLength; ++i) {
        const LinearColour colour =
            displayColour({colours.red[i], colours.green[i], colours.blue[i]});
        colours.red[i] = colour.red;
        colours.green[i] = colour.green;
        colours.blue[i] = colour.blue;
    }
    encodeBlock(colours.red);
    encodeBlock(colours.green);
    encodeBlock(colours.blue);
}

/// The same for halves of any kind.
void encodeAny(const std::uint16_t* rgba, Colours& colours) {
    Block<std::uint32_t> pixels{};
    convertToDisplay({rgba, blockLength * Image::channelsPerPixel}, pixels);
    for (std::size_t i = 0; i < blockLength; ++i) {
        const auto value = [pixel = pixels[i]](int shift) {
            return static_cast<float>(pixel >> shift & 255) / 255;
        };
        colours.red[i] = value(16);
        colours.green[i] = value(8);
        colours.blue[i] = value(0);
    }
}

// ITU-R BT.709: the weights of luma, and twice what they leave of red and blue.
SL42_IN_EACH_VARIANT void mixBlock(const Colours& colours, FilmPixels film) {
    constexpr float half = 0.5F; // rounds what is above 0
    const auto byte = [](float value) {
        return static_cast<std::uint8_t>(static_cast<std::int32_t>(value));
    };
    for (std::size_t i = 0; i < blockLength; ++i) {
        const float r = colours.red[i];
        const float b = colours.blue[i];
        const float luma = 0.2126F * r + 0.7152F * colours.green[i] + 0.0722F * b;
        film.luma[i] = byte(16 + half + 219 * luma);
        film.blue[i] = byte(128 + half + 224 / 1.8556F * (b - luma));
        film.red[i] = byte(128 + half + 224 / 1.5748F * (r - luma));
    }
}

SL42_IN_EACH_VARIANT bool isOrdinary(const std::uint16_t* rgba) {
    std::uint16_t largest = 0;
    for (std::size_t i = 0; i < blockLength * Image::channelsPerPixel; ++i)
        largest = std::max(largest, rgba[i]);
    return largest <= halfOfOne;
}

SL42_IN_EACH_VARIANT void convertAll(const std::uint16_t* rgba, std::size_t count,
                                     FilmPixels film) {
    Colours colours;
    for (std::size_t block = 0; block < count; ++block) {
        const std::size_t at = block * blockLength;
        const std::uint16_t* const from = rgba + at * Image::channelsPerPixel;
        if (isOrdinary(from))
            encodeOrdinary(from, colours);
        else
            encodeAny(from, colours);
        mixBlock(colours, {film.luma + at, film.blue + at, film.red + at});
    }
}

using Convert = void(const std::uint16_t* rgba, std::size_t count, FilmPixels film);

void convertAnywhere(const std::uint16_t* rgba, std::size_t count, FilmPixels film) {
    convertAll(rgba, count, film);
}

#ifdef __x86_64__
__attribute__((target("arch=x86-64-v3"))) void convertWithAvx2(const std::uint16_t* rgba,
                                                               std::size_t count, FilmPixels film) {
    convertAll(rgba, count, film);
}

__attribute__((target("arch=x86-64-v4"))) void
convertWithAvx512(const std::uint16_t* rgba, std::size_t count, FilmPixels film) {
    convertAll(rgba, count, film);
}
#endif

Convert* fastest() {
#ifdef __x86_64__
    if (__builtin_cpu_supports("x86-64-v4"))
        return convertWithAvx512;
    if (__builtin_cpu_supports("x86-64-v3"))
        return convertWithAvx2;
#endif
    return convertAnywhere;
}

} // namespace

void convertToFilm(std::span<const std::uint16_t> halves, FilmPixels film) {
    const std::size_t count = halves.size() / Image::channelsPerPixel;
    const std::size_t whole = count / blockLength;
    static Convert* const convertBlocks = fastest();
    convertBlocks(halves.data(), whole, film);
    const std::size_t at = whole * blockLength;
    const std::size_t rest = count - at;
    if (rest == 0)
        return;
    Block<std::array<std::uint16_t, Image::channelsPerPixel>> last{};
    std::ranges::copy(halves.subspan(at * Image::channelsPerPixel), last.front().data());
    Block<std::uint8_t> luma;
    Block<std::uint8_t> blue;
    Block<std::uint8_t> red;
    convertBlocks(last.front().data(), 1, {luma.data(), blue.data(), red.data()});
    std::copy_n(luma.data(), rest, film.luma + at);
    std::copy_n(blue.data(), rest, film.blue + at);
    std::copy_n(red.data(), rest, film.red + at);
}

} // namespace platform
