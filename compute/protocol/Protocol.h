// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Everything that console and compute service say to each other, declared once. Each message lists
// its fields; encoding and decoding (compute/protocol/Codec.h) derive from that list, and the
// limits stated in the types are checked by whoever receives. Ids are given by the console, are
// never used twice, and keep their meaning when the service is started again.
#pragma once

#include "compute/types/ConstantValue.h"
#include "compute/types/Extent.h"
#include "compute/types/Fingerprint.h"
#include "compute/types/Parameter.h"
#include "compute/types/PixelFormat.h"
#include "compute/types/Sampler.h"
#include "compute/types/TextureType.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <string>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

namespace compute::protocol {

/// An id of one kind of object, so that a buffer's id is never taken for a texture's.
template <class Tag>
struct Id {
    std::uint64_t value = 0;
    auto operator<=>(const Id&) const = default;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.value);
    }
};
using BufferId = Id<struct BufferTag>;
using TextureId = Id<struct TextureTag>;
using LibraryId = Id<struct LibraryTag>;
using PipelineId = Id<struct PipelineTag>;
using JobId = Id<struct JobTag>;         ///< one command buffer
using RequestId = Id<struct RequestTag>; ///< one question to the compiler

/// Text of at most `Max` bytes.
template <std::size_t Max>
struct Text : std::string {
    static constexpr std::size_t maxSize = Max;
    Text() = default;
    Text(std::string text) : std::string(std::move(text)) {}
};

/// At most `Max` elements. The memory comes from where its maker says.
template <class T, std::size_t Max>
struct List : std::pmr::vector<T> {
    static constexpr std::size_t maxSize = Max;
    using std::pmr::vector<T>::vector;
};

inline constexpr std::size_t maxSourceBytes = 16u << 20;
/// Compiler messages are cut here, so that every reply fits one socket message.
inline constexpr std::size_t maxMessageBytes = 100'000;
inline constexpr std::size_t maxNameBytes = 512;
inline constexpr std::size_t maxKernels = 64;
inline constexpr std::size_t maxParameters = 128;
inline constexpr std::size_t maxConstants = 256;
inline constexpr std::size_t maxInlineBytes = 4096;
// A command buffer of all that these allow fits one message.
inline constexpr std::size_t maxCommands = 1u << 16;
inline constexpr std::size_t maxJobBindings = 1u << 18;
inline constexpr std::size_t maxJobBytes = 8u << 20;
inline constexpr std::uint32_t maxTextureExtent = 16384;
inline constexpr std::uint32_t maxTextureSlices = 2048; ///< of arrays and 3D textures; cubes count
inline constexpr std::uint32_t maxTextureSamples = 16;
inline constexpr std::uint32_t maxBufferTexels = 1u << 26; ///< of a texture buffer

using Name = Text<maxNameBytes>;
using Message = Text<maxMessageBytes>;

// ---- values -------------------------------------------------------------------------------------

/// Largest enumerator of an enum that travels; the decoder refuses anything above.
template <class Enum>
inline constexpr Enum lastOf = Enum{};

template <>
inline constexpr PixelFormat lastOf<PixelFormat> = PixelFormat::RGBA32Sint;

template <>
inline constexpr TexelKind lastOf<TexelKind> = TexelKind::Signed;

template <>
inline constexpr TextureType lastOf<TextureType> = TextureType::Buffer;

template <>
inline constexpr CoordinateKind lastOf<CoordinateKind> = CoordinateKind::Pixel;

template <>
inline constexpr Filter lastOf<Filter> = Filter::Linear;

template <>
inline constexpr MipFilter lastOf<MipFilter> = MipFilter::Linear;

template <>
inline constexpr AddressMode lastOf<AddressMode> = AddressMode::ClampToBorder;

template <>
inline constexpr BorderColor lastOf<BorderColor> = BorderColor::OpaqueWhite;

template <>
inline constexpr CompareFunction lastOf<CompareFunction> = CompareFunction::Always;

template <>
inline constexpr DataType lastOf<DataType> = DataType::Float4;

template <>
inline constexpr ParameterKind lastOf<ParameterKind> =
    ParameterKind::DispatchQuadgroupsPerThreadgroup;

template <>
inline constexpr Access lastOf<Access> = Access::ReadWrite;

struct Parameter {
    Name name;
    ParameterKind kind = ParameterKind::Buffer;
    std::uint32_t index = 0;
    Access access = Access::ReadWrite; ///< known for pipelines only
    std::uint32_t count = 1;           ///< of an array of textures or samplers
    TextureType textureType = TextureType::D2;
    TexelKind texels = TexelKind::Color;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.name, self.kind, self.index, self.access, self.count, self.textureType,
                        self.texels);
    }
};
using Parameters = List<Parameter, maxParameters>;

struct Kernel {
    Name name;
    Parameters parameters;
    Name unsupported; ///< why it cannot run, though it compiles; empty when it can

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.name, self.parameters, self.unsupported);
    }
};
using Kernels = List<Kernel, maxKernels>;

struct Constant {
    std::uint32_t index = 0;
    ConstantValue value;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.index, self.value);
    }
};
using Constants = List<Constant, maxConstants>;

/// A function constant that a program declares.
struct ConstantDeclaration {
    Name name;
    std::uint32_t index = 0;
    DataType type = DataType::Int;
    bool isOptional = false; ///< a function can be made without a value

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.name, self.index, self.type, self.isOptional);
    }
};
using ConstantDeclarations = List<ConstantDeclaration, maxConstants>;

// ---- commands -----------------------------------------------------------------------------------

struct BufferBinding {
    std::uint32_t index = 0;
    BufferId buffer;
    std::uint64_t offset = 0;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.index, self.buffer, self.offset);
    }
};

/// A part of the bytes that come with the command buffer, bound as a buffer.
struct InlineBinding {
    std::uint32_t index = 0;
    std::uint32_t offset = 0;
    std::uint32_t length = 0; ///< at most maxInlineBytes

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.index, self.offset, self.length);
    }
};

struct TextureBinding {
    std::uint32_t index = 0;
    TextureId texture;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.index, self.texture);
    }
};

struct SamplerBinding {
    std::uint32_t index = 0;
    Sampler sampler;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.index, self.sampler);
    }
};

// What argument buffers hold: these write into the argument by value at `index`, `offset` bytes
// from its start. They come after it.

/// The address of a place in a buffer.
struct BufferAddress {
    std::uint32_t index = 0;
    std::uint32_t offset = 0;
    BufferId buffer;
    std::uint64_t bufferOffset = 0;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.index, self.offset, self.buffer, self.bufferOffset);
    }
};

struct TextureAddress {
    std::uint32_t index = 0;
    std::uint32_t offset = 0;
    TextureId texture;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.index, self.offset, self.texture);
    }
};

/// The sampler itself.
struct SamplerValue {
    std::uint32_t index = 0;
    std::uint32_t offset = 0;
    Sampler sampler;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.index, self.offset, self.sampler);
    }
};

/// Memory that each threadgroup has for itself.
struct ThreadgroupBinding {
    std::uint32_t index = 0;
    std::uint32_t length = 0;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.index, self.length);
    }
};

using Binding = std::variant<BufferBinding, InlineBinding, TextureBinding, SamplerBinding,
                             BufferAddress, TextureAddress, SamplerValue, ThreadgroupBinding>;

struct Dispatch {
    PipelineId pipeline;
    Extent threads;
    Extent threadsPerThreadgroup;
    std::uint32_t bindings = 0; ///< so many of the command buffer's are for this one
    // Only threads from `begin` to before `end` along x are run.
    std::uint32_t begin = 0;
    std::uint32_t end = 0;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.pipeline, self.threads, self.threadsPerThreadgroup, self.bindings,
                        self.begin, self.end);
    }
};

struct Fill {
    BufferId buffer;
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
    std::uint8_t value = 0;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.buffer, self.offset, self.length, self.value);
    }
};

/// The two ranges may overlap.
struct Copy {
    BufferId source;
    std::uint64_t sourceOffset = 0;
    BufferId destination;
    std::uint64_t destinationOffset = 0;
    std::uint64_t length = 0;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.source, self.sourceOffset, self.destination, self.destinationOffset,
                        self.length);
    }
};

struct GenerateMipmaps {
    TextureId texture;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.texture);
    }
};

using Command = std::variant<Dispatch, Fill, Copy, GenerateMipmaps>;

// ---- from the console to the service ------------------------------------------------------------

/// Comes with the descriptor of the memory, which is `length` bytes long.
struct RegisterBuffer {
    BufferId buffer;
    std::uint64_t length = 0;
    /// Only kernels and blits reach it, so that it can be kept elsewhere while the service runs.
    bool isPrivate = false;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.buffer, self.length, self.isPrivate);
    }
};

struct ReleaseBuffer {
    BufferId buffer;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.buffer);
    }
};

/// Comes with the descriptor of the memory, which is `length` bytes long. Level 0 starts at
/// `offset`; compute/protocol/TextureLayout.h says where the others are.
struct RegisterTexture {
    TextureId texture;
    std::uint64_t length = 0;
    std::uint64_t offset = 0;
    std::uint64_t bytesPerRow = 0;
    TextureShape shape;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.texture, self.length, self.offset, self.bytesPerRow, self.shape);
    }
};

struct ReleaseTexture {
    TextureId texture;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.texture);
    }
};

struct CompileLibrary {
    RequestId request;
    LibraryId library;
    Text<maxSourceBytes> source;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.request, self.library, self.source);
    }
};

struct ReleaseLibrary {
    LibraryId library;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.library);
    }
};

/// Comes with the descriptor of memory for what a driver makes of the kernel, where the console
/// keeps that (compute/protocol/CodeRecord.h).
struct MakePipeline {
    RequestId request;
    PipelineId pipeline;
    LibraryId library;
    Name function;
    Constants constants;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.request, self.pipeline, self.library, self.function, self.constants);
    }
};

/// Nobody waits for the answer any more. There is one all the same, sooner if possible.
struct CancelRequest {
    RequestId request;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.request);
    }
};

struct ReleasePipeline {
    PipelineId pipeline;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.pipeline);
    }
};

/// One command buffer. Jobs run one after the other, in the order of their messages.
struct RunCommands {
    JobId job;
    List<Command, maxCommands> commands;
    /// Those of the first dispatch, then those of the second and so on: in one list, so that a
    /// message which is decoded over an earlier one needs no memory.
    List<Binding, maxJobBindings> bindings;
    List<std::byte, maxJobBytes> bytes;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.job, self.commands, self.bindings, self.bytes);
    }
};

/// The kernel that is running takes too long: the service writes where it stands into the status
/// page and ends.
struct ReportPlace {
    JobId job; ///< nothing is reported when it is done meanwhile

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.job);
    }
};

/// Nothing more comes: the service does the jobs that it has, writes private memory back and ends.
struct Finish {
    template <class Self>
    static auto fields(Self&) {
        return std::tuple<>();
    }
};

using Request = std::variant<RegisterBuffer, ReleaseBuffer, RegisterTexture, ReleaseTexture,
                             CompileLibrary, ReleaseLibrary, MakePipeline, CancelRequest,
                             ReleasePipeline, RunCommands, ReportPlace, Finish>;

// ---- from the service to the console ------------------------------------------------------------

/// The service is warm and locked down.
struct Ready {
    std::uint32_t version = 0;
    /// How many questions to the compiler can be answered at the same time; 1 to maxCompileThreads.
    std::uint32_t compileThreads = 0;
    Name device; ///< what kernels run on, for people
    /// Tells apart drivers that cannot use what the other one has made of a kernel. Empty when what
    /// kernels run on has nothing that is worth keeping.
    Name driver;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.version, self.compileThreads, self.device, self.driver);
    }
};
inline constexpr std::uint32_t protocolVersion = 10;
/// As many as the console ever has to ask: three stages of a program and the display.
inline constexpr std::uint32_t maxCompileThreads = 4;
/// So many cancelled questions may go on beside those that somebody waits for.
inline constexpr std::uint32_t maxCancelledRequests = 8;

struct LibraryCompiled {
    RequestId request;
    bool succeeded = false;
    Message message; ///< the compiler's error, or its warnings
    Kernels kernels;
    ConstantDeclarations constants;
    double frontEndMilliseconds = 0;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.request, self.succeeded, self.message, self.kernels, self.constants,
                        self.frontEndMilliseconds);
    }
};

struct PipelineMade {
    RequestId request;
    bool succeeded = false;
    Message message;
    Parameters parameters;
    Fingerprint fingerprint; ///< of the machine code
    double optimiserMilliseconds = 0;
    double codeGenerationMilliseconds = 0;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.request, self.succeeded, self.message, self.parameters,
                        self.fingerprint, self.optimiserMilliseconds,
                        self.codeGenerationMilliseconds);
    }
};

struct JobDone {
    JobId job;
    bool succeeded = false;
    Message message; ///< why a command could not be carried out
    double milliseconds = 0;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.job, self.succeeded, self.message, self.milliseconds);
    }
};

using Reply = std::variant<Ready, LibraryCompiled, PipelineMade, JobDone>;

} // namespace compute::protocol
