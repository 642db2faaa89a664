// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Developers' tool: how long the kernels in some files take to become shaders, how many
// instructions those have, and whether they keep the rules. No device is needed.
//
//     starloom-shader-bench FILE...          programs of the shading language
//     starloom-shader-bench FILE.spv...      counts the instructions of other modules
//     starloom-shader-bench --device vulkan FILE...
//
// The last has a driver compile them, too, for what its device has, and says how long that took; it
// may be a driver without a device, since nothing is run.
//
// With SL42_DUMP=DIR, the code after each pass and the module as text.
#include "compute/kernel/Dump.h"
#include "compute/metal/Frontend.h"
#include "compute/spirv/ShaderBackend.h"
#include "compute/spirv/Validation.h"
#include "compute/vulkan/VulkanDevice.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>

namespace {

using namespace compute;

/// What drivers of today's desktop processors have.
constexpr spirv::Features features{.float16 = false,
                                   .float64 = true,
                                   .int64Atomics = true,
                                   .preservesNan = true,
                                   .roundsToEven = true,
                                   .descriptors = true};

/// Of functions: what comes before the first one only describes.
unsigned instructionsOf(std::span<const std::uint32_t> words) {
    constexpr std::uint32_t function = 54; // OpFunction
    constexpr std::size_t header = 5;
    unsigned count = 0;
    bool isInside = false;
    for (std::size_t at = header; at < words.size() && words[at] >> 16 != 0;
         at += words[at] >> 16) {
        isInside |= (words[at] & 0xffff) == function;
        count += isInside ? 1 : 0;
    }
    return count;
}

bool report(const std::string& name, std::span<const std::uint32_t> words) {
    const auto valid = spirv::validate(words);
    std::printf("%-24s %6u instructions  %7zu bytes  %s\n", name.c_str(), instructionsOf(words),
                words.size_bytes(), valid ? "valid" : valid.error().message.c_str());
    return valid.hasValue();
}

[[noreturn]] void endWith(const char* message) {
    std::fprintf(stderr, "%s\n", message);
    std::_Exit(1);
}

/// Function constants that no value is given for are 0.
ConstantValues constantsOf(const kernel::Program& program) {
    ConstantValues values;
    for (const kernel::ConstantDeclaration& constant : program.constants)
        values[constant.index] = {.type = constant.type, .bytes = {}};
    return values;
}

/// Has the driver make a pipeline, for a threadgroup of a usual size.
bool compile(vulkan::VulkanDevice& device, const std::string& name,
             spirv::TranslatedKernel& translated) {
    KernelDescription description;
    description.name = name;
    description.parameters = std::move(translated.parameters);
    const auto start = std::chrono::steady_clock::now();
    auto made = device.makeKernel(std::move(description), translated.shader);
    if (made && translated.shader.runsInGroups) {
        const auto& kernel = static_cast<const vulkan::VulkanKernel&>(**made);
        if (const auto pipeline = kernel.pipelineFor({.workgroup = {{64, 1, 1}}}); !pipeline)
            made = pipeline.error();
    }
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    std::printf("%7.2f ms  ", took.count());
    if (!made)
        std::printf("%s\n", made.error().message.c_str());
    return made.hasValue();
}

bool translateAll(const std::string& text, const kernel::CompilerOptions& options,
                  const kernel::Dump* dump, vulkan::VulkanDevice* device) {
    const auto program = metal::compile(text);
    if (!program) {
        std::fprintf(stderr, "%s\n", program.error().message.c_str());
        return false;
    }
    bool allWell = true;
    for (const kernel::KernelDeclaration& declaration : program->kernels) {
        auto made = spirv::translate(
            *program, declaration.name, constantsOf(*program),
            device != nullptr ? device->logical().physical().features : features, options, dump);
        if (!made) {
            std::printf("%-24s %s\n", declaration.name.c_str(), made.error().message.c_str());
            allWell = false;
            continue;
        }
        std::printf("%7.2f + %6.2f ms  ", made->optimiserMilliseconds,
                    made->translationMilliseconds);
        if (device == nullptr || compile(*device, declaration.name, *made))
            allWell &= report(declaration.name, made->shader.words);
        else
            allWell = false;
    }
    return allWell;
}

} // namespace

int main(int argc, char** argv) {
    const auto options = kernel::CompilerOptions::fromEnvironment();
    std::optional<kernel::Dump> dump;
    if (options && !options->dumpFolder.empty())
        if (auto made = kernel::Dump::create(options->dumpFolder))
            dump = *std::move(made);
    metal::warmUp();
    bool allWell = options.hasValue();
    std::shared_ptr<vulkan::VulkanDevice> device;
    const int firstFile = argc > 2 && std::string_view(argv[1]) == "--device" ? 3 : 1;
    if (firstFile > 1) {
        auto deviceOptions = vulkan::optionsOfEnvironment(endWith);
        deviceOptions.onlyCompiles = true;
        auto made = vulkan::VulkanDevice::create(argv[2], deviceOptions);
        if (!made)
            endWith(made.error().message.c_str());
        device = *std::move(made);
    }
    for (int i = firstFile; i < argc && allWell; ++i) {
        std::ifstream file(argv[i], std::ios::binary);
        std::stringstream content;
        content << file.rdbuf();
        const std::string text = content.str();
        if (std::string_view(argv[i]).ends_with(".spv")) {
            std::vector<std::uint32_t> words(text.size() / sizeof(std::uint32_t));
            std::memcpy(words.data(), text.data(), words.size() * sizeof(std::uint32_t));
            report(argv[i], words);
        } else {
            allWell = translateAll(text, *options, dump ? &*dump : nullptr, device.get());
        }
    }
    return allWell ? 0 : 1;
}
