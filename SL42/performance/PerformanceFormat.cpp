// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/performance/PerformanceFormat.h"

#include "platform/base/Fnv.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <type_traits>

namespace starloom::performance {
namespace {

static_assert(std::endian::native == std::endian::little, "numbers are written as they stand");

enum Part : std::uint8_t {
    IsReset = 1,
    SongPlays = 2,
    HasKeyboard = 4,
    HasMouse = 8,
    HasSpectrum = 16,
};

template <class T>
    requires std::is_trivially_copyable_v<T>
void put(std::string& contents, const T& value) {
    contents.append(reinterpret_cast<const char*>(&value), sizeof value);
}

template <class T>
    requires std::is_trivially_copyable_v<T>
bool take(std::string_view& contents, T& value) {
    if (contents.size() < sizeof value)
        return false;
    std::memcpy(&value, contents.data(), sizeof value);
    contents.remove_prefix(sizeof value);
    return true;
}

template <class T>
bool isSame(const T& a, const T& b) {
    return std::memcmp(&a, &b, sizeof a) == 0; // what is not a number is the same, too
}

using FlagBits = std::array<std::uint8_t, keyCount / 8>;

FlagBits toBits(const KeyFlags& flags) {
    FlagBits bits{};
    for (std::size_t key = 0; key < keyCount; ++key)
        if (flags[key])
            bits[key / 8] = static_cast<std::uint8_t>(bits[key / 8] | 1U << key % 8);
    return bits;
}

KeyFlags toFlags(const FlagBits& bits) {
    KeyFlags flags{};
    for (std::size_t key = 0; key < keyCount; ++key)
        flags[key] = (bits[key / 8] >> key % 8 & 1) != 0;
    return flags;
}

/// Bytes other than 0 and 1 would be no flags.
struct MouseRecord {
    std::array<float, 2> location{};
    std::array<std::uint8_t, 4> flags{};
};

MouseRecord toRecord(const MtlMouseDataStruct& mouse) {
    return {
        mouse.location,
        {mouse.leftMouseDown, mouse.rightMouseDown, mouse.leftMouseClick, mouse.rightMouseClick}};
}

MtlMouseDataStruct toMouse(const MouseRecord& record) {
    return {record.location, record.flags[0] != 0, record.flags[1] != 0, record.flags[2] != 0,
            record.flags[3] != 0};
}

bool takeKeyboard(std::string_view& contents, KeyboardState& keyboard) {
    FlagBits state{};
    FlagBits pressed{};
    if (!take(contents, state) || !take(contents, pressed))
        return false;
    keyboard = {.state = toFlags(state), .pressed = toFlags(pressed)};
    return true;
}

bool takeMouse(std::string_view& contents, MtlMouseDataStruct& mouse) {
    MouseRecord record;
    if (!take(contents, record))
        return false;
    mouse = toMouse(record);
    return true;
}

} // namespace

std::string encodeRecord(RecordKind kind, std::string_view contents) {
    std::string record;
    record.reserve(headLength + contents.size() + checksumLength);
    put(record, kind);
    put(record, static_cast<std::uint32_t>(contents.size()));
    record += contents;
    put(record, platform::fnv1a32(std::as_bytes(std::span(record))));
    return record;
}

std::string encodeFrame(const PerformanceFrame& frame, const FrameState& before) {
    const FrameState& state = frame.state;
    const bool hasKeyboard = !isSame(state.keyboard, before.keyboard);
    const bool hasMouse = !isSame(toRecord(state.mouse), toRecord(before.mouse));
    const bool hasSpectrum = !isSame(state.spectrum, before.spectrum);
    std::string contents;
    put(contents, frame.clock);
    put(contents, state.time);
    put(contents, state.sample);
    put(contents, static_cast<std::uint8_t>(
                      (frame.isReset ? IsReset : 0) | (frame.songPlays ? SongPlays : 0) |
                      (hasKeyboard ? HasKeyboard : 0) | (hasMouse ? HasMouse : 0) |
                      (hasSpectrum ? HasSpectrum : 0)));
    if (hasKeyboard) {
        put(contents, toBits(state.keyboard.state));
        put(contents, toBits(state.keyboard.pressed));
    }
    if (hasMouse)
        put(contents, toRecord(state.mouse));
    if (hasSpectrum)
        put(contents, state.spectrum);
    return contents;
}

std::optional<PerformanceFrame> decodeFrame(std::string_view contents, const FrameState& before) {
    PerformanceFrame frame{.state = before};
    std::uint8_t parts = 0;
    if (!take(contents, frame.clock) || !take(contents, frame.state.time) ||
        !take(contents, frame.state.sample) || !take(contents, parts))
        return std::nullopt;
    frame.isReset = (parts & IsReset) != 0;
    frame.songPlays = (parts & SongPlays) != 0;
    if ((parts & HasKeyboard) != 0 && !takeKeyboard(contents, frame.state.keyboard))
        return std::nullopt;
    if ((parts & HasMouse) != 0 && !takeMouse(contents, frame.state.mouse))
        return std::nullopt;
    if ((parts & HasSpectrum) != 0 && !take(contents, frame.state.spectrum))
        return std::nullopt;
    // Written so that what is not a number is refused, too.
    if (!contents.empty() || !(frame.clock >= 0 && frame.clock <= longestPerformance) ||
        !std::isfinite(frame.state.time))
        return std::nullopt;
    return frame;
}

} // namespace starloom::performance
