// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// All programs that come with the console become valid shaders.
#include "SL42/builder/Assembly.h"
#include "compute/metal/Frontend.h"
#include "compute/spirv/ShaderBackend.h"
#include "compute/spirv/Validation.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

using namespace compute;

std::vector<std::filesystem::path> programsIn(const char* folder) {
    std::vector<std::filesystem::path> paths;
    const std::filesystem::path root = std::getenv("SL42_SOURCE_DIR");
    for (const auto& entry : std::filesystem::directory_iterator(root / folder))
        if (entry.path().extension() == ".metal")
            paths.push_back(entry.path());
    std::ranges::sort(paths);
    return paths;
}

std::string textOf(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

/// Those of the console's own function constants.
ConstantValues constantsOf(const kernel::Program& program) {
    ConstantValues values;
    for (const kernel::ConstantDeclaration& constant : program.constants)
        values[constant.index] = {.type = constant.type, .bytes = {}};
    return values;
}

constexpr spirv::Features modest{.float64 = true, .int64Atomics = true};
constexpr spirv::Features rich{.float16 = true,
                               .float64 = true,
                               .int64Atomics = true,
                               .floatAtomicAdd = true,
                               .preservesNan = true,
                               .roundsToEven = true,
                               .descriptors = true,
                               .subgroupThreads = 32};

void translateFor(const spirv::Features& features, const kernel::Program& program,
                  const std::filesystem::path& path) {
    for (const kernel::KernelDeclaration& declaration : program.kernels) {
        const auto made = spirv::translate(program, declaration.name, constantsOf(program),
                                           features, *kernel::CompilerOptions::fromEnvironment());
        if (!made) {
            ADD_FAILURE() << path << " " << declaration.name << ": " << made.error().message;
            continue;
        }
        const auto valid = spirv::validate(made->shader.words);
        EXPECT_TRUE(valid) << path << " " << declaration.name << ": " << valid.error().message;
    }
}

void translateAll(const std::filesystem::path& path, const std::string& text) {
    const auto program = metal::compile(text);
    ASSERT_TRUE(program) << path << program.error().message;
    translateFor(modest, *program, path);
    translateFor(rich, *program, path);
}

TEST(Examples, BecomeShaders) {
    for (const auto& path : programsIn("examples")) {
        const std::string source = textOf(path);
        platform::Log log([](std::string_view) {});
        const auto preprocessed = starloom::preprocessSource(source, log, [](const auto&) {});
        translateAll(path, starloom::assembleProgram(source, preprocessed));
    }
}

TEST(Benchmarks, BecomeShaders) {
    for (const auto& path : programsIn("bench"))
        translateAll(path, textOf(path));
}

} // namespace
