// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Places in textures of each shape, and the images around them. A row has two texels around a
// point, an image two rows, a volume two images; an element of an array and a face of a cube are
// images, too, so that all shapes share the filter for images.
#pragma once
#pragma clang system_header

#include <sl42_sampling.h>

#pragma clang attribute push(__attribute__((always_inline)), apply_to = function)
#pragma clang attribute push(__attribute__((nodebug)), apply_to = hasType(functionType))

namespace __sl42 {

/// Which coordinate of a texture, in texels of a level. Pixel coordinates count those of level 0.
inline float pointOnAxis(float c, int offset, uint size, uint size0, metal::coord kind,
                         metal::address mode) {
    const float extent = float(int(size));
    const bool isPixel = kind == metal::coord::pixel;
    float p = c;
    if (isPixel)
        p = p * (extent / float(int(size0)));
    if (offset != 0)
        p += float(offset) * (isPixel ? 1.0f : 1.0f / extent);
    return inTexels(p, extent, kind, mode);
}

/// The element of an array that a program means: one of those that there are.
inline uint clampedLayer(const textureView* view, uint layer) {
    return metal::min(layer, view->arrayLength - 1u);
}

// The methods of a place get the image that it lies in, or the first of several.

struct place1d {
    using Offset = int;
    float c;
    int offset = 0;

    template <class Reader>
    typename Reader::Value sampledIn(const textureLevel& l, const Reader& reader,
                                     const textureView* view, const metal::sampler& s, uint,
                                     bool linear) const {
        const imageTexels<Reader> texels{reader, view, l, reader.border(view, s)};
        const float p =
            pointOnAxis(c, offset, l.width, view->levels[0].width, s.coordinates, s.sAddress);
        const texelIndex row = {0, true};
        if constexpr (Reader::isBlended) {
            if (linear)
                return Reader::finished(
                    view, blendedRow(texels, footprintAt(l, s, float2(p, 0.5f)), row));
        }
        return Reader::finished(
            view, texels(addressed(int(metal::floor(p)), int(l.width), s.sAddress), row));
    }
};

struct place2d {
    using Offset = int2;
    float2 c;
    int2 offset = int2(0);

    float2 pointIn(const textureLevel& l, const textureView* view, const metal::sampler& s) const {
        const textureLevel& l0 = view->levels[0];
        return {pointOnAxis(c.x, offset.x, l.width, l0.width, s.coordinates, s.sAddress),
                pointOnAxis(c.y, offset.y, l.height, l0.height, s.coordinates, s.tAddress)};
    }
    template <class Reader, class Use>
    auto withFootprintIn(const textureLevel& l, const Reader& reader, const textureView* view,
                         const metal::sampler& s, uint, const Use& use, bool inside = true) const {
        const imageTexels<Reader> texels{reader, view, l, reader.border(view, s), inside};
        return use(texels, footprintAt(l, s, pointIn(l, view, s)));
    }
    template <class Reader>
    typename Reader::Value sampledIn(const textureLevel& l, const Reader& reader,
                                     const textureView* view, const metal::sampler& s, uint,
                                     bool linear, bool inside = true) const {
        if constexpr (Reader::isBlended) {
            if (linear)
                return Reader::finished(view,
                                        withFootprintIn(l, reader, view, s, 0, blend{}, inside));
        }
        const imageTexels<Reader> texels{reader, view, l, reader.border(view, s), inside};
        return Reader::finished(view, nearest(texels, l, s, pointIn(l, view, s)));
    }
};

struct place3d {
    using Offset = int3;
    float3 c;
    int3 offset = int3(0);

    template <class Reader>
    typename Reader::Value sampled(const Reader& reader, const textureView* view,
                                   const metal::sampler& s, uint level, bool linear) const {
        using Value = typename Reader::Value;
        const int depth = int(view->slices[level].count);
        const float z = pointOnAxis(c.z, offset.z, uint(depth), view->slices[0].count,
                                    s.coordinates, s.rAddress);
        const place2d inPlane = {c.xy, offset.xy};
        if (!Reader::isBlended || !linear) {
            const texelIndex plane = addressed(int(metal::floor(z)), depth, s.rAddress);
            return inPlane.sampledIn(sliceOf(view, level, uint(plane.at)), reader, view, s, level,
                                     linear, plane.inside);
        }
        if constexpr (Reader::isBlended) {
            const float z0 = metal::floor(z - 0.5f);
            Value sum(0);
            float weight = 1.0f;
#pragma clang loop unroll(disable)
            for (int i = 0; i < 2; ++i) {
                const texelIndex plane = addressed(int(z0) + i, depth, s.rAddress);
                const Value here = inPlane.sampledIn(sliceOf(view, level, uint(plane.at)), reader,
                                                     view, s, level, true, plane.inside);
                sum += (here - sum) * weight;
                weight = z - 0.5f - z0;
            }
            return sum;
        }
        return Value(0);
    }
};

/// Where a direction meets a cube: the face, and its coordinates there from -1 to 1.
struct pointOfCube {
    int face;
    float s, t;
};
inline pointOfCube onCube(const float3& direction) {
    const float3 size = metal::fabs(direction);
    const bool isX = size.x >= size.y && size.x >= size.z;
    const bool isY = !isX && size.y >= size.z;
    const float major = isX ? direction.x : isY ? direction.y : direction.z;
    const bool isNegative = major < 0.0f;
    const float s = isX ? (isNegative ? direction.z : -direction.z)
                        : (!isY && isNegative ? -direction.x : direction.x);
    const float t = isY ? (isNegative ? -direction.z : direction.z) : -direction.y;
    const float scale = 1.0f / metal::fabs(major);
    return {(isX ? 0 : isY ? 2 : 4) + int(isNegative), s * scale, t * scale};
}
inline float3 directionOf(int face, float s, float t) {
    switch (face) {
    case 0:
        return {1.0f, -t, -s};
    case 1:
        return {-1.0f, -t, s};
    case 2:
        return {s, 1.0f, t};
    case 3:
        return {s, -1.0f, -t};
    case 4:
        return {s, -t, 1.0f};
    default:
        return {-s, -t, -1.0f};
    }
}

/// The texels of a cube around those of one face. Their indices count from the texel beyond the
/// left and upper edge. That lies on the neighbouring face; there is none beyond a corner, where
/// the corner's own texel counts twice.
template <class Reader>
struct cubeTexels {
    using Value = typename Reader::Value;

    Value operator()(texelIndex x, texelIndex y) const {
        const int size = int(level.width);
        const int last = size - 1;
        const int column = x.at - 1;
        const int row = y.at - 1;
        const int ownColumn = metal::min(metal::max(column, 0), last);
        const int ownRow = metal::min(metal::max(row, 0), last);
        if ((ownColumn == column) == (ownRow == row))
            return texel(face, ownColumn, ownRow);
        const float step = 1.0f / float(size);
        const pointOfCube p = onCube(directionOf(face, float(2 * column + 1) * step - 1.0f,
                                                 float(2 * row + 1) * step - 1.0f));
        const float half = 0.5f * float(size);
        return texel(p.face, metal::min(metal::max(int((p.s + 1.0f) * half), 0), last),
                     metal::min(metal::max(int((p.t + 1.0f) * half), 0), last));
    }
    Value texel(int onFace, int x, int y) const {
        const textureLevel image = {level.pixels + uint(onFace) * bytesPerFace, level.width,
                                    level.height, level.bytesPerRow};
        return reader.texel(view, image, x, y);
    }

    Reader reader;
    const textureView* view;
    textureLevel level; // its first face
    ulong bytesPerFace;
    int face;
};

/// In the direction `c` from the centre. The address modes of the sampler do not matter.
struct placeCube {
    float3 c;

    template <class Reader, class Use>
    auto withFootprintIn(const textureLevel& l, const Reader& reader, const textureView* view,
                         const metal::sampler&, uint level, const Use& use) const {
        constexpr metal::sampler toEdge;
        const pointOfCube p = onCube(c);
        const cubeTexels<Reader> texels{reader, view, l, view->slices[level].bytesPerSlice, p.face};
        // An image with one more texel on each side.
        const textureLevel wider = {l.pixels, l.width + 2, l.height + 2, l.bytesPerRow};
        return use(texels, footprintAt(wider, toEdge, pointIn(l, p) + 1.0f));
    }
    template <class Reader>
    typename Reader::Value sampledIn(const textureLevel& l, const Reader& reader,
                                     const textureView* view, const metal::sampler& s, uint level,
                                     bool linear) const {
        if constexpr (Reader::isBlended) {
            if (linear)
                return Reader::finished(view, withFootprintIn(l, reader, view, s, level, blend{}));
        }
        const pointOfCube p = onCube(c);
        const float2 point = pointIn(l, p);
        const int last = int(l.width) - 1;
        const cubeTexels<Reader> texels{reader, view, l, view->slices[level].bytesPerSlice, p.face};
        return Reader::finished(view, texels.texel(p.face, metal::min(int(point.x), last),
                                                   metal::min(int(point.y), last)));
    }

private:
    /// Within the face, also where the direction is none.
    static float2 pointIn(const textureLevel& l, const pointOfCube& p) {
        const float size = float(int(l.width));
        return {metal::fmin(metal::fmax((p.s + 1.0f) * 0.5f * size, 0.0f), size),
                metal::fmin(metal::fmax((p.t + 1.0f) * 0.5f * size, 0.0f), size)};
    }
};

/// A texture of one image, or of the six of a cube.
template <class Place>
struct single : Place {
    single(const Place& place) : Place(place) {}

    template <class Reader>
    typename Reader::Value sampled(const Reader& reader, const textureView* view,
                                   const metal::sampler& s, uint level, bool linear) const {
        return this->sampledIn(view->levels[level], reader, view, s, level, linear);
    }
    template <class Reader, class Use>
    auto withFootprint(const Reader& reader, const textureView* view, const metal::sampler& s,
                       uint level, const Use& use) const {
        return this->withFootprintIn(view->levels[level], reader, view, s, level, use);
    }
};

/// An array of such.
template <class Place, uint imagesOfElement = 1>
struct layered : Place {
    uint layer;
    layered(const Place& place, uint l) : Place(place), layer(l) {}

    template <class Reader>
    typename Reader::Value sampled(const Reader& reader, const textureView* view,
                                   const metal::sampler& s, uint level, bool linear) const {
        return this->sampledIn(element(view, level), reader, view, s, level, linear);
    }
    template <class Reader, class Use>
    auto withFootprint(const Reader& reader, const textureView* view, const metal::sampler& s,
                       uint level, const Use& use) const {
        return this->withFootprintIn(element(view, level), reader, view, s, level, use);
    }

private:
    textureLevel element(const textureView* view, uint level) const {
        return sliceOf(view, level, clampedLayer(view, layer) * imagesOfElement);
    }
};

// The level of detail that a program asks for. Where there are no derivatives, as in kernels, the
// level without a bias is 0.

template <class Place>
inline float lodOf(const textureView*, const metal::sampler&, const Place&, metal::level l) {
    return l.lod;
}
template <class Place>
inline float lodOf(const textureView*, const metal::sampler&, const Place&, metal::bias b) {
    return b.value;
}
template <class Place>
inline float lodOf(const textureView*, const metal::sampler&, const Place&,
                   metal::min_lod_clamp l) {
    return l.lod;
}
/// The level at which the longer of the two steps, in texels of level 0, is one texel. Anisotropic
/// filtering is done as isotropic.
template <class Steps>
inline float lodOfSteps(const Steps& dx, const Steps& dy) {
    return 0.5f * metal::log2(metal::fmax(metal::dot(dx, dx), metal::dot(dy, dy)));
}
template <class Place>
inline float lodOf(const textureView* view, const metal::sampler& s, const Place&,
                   const metal::gradient2d& g) {
    if (view == nullptr)
        return 0.0f;
    const float2 size =
        s.coordinates == metal::coord::pixel
            ? float2(1.0f)
            : float2(float(int(view->levels[0].width)), float(int(view->levels[0].height)));
    return lodOfSteps(g.dPdx * size, g.dPdy * size);
}
template <class Place>
inline float lodOf(const textureView* view, const metal::sampler& s, const Place&,
                   const metal::gradient3d& g) {
    if (view == nullptr)
        return 0.0f;
    const textureLevel& l = view->levels[0];
    const float3 size =
        s.coordinates == metal::coord::pixel
            ? float3(1.0f)
            : float3(float(int(l.width)), float(int(l.height)), float(int(view->slices[0].count)));
    return lodOfSteps(g.dPdx * size, g.dPdy * size);
}
/// The step on the face that a step of the direction makes.
inline float2 stepOnCube(const float3& direction, const float3& step, const pointOfCube& p) {
    const int axis = p.face / 2;
    const float3 size = metal::fabs(direction);
    const float major = axis == 0 ? size.x : axis == 1 ? size.y : size.z;
    const float outward = (axis == 0   ? step.x
                           : axis == 1 ? step.y
                                       : step.z) *
                          ((p.face & 1) != 0 ? -1.0f : 1.0f);
    const bool isNegative = (p.face & 1) != 0;
    const float s =
        axis == 0 ? (isNegative ? step.z : -step.z) : (axis == 2 && isNegative ? -step.x : step.x);
    const float t = axis == 1 ? (isNegative ? -step.z : step.z) : -step.y;
    return float2(s - p.s * outward, t - p.t * outward) * (0.5f / major);
}
template <class Place>
inline float lodOf(const textureView* view, const metal::sampler&, const Place& place,
                   const metal::gradientcube& g) {
    if (view == nullptr)
        return 0.0f;
    const pointOfCube p = onCube(place.c);
    const float size = float(int(view->levels[0].width));
    return lodOfSteps(stepOnCube(place.c, g.dPdx, p) * size, stepOnCube(place.c, g.dPdy, p) * size);
}
template <class Place, class Lod>
inline float lodOf(const textureView* view, const metal::sampler& s, const Place& place,
                   const Lod& lod, metal::min_lod_clamp least) {
    return metal::fmax(lodOf(view, s, place, lod), least.lod);
}

} // namespace __sl42

#pragma clang attribute pop
#pragma clang attribute pop
