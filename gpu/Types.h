// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The small value types of the compute interface.
#pragma once

#include "platform/base/Result.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

namespace gpu {

using platform::Error;
using platform::Result;

/// Extent of a grid or of a thread group, in threads.
struct Size3 {
    std::uint32_t width = 1;
    std::uint32_t height = 1;
    std::uint32_t depth = 1;
    bool operator==(const Size3&) const = default;
};

/// A range of bytes.
struct Range {
    std::size_t offset = 0;
    std::size_t length = 0;
};

enum class StorageMode : std::uint8_t {
    Shared,  ///< the host and the device see the same memory, without copies
    Private, ///< only kernels and blits reach it
};

enum class PixelFormat : std::uint8_t { R8Unorm, RG8Unorm, RGBA8Unorm, RGBA16Float, RGBA32Float };

/// Size of one pixel in bytes.
constexpr std::size_t bytesPerPixel(PixelFormat format) {
    switch (format) {
    case PixelFormat::R8Unorm:
        return 1;
    case PixelFormat::RG8Unorm:
        return 2;
    case PixelFormat::RGBA8Unorm:
        return 4;
    case PixelFormat::RGBA16Float:
        return 8;
    case PixelFormat::RGBA32Float:
        return 16;
    }
    return 0;
}

/// Types that a function constant can have; the numbers travel to the compute service.
enum class DataType : std::uint8_t { Bool, Char, UChar, Short, UShort, Int, UInt, Half, Float };

/// What a kernel argument binds to.
enum class ArgumentKind : std::uint8_t { Buffer, Texture, Sampler };

/// What a kernel does with an argument: bit 0 to read it, bit 1 to write it.
enum class Access : std::uint8_t { None, Read, Write, ReadWrite };

constexpr bool reads(Access access) {
    return (static_cast<unsigned>(access) & 1U) != 0;
}
constexpr bool writes(Access access) {
    return (static_cast<unsigned>(access) & 2U) != 0;
}

/// One bound argument of a kernel, read from the program's own attributes.
struct Argument {
    std::string name;
    ArgumentKind kind = ArgumentKind::Buffer;
    std::uint32_t index = 0;
    /// At most; known for pipeline states only, from their code.
    Access access = Access::ReadWrite;
};

/// Tells apart what was made from different things.
using Fingerprint = std::array<std::uint64_t, 2>;

/// Where the time of a compilation went, in milliseconds; zero for what came from a cache.
struct CompileTimes {
    double frontEnd = 0;
    double optimiser = 0;
    double codeGeneration = 0;
};

/// Highest counts of arguments that one kernel can bind.
inline constexpr std::uint32_t maxBuffers = 31;
inline constexpr std::uint32_t maxTextures = 31;

} // namespace gpu
