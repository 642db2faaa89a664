// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The parameters of a kernel, as the attributes of its declaration say them.
#pragma once

#include "compute/types/TextureType.h"

#include <cstdint>
#include <string>

namespace compute {

/// How a kernel parameter gets its value: it is bound, or it tells where the thread stands.
enum class ParameterKind : std::uint8_t {
    Buffer,            ///< pointer or reference, `[[buffer(n)]]`
    Texture,           ///< `[[texture(n)]]`
    Sampler,           ///< `[[sampler(n)]]`
    ThreadgroupMemory, ///< pointer or reference, `[[threadgroup(n)]]`
    ThreadPositionInGrid,
    ThreadsPerGrid,
    ThreadPositionInThreadgroup,
    ThreadgroupPositionInGrid,
    ThreadsPerThreadgroup,
    ThreadgroupsPerGrid,
    ThreadIndexInThreadgroup,
    ThreadIndexInSimdgroup,
    SimdgroupIndexInThreadgroup,
    SimdgroupsPerThreadgroup,
    ThreadsPerSimdgroup,
    ThreadIndexInQuadgroup,
    QuadgroupIndexInThreadgroup,
    QuadgroupsPerThreadgroup,
    DispatchThreadsPerThreadgroup,
    DispatchSimdgroupsPerThreadgroup,
    DispatchQuadgroupsPerThreadgroup,
};

/// Whether whoever dispatches the kernel binds something to such a parameter.
constexpr bool isBound(ParameterKind kind) {
    return kind == ParameterKind::Buffer || kind == ParameterKind::Texture ||
           kind == ParameterKind::Sampler || kind == ParameterKind::ThreadgroupMemory;
}

/// Highest counts of arguments that one kernel can bind.
inline constexpr std::uint32_t maxBuffers = 31;
inline constexpr std::uint32_t maxTextures = 128;
inline constexpr std::uint32_t maxSamplers = 16;
inline constexpr std::uint32_t maxThreadgroupMemories = 31;
/// Bytes that the arguments of a threadgroup may take together, each rounded up to 16.
inline constexpr std::uint32_t maxThreadgroupBytes = 32768;
/// Threads of a threadgroup, for kernels whose threads work together.
inline constexpr std::uint32_t maxThreadsOfGroup = 1024;

/// How many arguments of a kind that is bound a kernel can have.
constexpr std::uint32_t maxArguments(ParameterKind kind) {
    return kind == ParameterKind::Texture             ? maxTextures
           : kind == ParameterKind::Sampler           ? maxSamplers
           : kind == ParameterKind::ThreadgroupMemory ? maxThreadgroupMemories
                                                      : maxBuffers;
}

/// What a kernel does with a buffer or texture: bit 0 to read it, bit 1 to write it.
enum class Access : std::uint8_t { None, Read, Write, ReadWrite };

constexpr bool reads(Access access) {
    return (static_cast<unsigned>(access) & 1U) != 0;
}
constexpr bool writes(Access access) {
    return (static_cast<unsigned>(access) & 2U) != 0;
}

struct Parameter {
    std::string name;
    ParameterKind kind = ParameterKind::Buffer;
    /// Of the binding; for buffers, textures and samplers only.
    std::uint32_t index = 0;
    /// Of an array of textures or samplers: so many indices from `index` on.
    std::uint32_t count = 1;
    /// Of a texture.
    TextureType textureType = TextureType::D2;
    TexelKind texels = TexelKind::Color;
    /// For the thread attributes: 1 to 3 components of 2 or 4 bytes. One component is passed
    /// directly, more are passed as a pointer to the vector (three take the room of four).
    std::uint8_t components = 1;
    std::uint8_t componentBytes = 4;
    /// At most; known once the kernel is canonical.
    Access access = Access::ReadWrite;
};

} // namespace compute
