// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Messages to bytes and back. Numbers are stored as the processor stores them, since both ends run
// on it; lists and texts carry a 32-bit count, variants the index of their alternative. The decoder
// accepts exactly what the encoder can produce: counts within the limits of the type, enumerators
// that exist, finite numbers, booleans of 0 or 1, and nothing left over.
#pragma once

#include "compute/protocol/Protocol.h"

#include <cmath>
#include <concepts>
#include <cstring>
#include <optional>
#include <span>
#include <type_traits>

namespace compute::protocol {

template <class T>
concept Described = requires(T& value) { T::fields(value); };

template <class T>
concept Counted = requires {
    { T::maxSize } -> std::convertible_to<std::size_t>;
    typename T::value_type;
};

template <class T>
inline constexpr bool isVariant = false;
template <class... T>
inline constexpr bool isVariant<std::variant<T...>> = true;

template <class T>
inline constexpr bool isBlob =
    std::is_same_v<T, std::byte> || std::is_same_v<T, decltype(ConstantValue::bytes)>;

/// Index of the alternative T in a variant.
template <class T, class Variant>
inline constexpr std::size_t alternativeOf = 0;
template <class T, class... Rest>
inline constexpr std::size_t alternativeOf<T, std::variant<T, Rest...>> = 0;
template <class T, class First, class... Rest>
inline constexpr std::size_t alternativeOf<T, std::variant<First, Rest...>> =
    1 + alternativeOf<T, std::variant<Rest...>>;

class Encoder {
public:
    /// Appends to `out`.
    explicit Encoder(std::vector<std::byte>& out) : m_out(out) {}

    template <class T>
    void put(const T& value) {
        if constexpr (Described<T>)
            std::apply([this](const auto&... field) { (this->put(field), ...); }, T::fields(value));
        else if constexpr (Counted<T>)
            putCounted(value);
        else if constexpr (isVariant<T>)
            putVariant(value);
        else {
            static_assert(std::is_arithmetic_v<T> || std::is_enum_v<T> || isBlob<T>);
            putRaw(&value, sizeof value);
        }
    }
    void putRaw(const void* data, std::size_t size);

private:
    template <class T>
    void putCounted(const T& values) {
        put(static_cast<std::uint32_t>(values.size()));
        if constexpr (sizeof(typename T::value_type) == 1)
            putRaw(values.data(), values.size());
        else
            for (const auto& value : values)
                put(value);
    }
    template <class T>
    void putVariant(const T& value) {
        put(static_cast<std::uint8_t>(value.index()));
        std::visit([this](const auto& alternative) { this->put(alternative); }, value);
    }

    std::vector<std::byte>& m_out;
};

/// Reads from bytes that nobody vouches for. After the first violation everything fails.
class Decoder {
public:
    explicit Decoder(std::span<const std::byte> in) : m_in(in) {}

    bool atEnd() const { return m_in.empty(); }

    /// Uses the memory that `value` has.
    template <class T>
    [[nodiscard]] bool get(T& value) {
        if constexpr (Described<T>)
            return std::apply([this](auto&... field) { return (this->get(field) && ...); },
                              T::fields(value));
        else if constexpr (Counted<T>)
            return getCounted(value);
        else if constexpr (isVariant<T>)
            return getVariant(value, std::make_index_sequence<std::variant_size_v<T>>());
        else if constexpr (std::is_same_v<T, bool>)
            return getBool(value);
        else if constexpr (std::is_floating_point_v<T>)
            return getRaw(&value, sizeof value) && std::isfinite(value);
        else if constexpr (std::is_enum_v<T> && !std::is_same_v<T, std::byte>)
            return getRaw(&value, sizeof value) && value <= lastOf<T>;
        else {
            static_assert(std::is_unsigned_v<T> || isBlob<T>);
            return getRaw(&value, sizeof value);
        }
    }

private:
    bool getRaw(void* data, std::size_t size);
    bool getBool(bool& value);

    template <class T>
    bool getCounted(T& values) {
        std::uint32_t count = 0;
        // No element takes less than a byte, so a count beyond what is left is a lie.
        if (!get(count) || count > T::maxSize || count > m_in.size())
            return false;
        if constexpr (sizeof(typename T::value_type) == 1) {
            values.resize(count);
            return getRaw(values.data(), count);
        } else {
            values.clear();
            for (std::uint32_t i = 0; i < count; ++i)
                if (!get(values.emplace_back()))
                    return false;
            return true;
        }
    }
    template <class T, std::size_t... I>
    bool getVariant(T& value, std::index_sequence<I...>) {
        std::uint8_t index = 0;
        if (!get(index))
            return false;
        bool ok = false;
        ((index == I &&
          (ok = get(value.index() == I ? std::get<I>(value) : value.template emplace<I>()))),
         ...);
        return ok;
    }

    std::span<const std::byte> m_in;
};

/// Replaces `out` by the encoding of `message` as an alternative of Variant, without copying it
/// into one.
template <class Variant, class T>
void encodeAs(const T& message, std::vector<std::byte>& out) {
    static_assert(alternativeOf<T, Variant> < std::variant_size_v<Variant>);
    out.clear();
    Encoder encoder(out);
    encoder.put(static_cast<std::uint8_t>(alternativeOf<T, Variant>));
    encoder.put(message);
}

/// False when the bytes are not exactly one message. Uses the memory that `message` has.
template <class Variant>
[[nodiscard]] bool decodeInto(Variant& message, std::span<const std::byte> bytes) {
    Decoder decoder(bytes);
    return decoder.get(message) && decoder.atEnd();
}

/// Nothing when the bytes are not exactly one message.
template <class Variant>
std::optional<Variant> decode(std::span<const std::byte> bytes) {
    Variant message;
    if (!decodeInto(message, bytes))
        return std::nullopt;
    return message;
}

} // namespace compute::protocol
