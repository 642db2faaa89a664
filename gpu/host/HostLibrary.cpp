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
        wire.push_back({index, value});
    return wire;
}

/// Every constant that the program declares must have a value of its type.
Result<void> checkConstants(const protocol::ConstantDeclarations& declared,
                            const protocol::Constants& constants) {
    for (const protocol::ConstantDeclaration& constant : declared) {
        const auto found = std::ranges::find(constants, constant.index, &protocol::Constant::index);
        const std::string what = "function constant '" + constant.name + "' [[function_constant(" +
                                 std::to_string(constant.index) + ")]]";
        if (found == constants.end() && constant.isOptional)
            continue;
        if (found == constants.end())
            return Error{what + " has no value"};
        if (found->value.type != constant.type)
            return Error{what + " is declared " + nameOf(constant.type) + " but its value is " +
                         nameOf(found->value.type)};
    }
    return {};
}

/// Those parameters that something is bound to.
std::vector<Argument> bound(const protocol::Parameters& parameters) {
    std::vector<Argument> arguments;
    for (const protocol::Parameter& parameter : parameters)
        if (compute::isBound(parameter.kind))
            arguments.push_back({parameter.name, parameter.kind, parameter.index, parameter.count,
                                 parameter.textureType, parameter.access});
    return arguments;
}

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
    if (!kernel->unsupported.empty())
        return Error{"kernel '" + kernel->name + "': " + kernel->unsupported};
    SL42_TRY_VOID(checkConstants(m_program->constants, wire));
    return std::shared_ptr<Function>(
        std::make_shared<HostFunction>(m_program, *kernel, std::move(wire)));
}

HostFunction::HostFunction(std::shared_ptr<Program> program, const protocol::Kernel& kernel,
                           protocol::Constants constants)
    : m_program(std::move(program)),
      m_name(kernel.name),
      m_arguments(bound(kernel.parameters)),
      m_constants(std::move(constants)) {}

HostPipelineState::HostPipelineState(std::shared_ptr<Pipeline> pipeline, std::string label,
                                     const CompileTimes& times)
    : m_pipeline(std::move(pipeline)),
      m_label(std::move(label)),
      m_arguments(bound(m_pipeline->parameters)),
      m_times(times) {}

} // namespace gpu::host
