// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/gpu/TextureModel.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace test {

using compute::AddressMode;
using gpu::PixelFormat;
using gpu::TextureType;

namespace {

using Vector = std::array<double, 3>;

constexpr double tooClose = 2e-3;

/// Whether a whole number is so near that rounding may put the value on either side of it.
bool isOnEdge(double value) {
    return std::fabs(value - std::round(value)) < tooClose;
}

std::uint32_t axesOf(TextureType type) {
    return type == TextureType::D3 ? 3 : compute::hasHeight(type) ? 2 : 1;
}

std::optional<int> addressed(double i, int size, AddressMode mode) {
    switch (mode) {
    case AddressMode::ClampToZero:
    case AddressMode::ClampToBorder:
        if (i < 0 || i >= size)
            return std::nullopt;
        return static_cast<int>(i);
    case AddressMode::ClampToEdge:
        return static_cast<int>(std::clamp(i, 0.0, size - 1.0));
    case AddressMode::Repeat:
        return static_cast<int>(i - size * std::floor(i / size));
    case AddressMode::MirroredRepeat: {
        const double m = i - 2 * size * std::floor(i / (2.0 * size));
        return static_cast<int>(m < size ? m : 2 * size - 1 - m);
    }
    }
    return std::nullopt;
}

/// The faces of a cube: where each looks, and in which directions its columns and rows count.
struct Face {
    Vector normal, columns, rows;
};
constexpr Face faces[] = {
    {{1, 0, 0}, {0, 0, -1}, {0, -1, 0}}, {{-1, 0, 0}, {0, 0, 1}, {0, -1, 0}},
    {{0, 1, 0}, {1, 0, 0}, {0, 0, 1}},   {{0, -1, 0}, {1, 0, 0}, {0, 0, -1}},
    {{0, 0, 1}, {1, 0, 0}, {0, -1, 0}},  {{0, 0, -1}, {-1, 0, 0}, {0, -1, 0}}};

double dot(const Vector& a, const Vector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

struct OnCube {
    std::uint32_t face;
    double column, row; ///< from 0 to 1
};
std::optional<OnCube> onCube(const Vector& direction) {
    std::uint32_t best = 0;
    for (std::uint32_t f = 1; f < 6; ++f)
        if (dot(direction, faces[f].normal) > dot(direction, faces[best].normal))
            best = f;
    const double major = dot(direction, faces[best].normal);
    for (std::uint32_t f = 0; f < 6; ++f)
        if (f != best && dot(direction, faces[f].normal) > major * (1 - tooClose))
            return std::nullopt;
    return OnCube{best, (dot(direction, faces[best].columns) / major + 1) / 2,
                  (dot(direction, faces[best].rows) / major + 1) / 2};
}

bool holds(gpu::CompareFunction function, double reference, double depth) {
    switch (function) {
    case gpu::CompareFunction::Never:
        return false;
    case gpu::CompareFunction::Less:
        return reference < depth;
    case gpu::CompareFunction::LessEqual:
        return reference <= depth;
    case gpu::CompareFunction::Greater:
        return reference > depth;
    case gpu::CompareFunction::GreaterEqual:
        return reference >= depth;
    case gpu::CompareFunction::Equal:
        return reference == depth;
    case gpu::CompareFunction::NotEqual:
        return reference != depth;
    case gpu::CompareFunction::Always:
        return true;
    }
    return false;
}

} // namespace

/// Up to three axes, on each of which a corner is at `first` or one further.
struct TextureModel::Cell {
    std::uint32_t level = 0;
    std::uint32_t slice = 0; ///< of the face or element
    std::uint32_t axes = 0;
    Vector first{};
    Vector fraction{}; ///< 0 on all axes where nothing is blended
};

TextureModel::TextureModel(const gpu::TextureDescriptor& descriptor, std::mt19937& random)
    : m_descriptor(descriptor) {
    const std::size_t pixel = compute::bytesPerPixel(descriptor.format);
    for (std::uint32_t level = 0; level < descriptor.mipLevels; ++level) {
        const auto [width, height, depth] = extents(level);
        auto& slices = m_bytes.emplace_back(sliceCount(level));
        for (auto& slice : slices) {
            slice.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
                         pixel);
            const bool isFloat = descriptor.format == PixelFormat::RGBA32Float ||
                                 descriptor.format == PixelFormat::Depth32Float;
            for (std::size_t i = 0; i < slice.size(); i += isFloat ? 4 : 1) {
                const auto step = 64 + random() % 128;
                const float value = static_cast<float>(step) / 256;
                const auto byte = static_cast<std::uint8_t>(step);
                std::memcpy(&slice[i], isFloat ? static_cast<const void*>(&value) : &byte,
                            isFloat ? 4 : 1);
            }
        }
    }
}

std::uint32_t TextureModel::sliceCount(std::uint32_t level) const {
    if (m_descriptor.type == TextureType::D3)
        return gpu::mipExtent(m_descriptor.depth, level);
    return m_descriptor.arrayLength * (compute::isCube(m_descriptor.type) ? 6 : 1) *
           m_descriptor.sampleCount;
}

std::array<int, 3> TextureModel::extents(std::uint32_t level) const {
    return {static_cast<int>(gpu::mipExtent(m_descriptor.width, level)),
            static_cast<int>(gpu::mipExtent(m_descriptor.height, level)),
            static_cast<int>(gpu::mipExtent(m_descriptor.depth, level))};
}

bool TextureModel::fill(gpu::Texture& texture) const {
    for (std::uint32_t level = 0; level < m_bytes.size(); ++level)
        for (std::uint32_t slice = 0; slice < m_bytes[level].size(); ++slice)
            if (!texture.replaceSlice(level, slice, m_bytes[level][slice],
                                      static_cast<std::size_t>(extents(level)[0]) *
                                          compute::bytesPerPixel(m_descriptor.format)))
                return false;
    return true;
}

Color TextureModel::texel(std::uint32_t level, std::uint32_t slice, int x, int y) const {
    const std::size_t pixel = compute::bytesPerPixel(m_descriptor.format);
    const std::byte* bytes =
        &m_bytes[level][slice]
                [(static_cast<std::size_t>(y) * static_cast<std::size_t>(extents(level)[0]) +
                  static_cast<std::size_t>(x)) *
                 pixel];
    Color color{0, 0, 0, 1};
    for (std::size_t i = 0; i < 4; ++i) {
        float value = 0;
        if (m_descriptor.format == PixelFormat::RGBA32Float)
            std::memcpy(&value, bytes + 4 * i, 4);
        else if (m_descriptor.format == PixelFormat::Depth32Float)
            std::memcpy(&value, bytes, 4);
        else if (i >= pixel)
            continue;
        else
            value = static_cast<float>(bytes[i]) / 255;
        color[i] = value;
    }
    return color;
}

Color TextureModel::border(const gpu::Sampler& s) const {
    // One axis with a border is enough, also where there is no such axis.
    const AddressMode modes[] = {s.sAddress, s.tAddress, s.rAddress};
    const bool isColored = std::ranges::count(modes, AddressMode::ClampToBorder) > 0;
    Color color{};
    if (isColored && s.border == gpu::BorderColor::OpaqueBlack)
        color = {0, 0, 0, 1};
    if (isColored && s.border == gpu::BorderColor::OpaqueWhite)
        color = {1, 1, 1, 1};
    for (std::size_t i = compute::bytesPerPixel(m_descriptor.format); i < 4; ++i)
        color[i] = i == 3 ? 1 : 0;
    return color;
}

std::optional<TextureModel::Cell> TextureModel::cellAt(const gpu::Sampler& s, const Point& point,
                                                       std::uint32_t level, bool linear) const {
    Cell cell{.level = level, .axes = axesOf(m_descriptor.type)};
    cell.slice = std::min(point.layer, m_descriptor.arrayLength - 1);
    Vector at = point.at;
    if (compute::isCube(m_descriptor.type)) {
        const auto p = onCube(point.at);
        if (!p)
            return std::nullopt;
        at = {p->column, p->row, 0};
        cell.slice = cell.slice * 6 + p->face;
    }
    const auto size = extents(level);
    const auto size0 = extents(0);
    for (std::size_t axis = 0; axis < cell.axes; ++axis) {
        const bool isPixel =
            s.coordinates == gpu::CoordinateKind::Pixel && !compute::isCube(m_descriptor.type);
        const double scale = isPixel ? static_cast<double>(size[axis]) / size0[axis] : size[axis];
        double texels = at[axis] * scale + point.offset[axis];
        if (linear)
            texels -= 0.5;
        else if (isOnEdge(texels))
            return std::nullopt;
        cell.first[axis] = std::floor(texels);
        cell.fraction[axis] = linear ? texels - cell.first[axis] : 0;
    }
    return cell;
}

Color TextureModel::compared(const gpu::Sampler& s, const Color& color,
                             std::optional<float> reference) const {
    if (!reference)
        return color;
    return {holds(s.compare, *reference, color[0]) ? 1.0 : 0.0, 0, 0, 0};
}

Color TextureModel::cornerOf(const gpu::Sampler& s, const Cell& cell, std::uint32_t corner,
                             std::optional<float> reference) const {
    const auto size = extents(cell.level);
    Vector at = cell.first;
    for (std::size_t axis = 0; axis < cell.axes; ++axis)
        at[axis] += (corner >> axis) & 1;
    if (compute::isCube(m_descriptor.type)) {
        const int n = size[0];
        const auto isOutside = [n](double i) { return i < 0 || i >= n; };
        std::uint32_t slice = cell.slice;
        if (isOutside(at[0]) != isOutside(at[1])) {
            const Face& face = faces[slice % 6];
            const double column = (2 * at[0] + 1) / n - 1;
            const double row = (2 * at[1] + 1) / n - 1;
            Vector direction{};
            for (std::size_t i = 0; i < 3; ++i)
                direction[i] = face.normal[i] + column * face.columns[i] + row * face.rows[i];
            const auto there = onCube(direction);
            slice = slice / 6 * 6 + there->face;
            at = {std::floor(there->column * n), std::floor(there->row * n), 0};
        }
        return compared(s,
                        texel(cell.level, slice, static_cast<int>(std::clamp(at[0], 0.0, n - 1.0)),
                              static_cast<int>(std::clamp(at[1], 0.0, n - 1.0))),
                        reference);
    }
    const AddressMode modes[] = {s.sAddress, s.tAddress, s.rAddress};
    std::array<int, 3> index{};
    for (std::size_t axis = 0; axis < cell.axes; ++axis) {
        const auto there = addressed(at[axis], size[axis], modes[axis]);
        if (!there)
            return compared(s, border(s), reference);
        index[axis] = *there;
    }
    const std::uint32_t slice = cell.axes == 3 ? static_cast<std::uint32_t>(index[2]) : cell.slice;
    return compared(s, texel(cell.level, slice, index[0], index[1]), reference);
}

std::optional<Color> TextureModel::sampleLevel(const gpu::Sampler& s, const Point& point,
                                               std::uint32_t level, bool linear,
                                               std::optional<float> reference) const {
    const auto cell = cellAt(s, point, level, linear);
    if (!cell)
        return std::nullopt;
    Color sum{};
    for (std::uint32_t corner = 0; corner < 1u << cell->axes; ++corner) {
        double weight = 1;
        for (std::size_t axis = 0; axis < cell->axes; ++axis)
            weight *= ((corner >> axis) & 1) != 0 ? cell->fraction[axis] : 1 - cell->fraction[axis];
        if (weight == 0)
            continue;
        const Color color = cornerOf(s, *cell, corner, reference);
        for (std::size_t i = 0; i < 4; ++i)
            sum[i] += weight * color[i];
    }
    return sum;
}

std::optional<Color> TextureModel::sample(const gpu::Sampler& s, const Point& point, double lod,
                                          std::optional<float> reference) const {
    lod = std::clamp<double>(lod, s.lodMinimum, s.lodMaximum);
    if (lod != 0 && std::fabs(lod) < tooClose)
        return std::nullopt;
    const bool linear = (lod > 0 ? s.minFilter : s.magFilter) == gpu::Filter::Linear;
    if (s.mipFilter == gpu::MipFilter::None)
        return sampleLevel(s, point, 0, linear, reference);
    const double last = m_descriptor.mipLevels - 1;
    lod = std::clamp(lod, 0.0, last);
    if (s.mipFilter == gpu::MipFilter::Nearest) {
        if (isOnEdge(lod + 0.5))
            return std::nullopt;
        return sampleLevel(s, point, static_cast<std::uint32_t>(std::floor(lod + 0.5)), linear,
                           reference);
    }
    const double finer = std::floor(lod);
    const auto fine = sampleLevel(s, point, static_cast<std::uint32_t>(finer), linear, reference);
    const auto coarse = sampleLevel(s, point, static_cast<std::uint32_t>(std::min(finer + 1, last)),
                                    linear, reference);
    if (!fine || !coarse)
        return std::nullopt;
    Color sum{};
    for (std::size_t i = 0; i < 4; ++i)
        sum[i] = (*fine)[i] * (1 - (lod - finer)) + (*coarse)[i] * (lod - finer);
    return sum;
}

std::optional<Color> TextureModel::gather(const gpu::Sampler& s, const Point& point,
                                          std::size_t component,
                                          std::optional<float> reference) const {
    const auto cell = cellAt(s, point, 0, true);
    if (!cell || isOnEdge(cell->fraction[0]) || isOnEdge(cell->fraction[1]))
        return std::nullopt;
    Color result{};
    constexpr std::uint32_t corners[] = {2, 3, 1, 0};
    for (std::size_t i = 0; i < 4; ++i)
        result[i] = cornerOf(s, *cell, corners[i], reference)[component];
    return result;
}

double TextureModel::lodOf(const gpu::Sampler& s, const Point& point,
                           const std::array<Vector, 2>& steps) const {
    const auto size = extents(0);
    double longest = 0;
    for (Vector step : steps) {
        double squares = 0;
        if (compute::isCube(m_descriptor.type)) {
            // By how much the place on the face moves for a small part of the step.
            constexpr double part = 1e-6;
            const auto here = onCube(point.at);
            Vector moved = point.at;
            for (std::size_t i = 0; i < 3; ++i)
                moved[i] += step[i] * part;
            const auto there = onCube(moved);
            if (!here || !there)
                return 0;
            step = {(there->column - here->column) / part, (there->row - here->row) / part, 0};
        }
        for (std::size_t axis = 0; axis < axesOf(m_descriptor.type); ++axis) {
            const bool isPixel =
                s.coordinates == gpu::CoordinateKind::Pixel && !compute::isCube(m_descriptor.type);
            squares += std::pow(step[axis] * (isPixel ? 1 : size[axis]), 2);
        }
        longest = std::max(longest, squares);
    }
    return std::log2(std::sqrt(longest));
}

} // namespace test
