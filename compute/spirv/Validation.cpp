// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/Validation.h"

#include <spirv-tools/libspirv.hpp>

namespace compute::spirv {

platform::Result<void> validate(std::span<const std::uint32_t> words) {
    spvtools::SpirvTools tools(SPV_ENV_VULKAN_1_2);
    std::string message;
    tools.SetMessageConsumer(
        [&](spv_message_level_t, const char*, const spv_position_t& at, const char* text) {
            message += (message.empty() ? "" : "\n") + std::to_string(at.index) + ": " + text;
        });
    if (tools.Validate(words.data(), words.size()))
        return {};
    return platform::Error{"invalid shader: " + message};
}

std::string disassemble(std::span<const std::uint32_t> words) {
    const spvtools::SpirvTools tools(SPV_ENV_VULKAN_1_2);
    std::string text;
    const std::vector<std::uint32_t> copy(words.begin(), words.end());
    if (!tools.Disassemble(copy, &text,
                           SPV_BINARY_TO_TEXT_OPTION_FRIENDLY_NAMES |
                               SPV_BINARY_TO_TEXT_OPTION_INDENT))
        return "; not a module\n";
    return text;
}

} // namespace compute::spirv
