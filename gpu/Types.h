// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The small value types of the compute interface. Those that the device shares with it are declared
// in compute/types and go by their names here, too.
#pragma once

#include "compute/types/ConstantValue.h"
#include "compute/types/Extent.h"
#include "compute/types/Fingerprint.h"
#include "compute/types/Parameter.h"
#include "compute/types/PixelFormat.h"
#include "compute/types/Sampler.h"
#include "compute/types/TextureType.h"
#include "platform/base/Result.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace gpu {

using platform::Error;
using platform::Result;

using compute::Access;
using compute::AddressMode;
using compute::BorderColor;
using compute::CompareFunction;
using compute::CoordinateKind;
using compute::DataType;
using compute::Extent;
using compute::Filter;
using compute::Fingerprint;
using compute::maxBuffers;
using compute::maxSamplers;
using compute::maxTextures;
using compute::MipFilter;
using compute::ParameterKind;
using compute::PixelFormat;
using compute::Sampler;
using compute::TextureType;

/// A range of bytes.
struct Range {
    std::size_t offset = 0;
    std::size_t length = 0;
};

enum class StorageMode : std::uint8_t {
    Shared,  ///< the host and the device see the same memory, without copies
    Private, ///< only kernels and blits reach it
};

/// One bound argument of a kernel, read from the program's own attributes.
struct Argument {
    std::string name;
    /// Buffer, texture or sampler.
    ParameterKind kind = ParameterKind::Buffer;
    std::uint32_t index = 0;
    /// Of an array of textures or samplers: so many indices from `index` on.
    std::uint32_t count = 1;
    TextureType textureType = TextureType::D2; ///< of a texture
    /// At most; known for pipeline states only, from their code.
    Access access = Access::ReadWrite;
};

/// Where the time of a compilation went, in milliseconds; zero for what came from a cache.
struct CompileTimes {
    double frontEnd = 0;
    double optimiser = 0;
    double codeGeneration = 0;
};

} // namespace gpu
