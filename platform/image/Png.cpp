// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/image/Png.h"

#include "platform/WholeFile.h"

#include <png.h>

#include <csetjmp>
#include <vector>

namespace platform {
namespace {

constexpr std::size_t pngChannels = 3;

/// What the C library calls back with while a picture is being encoded.
struct Encoding {
    Bytes bytes;
    std::string error;
};

void appendBytes(png_structp png, png_bytep data, png_size_t length) {
    auto& bytes = static_cast<Encoding*>(png_get_io_ptr(png))->bytes;
    const auto* first = reinterpret_cast<const std::byte*>(data);
    bytes.insert(bytes.end(), first, first + length);
}

[[noreturn]] void stopEncoding(png_structp png, png_const_charp message) {
    static_cast<Encoding*>(png_get_error_ptr(png))->error = message;
    png_longjmp(png, 1);
}

void ignoreWarning(png_structp, png_const_charp) {}

/// cHRM and gAMA for every reader, and cICP, which is exact, for those that know it.
void describeColours(png_structp png, png_infop info) {
    png_set_cHRM(png, info, DisplayP3::white[0], DisplayP3::white[1], DisplayP3::red[0],
                 DisplayP3::red[1], DisplayP3::green[0], DisplayP3::green[1], DisplayP3::blue[0],
                 DisplayP3::blue[1]);
    // 1 / 2.2, which the PNG format recommends in place of the curve of sRGB.
    png_set_gAMA_fixed(png, info, 45455);
    // ITU-T H.273: primaries 12 (Display P3), transfer 13 (sRGB), matrix 0 (RGB), full range.
    static constexpr std::array<png_byte, 4> codes{12, 13, 0, 1};
    png_unknown_chunk chunk{{'c', 'I', 'C', 'P', '\0'},
                            const_cast<png_byte*>(codes.data()),
                            codes.size(),
                            PNG_HAVE_IHDR};
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_ALWAYS, chunk.name, 1);
    png_set_unknown_chunks(png, info, &chunk, 1);
}

/// False when the library gave up. Holds nothing with a destructor, because that is left by a
/// long jump.
bool encode(png_structp png, png_infop info, const Image& image, png_bytepp rows) {
    if (setjmp(png_jmpbuf(png)))
        return false;
    png_set_IHDR(png, info, image.width(), image.height(), 8, PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    // Written frame after frame, files that are a little larger are worth the time saved.
    png_set_compression_level(png, 3);
    describeColours(png, info);
    png_set_rows(png, info, rows);
    png_write_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    return true;
}

std::vector<png_byte> toRgbBytes(const Image& image) {
    std::vector<png_byte> bytes;
    bytes.reserve(std::size_t{image.width()} * image.height() * pngChannels);
    for (std::uint32_t y = 0; y < image.height(); ++y) {
        for (std::uint32_t x = 0; x < image.width(); ++x) {
            const auto rgba = image.pixel(x, y);
            for (std::size_t channel = 0; channel < pngChannels; ++channel)
                bytes.push_back(toByte(rgba[channel]));
        }
    }
    return bytes;
}

std::vector<png_bytep> rowsOf(std::vector<png_byte>& bytes, const Image& image) {
    std::vector<png_bytep> rows(image.height());
    for (std::size_t y = 0; y < rows.size(); ++y)
        rows[y] = bytes.data() + y * image.width() * pngChannels;
    return rows;
}

} // namespace

Result<void> writePng(const Image& image, const std::string& path) {
    Encoding encoding;
    png_structp png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, &encoding, stopEncoding, ignoreWarning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    bool encoded = false;
    if (info) {
        png_set_write_fn(png, &encoding, appendBytes, nullptr);
        auto bytes = toRgbBytes(image);
        auto rows = rowsOf(bytes, image);
        encoded = encode(png, info, image, rows.data());
    } else {
        encoding.error = "out of memory";
    }
    png_destroy_write_struct(&png, &info);
    if (!encoded)
        return Error{"cannot write " + path + ": " + encoding.error};
    return writeWholeFile(path, encoding.bytes);
}

Result<Image> readPng(const std::string& path) {
    const Bytes bytes = SL42_TRY(readWholeFile(path));
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    std::vector<png_byte> pixels;
    if (png_image_begin_read_from_memory(&png, bytes.data(), bytes.size())) {
        png.format = PNG_FORMAT_RGBA;
        pixels.resize(PNG_IMAGE_SIZE(png));
        png_image_finish_read(&png, nullptr, pixels.data(), 0, nullptr);
    }
    const std::string problem = PNG_IMAGE_FAILED(png) ? png.message : "";
    png_image_free(&png);
    if (!problem.empty())
        return Error{"cannot read " + path + ": " + problem};

    Image image(png.width, png.height);
    const png_byte* next = pixels.data();
    for (std::uint32_t y = 0; y < image.height(); ++y) {
        for (std::uint32_t x = 0; x < image.width(); ++x, next += Image::channelsPerPixel) {
            // Half floats hold every n / 255 closely enough to give n back.
            image.setPixel(
                x, y,
                {static_cast<float>(next[0]) / 255.0F, static_cast<float>(next[1]) / 255.0F,
                 static_cast<float>(next[2]) / 255.0F, static_cast<float>(next[3]) / 255.0F});
        }
    }
    return image;
}

} // namespace platform
