// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The types and values of function constants, `[[function_constant(n)]]`.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>

namespace compute {

/// Types that a function constant can have. Those with as many components stand together, always in
/// the order of the scalars.
enum class DataType : std::uint8_t {
    // clang-format off
    Bool, Char, UChar, Short, UShort, Int, UInt, Half, Float,
    Bool2, Char2, UChar2, Short2, UShort2, Int2, UInt2, Half2, Float2,
    Bool3, Char3, UChar3, Short3, UShort3, Int3, UInt3, Half3, Float3,
    Bool4, Char4, UChar4, Short4, UShort4, Int4, UInt4, Half4, Float4,
    // clang-format on
};

/// The type of each component.
constexpr DataType scalarOf(DataType type) {
    return DataType(std::uint8_t(type) % std::uint8_t(DataType::Bool2));
}

/// From 1 to 4.
constexpr std::size_t componentsOf(DataType type) {
    return std::uint8_t(type) / std::uint8_t(DataType::Bool2) + 1;
}

/// `count` components, from 1 to 4, of a scalar.
constexpr DataType vectorOf(DataType scalar, std::size_t count) {
    return DataType(std::uint8_t(scalar) + std::uint8_t(DataType::Bool2) * (count - 1));
}

/// Size in bytes of a constant of that type: a bool takes one, a half two, three components as much
/// as four.
constexpr std::size_t sizeOf(DataType type) {
    const std::size_t places = componentsOf(type) == 3 ? 4 : componentsOf(type);
    switch (scalarOf(type)) {
    case DataType::Bool:
    case DataType::Char:
    case DataType::UChar:
        return places;
    case DataType::Short:
    case DataType::UShort:
    case DataType::Half:
        return 2 * places;
    default:
        return 4 * places;
    }
}

/// As the shading language spells it.
inline std::string nameOf(DataType type) {
    constexpr std::array names{"bool", "char", "uchar", "short", "ushort",
                               "int",  "uint", "half",  "float"};
    const std::size_t count = componentsOf(type);
    return names[std::size_t(scalarOf(type))] + (count > 1 ? std::to_string(count) : "");
}

/// The first sizeOf(type) bytes, as the device lays them out; the others are zero.
struct ConstantValue {
    DataType type = DataType::Int;
    std::array<std::byte, 16> bytes{};
    bool operator==(const ConstantValue&) const = default;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.type, self.bytes);
    }
};

/// By the index of their declaration.
using ConstantValues = std::map<std::uint32_t, ConstantValue>;

} // namespace compute
