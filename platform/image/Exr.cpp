// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/image/Exr.h"

#include "platform/WholeFile.h"

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfIO.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfOutputFile.h>
#include <OpenEXR/ImfStandardAttributes.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <limits>
#include <stdexcept>

namespace platform {
namespace {

constexpr std::array<const char*, Image::channelsPerPixel> channelNames{"R", "G", "B", "A"};

/// Collects a file in memory, so that it can be put in its place in one step.
class MemoryOutput final : public Imf::OStream {
public:
    MemoryOutput() : Imf::OStream("memory") {}

    void write(const char data[], int length) override {
        const auto count = static_cast<std::size_t>(length);
        m_bytes.resize(std::max(m_bytes.size(), m_position + count));
        std::memcpy(m_bytes.data() + m_position, data, count);
        m_position += count;
    }
    std::uint64_t tellp() override { return m_position; }
    void seekp(std::uint64_t position) override { m_position = position; }

    const Bytes& bytes() const { return m_bytes; }

private:
    Bytes m_bytes;
    std::size_t m_position = 0;
};

class MemoryInput final : public Imf::IStream {
public:
    explicit MemoryInput(const Bytes& bytes) : Imf::IStream("memory"), m_bytes(bytes) {}

    bool read(char data[], int length) override {
        const auto count = static_cast<std::size_t>(length);
        if (m_position > m_bytes.size() || count > m_bytes.size() - m_position)
            throw std::runtime_error("unexpected end of file");
        std::memcpy(data, m_bytes.data() + m_position, count);
        m_position += count;
        return m_position < m_bytes.size();
    }
    std::uint64_t tellg() override { return m_position; }
    void seekg(std::uint64_t position) override { m_position = position; }

private:
    const Bytes& m_bytes;
    std::size_t m_position = 0;
};

Imath::V2f point(const std::array<float, 2>& xy) {
    return {xy[0], xy[1]};
}

Imf::Header makeHeader(const Image& image) {
    Imf::Header header(static_cast<int>(image.width()), static_cast<int>(image.height()));
    header.compression() = Imf::ZIP_COMPRESSION;
    for (const char* name : channelNames)
        header.channels().insert(name, Imf::Channel(Imf::HALF));
    Imf::addChromaticities(header, {point(DisplayP3::red), point(DisplayP3::green),
                                    point(DisplayP3::blue), point(DisplayP3::white)});
    Imf::addComments(header, "extended Display P3, encoded with the sRGB transfer curve; alpha is "
                             "not premultiplied");
    return header;
}

/// Where the library finds the channels of `image`, whose first pixel is at `origin`.
Imf::FrameBuffer makeFrameBuffer(std::uint16_t* halves, std::uint32_t width,
                                 const Imath::V2i& origin) {
    Imf::FrameBuffer frame;
    const std::size_t pixelBytes = Image::channelsPerPixel * sizeof(std::uint16_t);
    for (std::size_t channel = 0; channel < channelNames.size(); ++channel) {
        const double missing = channel == 3 ? 1.0 : 0.0;
        frame.insert(channelNames[channel],
                     Imf::Slice::Make(Imf::HALF, halves + channel, origin,
                                      static_cast<std::int64_t>(width), 1, pixelBytes,
                                      pixelBytes * width, 1, 1, missing));
    }
    return frame;
}

Result<void> encode(const Image& image, MemoryOutput& output) try {
    Imf::OutputFile file(output, makeHeader(image));
    // The library takes a frame buffer for writing as it does for reading, but only reads it.
    auto* halves = const_cast<std::uint16_t*>(image.halves().data());
    file.setFrameBuffer(makeFrameBuffer(halves, image.width(), {0, 0}));
    file.writePixels(static_cast<int>(image.height()));
    return {};
} catch (const std::exception& exception) {
    return Error{exception.what()};
}

Result<Image> decode(const Bytes& bytes) try {
    MemoryInput input(bytes);
    Imf::InputFile file(input);
    const Imath::Box2i window = file.header().dataWindow();
    Image image(static_cast<std::uint32_t>(window.max.x - window.min.x + 1),
                static_cast<std::uint32_t>(window.max.y - window.min.y + 1));
    file.setFrameBuffer(makeFrameBuffer(image.halves().data(), image.width(), window.min));
    file.readPixels(window.min.y, window.max.y);
    return image;
} catch (const std::exception& exception) {
    return Error{exception.what()};
}

} // namespace

Result<void> writeExr(const Image& image, const std::string& path) {
    MemoryOutput output;
    if (auto encoded = encode(image, output); !encoded)
        return Error{"cannot write " + path + ": " + encoded.error().message};
    return writeWholeFile(path, output.bytes());
}

Result<Image> readExr(const std::string& path) {
    const Bytes bytes = SL42_TRY(readWholeFile(path));
    auto image = decode(bytes);
    if (!image)
        return Error{"cannot read " + path + ": " + image.error().message};
    return image;
}

} // namespace platform
