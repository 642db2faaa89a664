// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Values for the `[[function_constant(n)]]` declarations of a library.
#pragma once

#include "gpu/Types.h"

#include <cstdint>

namespace gpu {

/// A plain value; setting an index again replaces what was there.
class FunctionConstantValues {
public:
    /// A number, or the components of a vector one after the other.
    void setConstantValue(std::uint32_t index, DataType type, const void* value);
    void setBool(std::uint32_t index, bool value);
    void setChar(std::uint32_t index, std::int8_t value);

    const compute::ConstantValues& values() const { return m_values; }
    bool operator==(const FunctionConstantValues&) const = default;

private:
    compute::ConstantValues m_values;
};

} // namespace gpu
