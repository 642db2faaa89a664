// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/backend/GridRecord.h"

#include <algorithm>

namespace compute {

namespace {

/// Where an argument of so many bytes ends, which begins at `begin`.
std::uint32_t endOf(std::uint32_t begin, std::uint32_t bytes) {
    constexpr std::uint32_t alignment = 16;
    const std::uint64_t end =
        (std::uint64_t{begin} + bytes + alignment - 1) / alignment * alignment;
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(end, maxThreadgroupBytes));
}

} // namespace

GridRecord gridRecordOf(const Bindings& bindings, Extent grid, Extent threadsPerThreadgroup) {
    GridRecord record{grid, threadsPerThreadgroup};
    std::uint32_t end = 0;
    for (std::size_t i = 0; i < record.arguments.size(); ++i) {
        record.arguments[i] = end;
        end = endOf(end, bindings.threadgroupBytes[i]);
    }
    return record;
}

std::uint32_t threadgroupArgumentBytes(const Bindings& bindings) {
    std::uint32_t end = 0;
    for (const std::uint32_t bytes : bindings.threadgroupBytes)
        end = endOf(end, bytes);
    return end;
}

} // namespace compute
