// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Pictures of full colour as pictures of 256 colours, each with the palette that suits it best.
#pragma once

#include "platform/media/FFmpeg.h"
#include "platform/media/MovieFormat.h"

#include <cstdint>
#include <span>

namespace platform {

/// Movable. Pictures go in by add() and come out by take(), in order, some later than they went in.
/// What lies between two colours of the palette is dithered by a fixed pattern, which does not
/// crawl from frame to frame.
class PaletteFilter {
public:
    static Result<PaletteFilter> create(const MovieFormat& format);

    /// Rows from the top, each pixel 0xffRRGGBB.
    Result<void> add(std::span<const std::uint32_t> pixels, std::int64_t number);
    /// No more will be added.
    Result<void> end();
    /// The next one, valid until the next call; null when there is none for now.
    Result<const AVFrame*> take();

private:
    PaletteFilter() = default;

    FFmpegPtr<AVFilterGraph> m_graph;
    AVFilterContext* m_source = nullptr; ///< the graph's, like the next
    AVFilterContext* m_sink = nullptr;
    FFmpegPtr<AVFrame> m_picture;
    FFmpegPtr<AVFrame> m_paletted;
};

} // namespace platform
