// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How a texture is filtered and continued beyond its edges, for samplers that are bound. The
// enumerators have the order of those of the shading language, whose sampler objects hold them.
#pragma once

#include <cstdint>
#include <tuple>

namespace compute {

enum class CoordinateKind : std::uint8_t { Normalized, Pixel };
enum class Filter : std::uint8_t { Nearest, Linear };
enum class MipFilter : std::uint8_t { None, Nearest, Linear };
enum class AddressMode : std::uint8_t {
    ClampToZero,
    ClampToEdge,
    Repeat,
    MirroredRepeat,
    ClampToBorder
};
enum class BorderColor : std::uint8_t { TransparentBlack, OpaqueBlack, OpaqueWhite };
enum class CompareFunction : std::uint8_t {
    Never,
    Less,
    LessEqual,
    Greater,
    GreaterEqual,
    Equal,
    NotEqual,
    Always
};

struct Sampler {
    CoordinateKind coordinates = CoordinateKind::Normalized;
    Filter minFilter = Filter::Nearest;
    Filter magFilter = Filter::Nearest;
    MipFilter mipFilter = MipFilter::None;
    AddressMode sAddress = AddressMode::ClampToEdge;
    AddressMode tAddress = AddressMode::ClampToEdge;
    AddressMode rAddress = AddressMode::ClampToEdge;
    BorderColor border = BorderColor::TransparentBlack;
    CompareFunction compare = CompareFunction::Never;
    float lodMinimum = 0;
    float lodMaximum = 1000;
    bool operator==(const Sampler&) const = default;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.coordinates, self.minFilter, self.magFilter, self.mipFilter,
                        self.sAddress, self.tAddress, self.rAddress, self.border, self.compare,
                        self.lodMinimum, self.lodMaximum);
    }
};

} // namespace compute
