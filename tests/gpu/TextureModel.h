// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What sampling means, in double precision and by the definition: a weighted sum over the corners
// of the cell around a point, each an index on an endless axis that the address mode brings back.
#pragma once

#include "gpu/Texture.h"

#include <array>
#include <optional>
#include <random>
#include <vector>

namespace test {

using Color = std::array<double, 4>;

/// A texture of random texels between a quarter and three quarters, on both sides.
class TextureModel {
public:
    TextureModel(const gpu::TextureDescriptor& descriptor, std::mt19937& random);

    const gpu::TextureDescriptor& descriptor() const { return m_descriptor; }
    /// Writes the texels into a texture that was made with the descriptor.
    bool fill(gpu::Texture& texture) const;
    std::uint32_t sliceCount(std::uint32_t level) const;
    std::array<int, 3> extents(std::uint32_t level) const;
    Color texel(std::uint32_t level, std::uint32_t slice, int x, int y) const;

    struct Point {
        std::array<double, 3> at{}; ///< coordinates, or a direction
        std::uint32_t layer = 0;
        std::array<int, 3> offset{};
    };
    /// Nothing where rounding decides between two results. `reference` is what depths are compared
    /// with, all in the first component of the result.
    std::optional<Color> sample(const gpu::Sampler& sampler, const Point& point, double lod,
                                std::optional<float> reference = {}) const;
    std::optional<Color> gather(const gpu::Sampler& sampler, const Point& point,
                                std::size_t component, std::optional<float> reference = {}) const;
    /// By how much the coordinates differ from one pixel to the next on two axes.
    double lodOf(const gpu::Sampler& sampler, const Point& point,
                 const std::array<std::array<double, 3>, 2>& steps) const;

private:
    struct Cell;
    /// The corners around the point on a level, or the texel that it lies in.
    std::optional<Cell> cellAt(const gpu::Sampler& sampler, const Point& point, std::uint32_t level,
                               bool linear) const;
    Color cornerOf(const gpu::Sampler& sampler, const Cell& cell, std::uint32_t corner,
                   std::optional<float> reference) const;
    std::optional<Color> sampleLevel(const gpu::Sampler& sampler, const Point& point,
                                     std::uint32_t level, bool linear,
                                     std::optional<float> reference) const;
    Color border(const gpu::Sampler& sampler) const;
    Color compared(const gpu::Sampler& sampler, const Color& color,
                   std::optional<float> reference) const;

    gpu::TextureDescriptor m_descriptor;
    /// By level and slice, rows without gaps, in the format of the texture.
    std::vector<std::vector<std::vector<std::byte>>> m_bytes;
};

} // namespace test
