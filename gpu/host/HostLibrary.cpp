// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/HostLibrary.h"

#include "gpu/host/ServiceClient.h"

#include <algorithm>

namespace gpu::host {

namespace protocol = compute::protocol;

namespace {

protocol::Constants wireConstants(const FunctionConstantValues& constants) {
    protocol::Constants wire;
    for (const auto& [index, value] : constants.values())
        wire.push_back({index, static_cast<protocol::ConstantType>(value.type), value.bytes});
    return wire;
}
static_assert(static_cast<int>(DataType::Float) == static_cast<int>(protocol::ConstantType::Float));

} // namespace

Result<std::shared_ptr<Function>>
HostLibrary::makeFunction(std::string_view name, const FunctionConstantValues& constants) {
    const auto kernel = std::ranges::find_if(
        m_program->kernels, [&](const protocol::Kernel& k) { return k.name == name; });
    if (kernel == m_program->kernels.end())
        return Error{"There is no kernel '" + std::string(name) + "' in the library"};
    auto wire = wireConstants(constants);
    if (wire.size() > protocol::maxConstants)
        return Error{"Too many function constants"};
    SL42_TRY_VOID(m_program->client->check(m_program, kernel->name, wire));
    return std::shared_ptr<Function>(
        std::make_shared<HostFunction>(m_program, *kernel, std::move(wire)));
}

HostFunction::HostFunction(std::shared_ptr<Program> program, const protocol::Kernel& kernel,
                           protocol::Constants constants)
    : m_program(std::move(program)), m_name(kernel.name), m_constants(std::move(constants)) {
    for (const protocol::Parameter& parameter : kernel.parameters) {
        switch (parameter.kind) {
        case protocol::ParameterKind::Buffer:
            m_arguments.push_back({parameter.name, ArgumentKind::Buffer, parameter.index});
            break;
        case protocol::ParameterKind::Texture:
            m_arguments.push_back({parameter.name, ArgumentKind::Texture, parameter.index});
            break;
        case protocol::ParameterKind::Sampler:
            m_arguments.push_back({parameter.name, ArgumentKind::Sampler, parameter.index});
            break;
        case protocol::ParameterKind::BuiltIn:
            break;
        }
    }
}

} // namespace gpu::host
