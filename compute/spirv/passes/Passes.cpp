// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/Passes.h"

#include "compute/spirv/passes/AddEntryPoint.h"
#include "compute/spirv/passes/BreakOutOfLoops.h"
#include "compute/spirv/passes/ExpandMemory.h"
#include "compute/spirv/passes/ExpandOperations.h"
#include "compute/spirv/passes/Halfs.h"
#include "compute/spirv/passes/HideFloats.h"
#include "compute/spirv/passes/LowerPointers.h"
#include "compute/spirv/passes/LowerSimdgroups.h"
#include "compute/spirv/passes/ReloadBehindLoops.h"
#include "compute/spirv/passes/Simplify.h"
#include "compute/spirv/passes/Structurise.h"
#include "compute/spirv/passes/TestLoopsFirst.h"
#include "compute/spirv/passes/UnrollLoops.h"
#include "compute/spirv/passes/WidenAccesses.h"
#include "compute/spirv/passes/WidenIntegers.h"
#include "compute/spirv/passes/WidenViews.h"

#include <array>

namespace compute::spirv {

std::span<const ShaderPass> passes() {
    static constexpr auto table = std::to_array<ShaderPass>({
        {"expandMemory", expandMemory},
        {"lowerPointers", lowerPointers},
        {"addEntryPoint", addEntryPoint},
        {"lowerSimdgroups", lowerSimdgroups},
        {"lowerHalfs", lowerHalfs},
        {"simplify", simplify},
        {"unrollLoops", unrollLoops},
        {"expandOperations", expandOperations},
        {"widenIntegers", widenIntegers},
        {"hideFloats", hideFloats},
        {"removeRepeated", removeRepeated},
        {"widenAccesses", widenAccesses},
        {"widenViews", widenViews},
        {"testLoopsFirst", testLoopsFirst},
        {"structurise", structurise},
        {"reloadBehindLoops", reloadBehindLoops},
        {"breakOutOfLoops", breakOutOfLoops},
    });
    return table;
}

} // namespace compute::spirv
