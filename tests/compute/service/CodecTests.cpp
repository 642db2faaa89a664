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
    job.commands.push_back(Dispatch{{3}, {960, 540, 1}, {8, 8, 1}, 3, 64, 128});
    job.bindings = {BufferBinding{0, {11}, 64}, InlineBinding{2, 1, 4}, TextureBinding{2, {5}}};
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
    kernel.parameters.push_back({std::string("memory"), ParameterKind::Buffer, 0});
    library.kernels.push_back(kernel);
    library.constants.push_back({std::string("colorMode"), 0, DataType::Char});
    PipelineMade pipeline{.request = {2},
                          .succeeded = true,
                          .message = {},
                          .parameters = kernel.parameters,
                          .fingerprint = {1, 2}};
    return {encoded<Reply>(Ready{protocolVersion, 2}), encoded<Reply>(library),
            encoded<Reply>(pipeline),
            encoded<Reply>(JobDone{.job = {9}, .message = std::string("no")})};
}

TEST(Codec, JobsSurviveTheTrip) {
    const auto request = decode<Request>(encoded<Request>(exampleJob()));
    ASSERT_TRUE(request);
    const auto& job = std::get<RunCommands>(*request);
    EXPECT_EQ(encoded<Request>(job), encoded<Request>(exampleJob()));
    EXPECT_EQ(std::get<Dispatch>(job.commands.at(0)).threads.height, 540u);
    EXPECT_EQ(std::get<TextureBinding>(job.bindings.at(2)).texture.value, 5u);
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
    EXPECT_TRUE(refuses(u8(9), DataType::Bool)) << "an enumerator after the last";
    EXPECT_TRUE(refuses(u8(200), Command{})) << "an alternative after the last";
    EXPECT_TRUE(refuses(u32(0xFFFFFFFF), Name{})) << "a count without content";
    EXPECT_TRUE(refuses([](Encoder& e) { e.put(Text<2000>(std::string(513, 'x'))); }, Name{}))
        << "a name over its limit";
    for (const double value :
         {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()})
        EXPECT_TRUE(refuses([&](Encoder& e) { e.put(value); }, 0.0));
}

TEST(TextureLayout, RefusesWhatMakesNoSense) {
    const auto rgba = PixelFormat::RGBA8Unorm;
    EXPECT_TRUE(layOut(rgba, 5, 3, 3, 0, 20));
    EXPECT_FALSE(layOut(rgba, 5, 3, 4, 0, 20)) << "more levels than halvings";
    EXPECT_FALSE(layOut(rgba, 5, 3, 1, 0, 19)) << "rows that overlap";
    EXPECT_FALSE(layOut(rgba, 0, 3, 1, 0, 20));
    EXPECT_FALSE(layOut(rgba, 1u << 30, 1u << 30, 1, 0, ~0ull)) << "sizes that overflow";
    EXPECT_FALSE(layOut(rgba, 5, 3, 1, ~0ull, 20));
    const auto layout = layOut(rgba, 5, 3, 3, 128, 32);
    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->levels[1].offset, 256u) << "128 + 2 rows of 32 + 20 bytes, rounded up to 64";
    EXPECT_EQ(layout->levels[2].width, 1u);
    EXPECT_EQ(layout->end, layout->levels[2].offset + 4);
}

} // namespace
