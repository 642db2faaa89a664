// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/FunctionConstantValues.h"

#include <cstring>

namespace gpu {

void FunctionConstantValues::setConstantValue(std::uint32_t index, DataType type,
                                              const void* value) {
    compute::ConstantValue constant{type, {}};
    const std::size_t component = compute::sizeOf(compute::scalarOf(type));
    std::memcpy(constant.bytes.data(), value, compute::componentsOf(type) * component);
    m_values[index] = constant;
}

void FunctionConstantValues::setBool(std::uint32_t index, bool value) {
    const std::uint8_t byte = value ? 1 : 0;
    setConstantValue(index, DataType::Bool, &byte);
}

void FunctionConstantValues::setChar(std::uint32_t index, std::int8_t value) {
    setConstantValue(index, DataType::Char, &value);
}

} // namespace gpu
