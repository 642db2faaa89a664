// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/FunctionConstantValues.h"

namespace gpu {

std::size_t sizeOf(DataType type) {
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

void FunctionConstantValues::setConstantValue(std::uint32_t index, DataType type,
                                              const void* value) {
    ConstantValue constant{type, {}};
    std::memcpy(constant.bytes.data(), value, sizeOf(type));
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
