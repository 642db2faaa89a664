// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/compute/vulkan/Shaders.h"

#include <cstdint>
#include <span>

#include "Count.h"
#include "Double.h"
#include "Follow.h"
#include "GroupSum.h"
#include "Slow.h"
#include "SubgroupSum.h"
#include "Wild.h"

namespace test {

using compute::spirv::Shader;

namespace {

Shader shaderOf(std::span<const std::uint32_t> words) {
    Shader shader;
    shader.words.assign(words.begin(), words.end());
    shader.entry = "main";
    return shader;
}

} // namespace

Shader countShader() {
    return shaderOf(wordsCount);
}

Shader doubleShader() {
    return shaderOf(wordsDouble);
}

Shader followShader() {
    Shader shader = shaderOf(wordsFollow);
    shader.followsPointers = true;
    return shader;
}

Shader slowShader() {
    return shaderOf(wordsSlow);
}

Shader subgroupSumShader(std::uint32_t subgroupThreads) {
    Shader shader = shaderOf(wordsSubgroupSum);
    shader.runsInGroups = true;
    shader.requirements.subgroupThreads = subgroupThreads;
    return shader;
}

Shader wildShader() {
    return shaderOf(wordsWild);
}

Shader groupSumShader() {
    Shader shader = shaderOf(wordsGroupSum);
    shader.runsInGroups = true;
    shader.groupBytes = 64;
    return shader;
}

} // namespace test
