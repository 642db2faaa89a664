// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Memory layout of a sampler argument: that of the shading language's sampler object
// (stdlib/sl42_sampler.h), which a kernel copies.
#pragma once

#include "compute/types/Sampler.h"

#include <cstddef>

namespace compute {

struct alignas(8) SamplerRecord {
    CoordinateKind coordinates{};
    Filter minFilter{};
    Filter magFilter{};
    MipFilter mipFilter{};
    AddressMode sAddress{};
    AddressMode tAddress{};
    AddressMode rAddress{};
    BorderColor border{};
    float lodMinimum = 0;
    float lodMaximum = 0;
    CompareFunction compare{};
    bool isArgument = true;
    std::uint8_t unused[6]{};
};
static_assert(sizeof(SamplerRecord) == 24);

inline SamplerRecord recordOf(const Sampler& s) {
    return {s.coordinates, s.minFilter, s.magFilter, s.mipFilter,  s.sAddress,
            s.tAddress,    s.rAddress,  s.border,    s.lodMinimum, s.lodMaximum,
            s.compare,     true,        {}};
}

} // namespace compute
