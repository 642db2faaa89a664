// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The shaders of shaders/, as the compiler would hand them over.
#pragma once

#include "compute/spirv/ShaderInterface.h"

#include <cstdint>

namespace test {

compute::spirv::Shader countShader();
compute::spirv::Shader doubleShader();
compute::spirv::Shader followShader();
compute::spirv::Shader groupSumShader();
compute::spirv::Shader slowShader();
compute::spirv::Shader subgroupSumShader(std::uint32_t subgroupThreads);
compute::spirv::Shader wildShader();

} // namespace test
