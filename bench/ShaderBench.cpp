// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Developers' tool: how long the kernels in some files take to become shaders, how many
// instructions those have, and whether they keep the rules. No device is needed.
//
//     starloom-shader-bench FILE...          programs of the shading language
//     starloom-shader-bench FILE.spv...      counts the instructions of other modules
//
// With SL42_DUMP=DIR, the code after each pass and the module as text.
#include "compute/kernel/Dump.h"
#include "compute/metal/Frontend.h"
#include "compute/spirv/ShaderBackend.h"
#include "compute/spirv/Validation.h"

#include <cstdio>
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

bool translateAll(const std::string& text, const kernel::CompilerOptions& options,
                  const kernel::Dump* dump) {
    const auto program = metal::compile(text);
    if (!program) {
        std::fprintf(stderr, "%s\n", program.error().message.c_str());
        return false;
    }
    bool allWell = true;
    for (const kernel::KernelDeclaration& declaration : program->kernels) {
        const auto made = spirv::translate(*program, declaration.name, {}, features, options, dump);
        if (!made) {
            std::printf("%-24s %s\n", declaration.name.c_str(), made.error().message.c_str());
            allWell = false;
            continue;
        }
        std::printf("%7.2f + %6.2f ms  ", made->optimiserMilliseconds,
                    made->translationMilliseconds);
        allWell &= report(declaration.name, made->shader.words);
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
    for (int i = 1; i < argc && allWell; ++i) {
        std::ifstream file(argv[i], std::ios::binary);
        std::stringstream content;
        content << file.rdbuf();
        const std::string text = content.str();
        if (std::string_view(argv[i]).ends_with(".spv")) {
            std::vector<std::uint32_t> words(text.size() / sizeof(std::uint32_t));
            std::memcpy(words.data(), text.data(), words.size() * sizeof(std::uint32_t));
            report(argv[i], words);
        } else {
            allWell = translateAll(text, *options, dump ? &*dump : nullptr);
        }
    }
    return allWell ? 0 : 1;
}
