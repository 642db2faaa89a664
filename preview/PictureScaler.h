// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Enlarges pictures of 8-bit pixels for the screen.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace starloom {

/// Whole-number scales repeat pixels. At other scales pixels stay crisp, too: only those of the
/// target that lie across the border of two source pixels mix them. Reductions interpolate
/// linearly. Made once for a pair of sizes, all above 0.
class PictureScaler {
public:
    struct Size {
        std::size_t width = 0;
        std::size_t height = 0;
        std::size_t area() const { return width * height; }
        bool operator==(const Size&) const = default;
    };

    PictureScaler(Size source, Size target);

    Size source() const { return m_source; }
    Size target() const { return m_target; }
    /// Both are rows without padding, of the sizes above.
    void scale(std::span<const std::uint32_t> source, std::span<std::uint32_t> target);

    /// Target pixel = source pixels `first` and `first + 1`, mixed with `weight` / 256 of the
    /// other.
    struct Mix {
        std::size_t first = 0;
        std::uint32_t weight = 0;
    };
    /// For each pixel of a target row (or column) that is made of a source one.
    static std::vector<Mix> mixes(std::size_t source, std::size_t target);

private:
    void scaleWhole(std::span<const std::uint32_t> source, std::span<std::uint32_t> target) const;
    void scaleRow(const std::uint32_t* source, std::uint32_t* target) const;

    Size m_source;
    Size m_target;
    std::vector<Mix> m_columns;
    std::vector<Mix> m_rows;
    std::vector<std::uint32_t> m_upper;
    std::vector<std::uint32_t> m_lower;
};

} // namespace starloom
