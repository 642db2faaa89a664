// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The types and values of function constants, `[[function_constant(n)]]`.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <tuple>

namespace compute {

/// Types that a function constant can have.
enum class DataType : std::uint8_t { Bool, Char, UChar, Short, UShort, Int, UInt, Half, Float };

/// Size in bytes of a constant of that type; bool takes one, half two.
constexpr std::size_t sizeOf(DataType type) {
    switch (type) {
    case DataType::Bool:
    case DataType::Char:
    case DataType::UChar:
        return 1;
    case DataType::Short:
    case DataType::UShort:
    case DataType::Half:
        return 2;
    case DataType::Int:
    case DataType::UInt:
    case DataType::Float:
        return 4;
    }
    return 0;
}

/// As the shading language spells it.
constexpr const char* nameOf(DataType type) {
    switch (type) {
    case DataType::Bool:
        return "bool";
    case DataType::Char:
        return "char";
    case DataType::UChar:
        return "uchar";
    case DataType::Short:
        return "short";
    case DataType::UShort:
        return "ushort";
    case DataType::Int:
        return "int";
    case DataType::UInt:
        return "uint";
    case DataType::Half:
        return "half";
    case DataType::Float:
        return "float";
    }
    return "unknown";
}

/// The first sizeOf(type) bytes, as the device lays them out.
struct ConstantValue {
    DataType type = DataType::Int;
    std::array<std::byte, 4> bytes{};
    bool operator==(const ConstantValue&) const = default;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.type, self.bytes);
    }
};

/// By the index of their declaration.
using ConstantValues = std::map<std::uint32_t, ConstantValue>;

} // namespace compute
