// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/Arguments.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace bench {
namespace {

constexpr std::uint32_t frameIndex = 1;
constexpr std::size_t resultBytes = 64U << 20;
constexpr std::size_t otherBytes = 16U << 20;

} // namespace

Arguments::Arguments(std::span<const compute::Parameter> parameters, const Words& words)
    : m_takesFrame(!words.contains(frameIndex)) {
    const auto memories = static_cast<std::uint32_t>(std::max<std::ptrdiff_t>(
        1, std::ranges::count(parameters, compute::ParameterKind::ThreadgroupMemory,
                              &compute::Parameter::kind)));
    for (const compute::Parameter& parameter : parameters) {
        if (parameter.kind == compute::ParameterKind::ThreadgroupMemory)
            m_bindings.threadgroupBytes[parameter.index] =
                compute::maxThreadgroupBytes / memories / 16 * 16;
        if (parameter.kind != compute::ParameterKind::Buffer)
            continue;
        auto& buffer = m_buffers[parameter.index];
        buffer.resize(parameter.index == 0 ? resultBytes : otherBytes);
        m_bindings.buffers[parameter.index] = buffer.data();
    }
    for (const auto& [index, values] : words)
        if (const auto buffer = m_buffers.find(index); buffer != m_buffers.end())
            std::memcpy(buffer->second.data(), values.data(),
                        std::min(values.size() * sizeof(values[0]), buffer->second.size()));
}

const compute::Bindings& Arguments::forFrame(const Frame& frame) {
    const auto buffer = m_buffers.find(frameIndex);
    if (m_takesFrame && buffer != m_buffers.end())
        std::memcpy(buffer->second.data(), &frame, sizeof(frame));
    return m_bindings;
}

} // namespace bench
