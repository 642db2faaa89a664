// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Values for the `[[function_constant(n)]]` declarations of a library.
#pragma once

#include "gpu/Types.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <map>
#include <type_traits>

namespace gpu {

/// One constant: its type and its bytes as the device lays them out (bool is one byte, half two).
struct ConstantValue {
    DataType type = DataType::Int;
    std::array<std::byte, 4> bytes{};
    bool operator==(const ConstantValue&) const = default;
};

/// A plain value; setting an index again replaces what was there.
class FunctionConstantValues {
public:
    void setConstantValue(std::uint32_t index, DataType type, const void* value);
    void setBool(std::uint32_t index, bool value);
    void setChar(std::uint32_t index, std::int8_t value);

    const std::map<std::uint32_t, ConstantValue>& values() const { return m_values; }
    bool operator==(const FunctionConstantValues&) const = default;

private:
    std::map<std::uint32_t, ConstantValue> m_values;
};

/// Size in bytes of a constant of the given type.
std::size_t sizeOf(DataType type);

} // namespace gpu
