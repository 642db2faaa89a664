// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/font/FontCache.h"

#include "platform/UserFolders.h"
#include "platform/WholeFile.h"
#include "platform/base/Fnv.h"

#include <algorithm>
#include <cstring>
#include <future>
#include <limits>
#include <span>

namespace starloom {
namespace {

using platform::Bytes;
using platform::SharedMemory;
using View = std::span<const std::byte>;

constexpr std::byte blankPixel{0};
constexpr std::byte fullPixel{255};

/// Pixels in the order of the picture: blank ones, full ones, and others, which follow one by one.
struct Run {
    std::uint16_t blank = 0;
    std::uint16_t full = 0;
    std::uint16_t others = 0;
};
constexpr std::size_t longestRun = std::numeric_limits<std::uint16_t>::max();

/// The checksum is that of all bytes behind it: the key, then each style.
struct Header {
    std::uint64_t checksum = 0;
    std::uint32_t keyLength = 0;
    std::array<std::uint32_t, fontStyleCount> styleLengths{};
};

/// Number of pixels at the start that have this value, eight at a time where there are many.
std::uint16_t countEqual(View pixels, std::byte value) {
    pixels = pixels.first(std::min(pixels.size(), longestRun));
    std::array<std::byte, 8> eight{};
    eight.fill(value);
    std::size_t count = 0;
    while (count + eight.size() <= pixels.size() &&
           std::memcmp(&pixels[count], eight.data(), eight.size()) == 0)
        count += eight.size();
    while (count < pixels.size() && pixels[count] == value)
        ++count;
    return static_cast<std::uint16_t>(count);
}

std::uint16_t countOthers(View pixels) {
    const View reach = pixels.first(std::min(pixels.size(), longestRun));
    const auto end = std::ranges::find_if(
        reach, [](std::byte pixel) { return pixel == blankPixel || pixel == fullPixel; });
    return static_cast<std::uint16_t>(end - reach.begin());
}

void append(Bytes& bytes, View more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

void encode(View pixels, Bytes& bytes) {
    while (!pixels.empty()) {
        Run run;
        run.blank = countEqual(pixels, blankPixel);
        pixels = pixels.subspan(run.blank);
        run.full = countEqual(pixels, fullPixel);
        pixels = pixels.subspan(run.full);
        run.others = countOthers(pixels);
        append(bytes, std::as_bytes(std::span(&run, 1)));
        append(bytes, pixels.first(run.others));
        pixels = pixels.subspan(run.others);
    }
}

/// Takes a value off the front of the bytes; false when they are too short.
template <class T>
bool take(View& bytes, T& value) {
    if (bytes.size() < sizeof value)
        return false;
    std::memcpy(&value, bytes.data(), sizeof value);
    bytes = bytes.subspan(sizeof value);
    return true;
}

/// Into blank pixels; false when the bytes do not fill them exactly.
bool decode(View bytes, std::span<std::byte> pixels) {
    while (!bytes.empty()) {
        Run run;
        if (!take(bytes, run) || bytes.size() < run.others)
            return false;
        if (pixels.size() < std::size_t{run.blank} + run.full + run.others)
            return false;
        pixels = pixels.subspan(run.blank);
        std::ranges::fill(pixels.first(run.full), fullPixel);
        pixels = pixels.subspan(run.full);
        std::ranges::copy(bytes.first(run.others), pixels.begin());
        pixels = pixels.subspan(run.others);
        bytes = bytes.subspan(run.others);
    }
    return pixels.empty();
}

std::shared_ptr<SharedMemory> decodeStyle(View bytes, std::size_t pixelCount) {
    auto memory = SharedMemory::create(pixelCount, "Font style");
    if (!memory || (*memory)->bytes().empty() || !decode(bytes, (*memory)->bytes()))
        return nullptr;
    return *memory;
}

/// Takes `length` bytes off the front, or none when there are fewer.
View takeBytes(View& bytes, std::size_t length) {
    if (bytes.size() < length)
        return {};
    const View taken = bytes.first(length);
    bytes = bytes.subspan(length);
    return taken;
}

} // namespace

FontCache FontCache::ofThisUser() {
    if (const auto folder = platform::cacheFolder())
        return FontCache(*folder / "font");
    return {};
}

std::optional<FontPictures> FontCache::load(std::string_view key, std::uint32_t size) const {
    if (m_file.empty())
        return std::nullopt;
    const auto file = platform::readWholeFile(m_file);
    if (!file)
        return std::nullopt;
    View rest = *file;
    Header header;
    if (!take(rest, header) ||
        header.checksum != platform::fnv1a64(View(*file).subspan(sizeof header.checksum)))
        return std::nullopt;
    if (!std::ranges::equal(takeBytes(rest, header.keyLength), std::as_bytes(std::span(key))))
        return std::nullopt;
    // Nearly all of the time goes into getting the memory, which two threads get sooner than one.
    std::array<std::future<std::shared_ptr<SharedMemory>>, fontStyleCount> decoding;
    for (std::size_t style = 0; style < fontStyleCount; ++style)
        decoding[style] =
            std::async(std::launch::async, decodeStyle, takeBytes(rest, header.styleLengths[style]),
                       std::size_t{size} * size);
    FontPictures pictures{.styles = {}, .size = size};
    std::ranges::transform(decoding, pictures.styles.begin(),
                           [](auto& style) { return style.get(); });
    if (std::ranges::find(pictures.styles, nullptr) != pictures.styles.end())
        return std::nullopt;
    return pictures;
}

void FontCache::store(std::string_view key, const FontPictures& pictures) const {
    if (m_file.empty())
        return;
    Header header;
    header.keyLength = static_cast<std::uint32_t>(key.size());
    Bytes bytes(sizeof header);
    append(bytes, std::as_bytes(std::span(key)));
    for (std::size_t style = 0; style < fontStyleCount; ++style) {
        const std::size_t before = bytes.size();
        encode(pictures.styles[style]->bytes(), bytes);
        header.styleLengths[style] = static_cast<std::uint32_t>(bytes.size() - before);
    }
    std::memcpy(bytes.data(), &header, sizeof header);
    header.checksum = platform::fnv1a64(View(bytes).subspan(sizeof header.checksum));
    std::memcpy(bytes.data(), &header, sizeof header);
    std::error_code failed;
    std::filesystem::create_directories(m_file.parent_path(), failed);
    if (!failed)
        static_cast<void>(platform::writeWholeFile(m_file, bytes));
}

} // namespace starloom
