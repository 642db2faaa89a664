// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the decoder lets through: what the encoder made, and nothing else.
#include "compute/protocol/Codec.h"
#include "compute/protocol/TextureLayout.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

using namespace compute;
using namespace compute::protocol;

namespace {

using Bytes = std::vector<std::byte>;

template <class Variant, class T>
Bytes encoded(const T& message) {
    Bytes bytes;
    encodeAs<Variant>(message, bytes);
    return bytes;
}

RunCommands exampleJob() {
    RunCommands job;
    job.job = {7};
    job.commands.push_back(Dispatch{{3}, {960, 540, 1}, {8, 8, 1}, 7, 64, 128});
    const Sampler sampler{.magFilter = Filter::Linear,
                          .sAddress = AddressMode::Repeat,
                          .compare = CompareFunction::Less,
                          .lodMaximum = 3.5f};
    job.bindings = {BufferBinding{0, {11}, 64},   InlineBinding{2, 1, 4},
                    TextureBinding{2, {5}},       SamplerBinding{1, sampler},
                    BufferAddress{2, 8, {11}, 4}, TextureAddress{2, 16, {5}},
                    SamplerValue{2, 24, sampler}};
    job.bytes.resize(8, std::byte{2});
    job.commands.push_back(Fill{{11}, 0, 1024, 255});
    job.commands.push_back(Copy{{11}, 0, {12}, 8, 16});
    job.commands.push_back(GenerateMipmaps{{5}});
    return job;
}

std::vector<Bytes> exampleMessages() {
    LibraryCompiled library{.request = {1},
                            .succeeded = true,
                            .message = std::string("warning"),
                            .kernels = {},
                            .constants = {},
                            .frontEndMilliseconds = 12.5};
    Kernel kernel{std::string("video"), {}, {}};
    kernel.parameters.push_back({std::string("memory"), ParameterKind::Buffer});
    kernel.parameters.push_back({std::string("images"), ParameterKind::Texture, 2, Access::Read, 8,
                                 TextureType::CubeArray, TexelKind::Depth});
    library.kernels.push_back(kernel);
    library.constants.push_back({std::string("colorMode"), 0, DataType::Char});
    PipelineMade pipeline{.request = {2},
                          .succeeded = true,
                          .message = {},
                          .parameters = kernel.parameters,
                          .fingerprint = {1, 2}};
    return {encoded<Reply>(Ready{protocolVersion, 2, std::string("device"), std::string("driver")}),
            encoded<Reply>(library), encoded<Reply>(pipeline),
            encoded<Reply>(JobDone{.job = {9}, .message = std::string("no")})};
}

TEST(Codec, JobsSurviveTheTrip) {
    const auto request = decode<Request>(encoded<Request>(exampleJob()));
    ASSERT_TRUE(request);
    const auto& job = std::get<RunCommands>(*request);
    EXPECT_EQ(encoded<Request>(job), encoded<Request>(exampleJob()));
    EXPECT_EQ(std::get<Dispatch>(job.commands.at(0)).threads.height, 540u);
    EXPECT_EQ(std::get<TextureBinding>(job.bindings.at(2)).texture.value, 5u);
    EXPECT_EQ(std::get<SamplerValue>(job.bindings.at(6)).sampler.lodMaximum, 3.5f);
    EXPECT_EQ(std::get<Copy>(job.commands.at(2)).destinationOffset, 8u);
}

TEST(Codec, NoPrefixAndNoExtensionOfAMessageIsAMessage) {
    for (const Bytes& message : exampleMessages()) {
        EXPECT_TRUE(decode<Reply>(message));
        for (std::size_t length = 0; length < message.size(); ++length)
            EXPECT_FALSE(decode<Reply>(std::span(message).first(length))) << length;
        Bytes longer = message;
        longer.push_back({});
        EXPECT_FALSE(decode<Reply>(longer));
    }
}

TEST(Codec, WhateverIsDecodedKeepsItsLimits) {
    std::mt19937 random(42);
    for (const Bytes& message : exampleMessages()) {
        for (int round = 0; round < 20'000; ++round) {
            Bytes damaged = message;
            for (int changes = 0; changes < 3; ++changes)
                damaged[random() % damaged.size()] = static_cast<std::byte>(random());
            const auto reply = decode<Reply>(damaged);
            if (!reply)
                continue;
            // Every accepted message is one that could have been sent.
            const Bytes again = std::visit([](const auto& m) { return encoded<Reply>(m); }, *reply);
            EXPECT_EQ(again, damaged);
        }
    }
}

TEST(Codec, RefusesWhatTheTypesExclude) {
    Bytes bytes;
    const auto refuses = [&](const auto& encode, auto value) {
        bytes.clear();
        Encoder encoder(bytes);
        encode(encoder);
        return !Decoder(bytes).get(value);
    };
    const auto u32 = [](std::uint32_t v) { return [v](Encoder& e) { e.put(v); }; };
    const auto u8 = [](std::uint8_t v) { return [v](Encoder& e) { e.put(v); }; };
    EXPECT_TRUE(refuses(u8(2), false)) << "a boolean of 2";
    EXPECT_TRUE(refuses(u8(200), DataType::Bool)) << "an enumerator after the last";
    EXPECT_TRUE(refuses(u8(200), Command{})) << "an alternative after the last";
    EXPECT_TRUE(refuses(u32(0xFFFFFFFF), Name{})) << "a count without content";
    EXPECT_TRUE(refuses([](Encoder& e) { e.put(Text<2000>(std::string(513, 'x'))); }, Name{}))
        << "a name over its limit";
    for (const double value :
         {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()})
        EXPECT_TRUE(refuses([&](Encoder& e) { e.put(value); }, 0.0));
    EXPECT_TRUE(refuses([&](Encoder& e) { e.put(std::numeric_limits<float>::infinity()); }, 0.0f));
    EXPECT_TRUE(refuses(u8(10), TextureType::D1));
    EXPECT_TRUE(refuses(u32(12), PixelFormat::R8Unorm));
    const Sampler forged{.sAddress = static_cast<AddressMode>(5)};
    EXPECT_TRUE(refuses([&](Encoder& e) { e.put(forged); }, Sampler()));
}

TEST(TextureLayout, RefusesWhatMakesNoSense) {
    const TextureShape image{.width = 5, .height = 3, .levels = 3};
    const auto with = [&](auto change) {
        TextureShape shape = image;
        change(shape);
        return layOut(shape, 0, 20).has_value();
    };
    EXPECT_TRUE(layOut(image, 0, 20));
    EXPECT_FALSE(layOut(image, 0, 19)) << "rows that overlap";
    EXPECT_FALSE(layOut(image, ~0ull, 20));
    EXPECT_FALSE(layOut(image, 0, ~0ull));
    EXPECT_FALSE(with([](TextureShape& s) { s.levels = 4; })) << "more levels than halvings";
    EXPECT_FALSE(with([](TextureShape& s) { s.levels = 0; }));
    EXPECT_FALSE(with([](TextureShape& s) { s.width = 0; }));
    EXPECT_FALSE(with([](TextureShape& s) { s.width = s.height = 1u << 30; }));
    // An extent that the type does not have, or too much of it.
    EXPECT_FALSE(with([](TextureShape& s) { s.depth = 2; }));
    EXPECT_FALSE(with([](TextureShape& s) { s.arrayLength = 2; }));
    EXPECT_FALSE(with([](TextureShape& s) { s.samples = 2; }));
    EXPECT_FALSE(with([](TextureShape& s) { s.type = TextureType::D1; })) << "rows";
    EXPECT_FALSE(with([](TextureShape& s) { s.type = TextureType::Cube; })) << "not square";
    EXPECT_FALSE(with([](TextureShape& s) {
        s.type = TextureType::D2Array;
        s.arrayLength = ~0u;
    }));
    EXPECT_FALSE(with([](TextureShape& s) {
        s.type = TextureType::D3;
        s.depth = 0;
    }));
    EXPECT_FALSE(with([](TextureShape& s) { s.type = TextureType::D2Multisample; })) << "levels";
}

TEST(TextureLayout, PutsSlicesOfALevelSideBySide) {
    const auto plain = layOut({.width = 5, .height = 3, .levels = 3}, 128, 32);
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->levels[1].offset, 256u) << "128 + 2 rows of 32 + 20 bytes, rounded up to 64";
    EXPECT_EQ(plain->levels[2].width, 1u);
    EXPECT_EQ(plain->end, plain->levels[2].offset + 4);

    const auto cubes =
        layOut({.type = TextureType::CubeArray, .width = 4, .height = 4, .arrayLength = 3}, 0, 16);
    ASSERT_TRUE(cubes);
    EXPECT_EQ(cubes->levels[0].slices, 18u);
    EXPECT_EQ(cubes->end, 18u * 64);
    const auto volume =
        layOut({.type = TextureType::D3, .width = 4, .height = 2, .depth = 9, .levels = 4}, 0, 16);
    ASSERT_TRUE(volume);
    EXPECT_EQ(volume->levels[1].slices, 4u);
    EXPECT_EQ(volume->levels[3].slices, 1u);
    EXPECT_EQ(volume->end, volume->levels[3].offset + 4);
}

} // namespace
