// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "cli/PictureSize.h"

#include <charconv>
#include <optional>
#include <string_view>

namespace cli {
namespace {

struct Extents {
    std::uint32_t least;
    std::uint32_t most;
    std::uint32_t step;
    const char* words;
};

constexpr Extents pictures{1, 8192, 1, ": sizes are written as 1920x1080, in numbers up to 8192"};
// What encoders share.
constexpr Extents movies{64, 4096, 2,
                         ": sizes are written as 1920x1080, in even numbers from 64 to 4096"};

std::optional<std::uint32_t> parseExtent(std::string_view text, const Extents& allowed) {
    std::uint32_t extent = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), extent);
    const bool isNumber = error == std::errc() && end == text.data() + text.size();
    if (!isNumber || extent < allowed.least || extent > allowed.most || extent % allowed.step != 0)
        return std::nullopt;
    return extent;
}

platform::Result<PictureSize> parse(const std::string& text, const Extents& allowed) {
    const std::string_view all = text;
    const auto cross = all.find('x');
    if (cross != all.npos) {
        const auto width = parseExtent(all.substr(0, cross), allowed);
        const auto height = parseExtent(all.substr(cross + 1), allowed);
        if (width && height)
            return PictureSize{*width, *height};
    }
    return platform::Error{text + allowed.words};
}

} // namespace

platform::Result<PictureSize> parsePictureSize(const std::string& text) {
    return parse(text, pictures);
}

platform::Result<PictureSize> parseMovieSize(const std::string& text) {
    return parse(text, movies);
}

} // namespace cli
