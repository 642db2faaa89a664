// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/pipeline/Passes.h"

#include "compute/kernel/passes/AdoptTarget.h"
#include "compute/kernel/passes/BindParameters.h"
#include "compute/kernel/passes/BoundIndices.h"
#include "compute/kernel/passes/ClampIndices.h"
#include "compute/kernel/passes/DefineArithmetic.h"
#include "compute/kernel/passes/FoldInitialisers.h"
#include "compute/kernel/passes/MergeBytes.h"
#include "compute/kernel/passes/PreserveLines.h"
#include "compute/kernel/passes/Promote.h"
#include "compute/kernel/passes/ShapeControlFlow.h"
#include "compute/kernel/passes/SpecialiseConstants.h"
#include "compute/kernel/passes/WidenHalf.h"
#include "compute/kernel/sharing/ChooseShared.h"
#include "compute/kernel/sharing/EliminateArguments.h"
#include "compute/kernel/sharing/InlineCalls.h"
#include "compute/kernel/sharing/PartialInlining.h"
#include "compute/kernel/sharing/PromoteArguments.h"
#include "compute/kernel/sharing/SimplifyFunctions.h"

#include <array>

namespace compute::kernel {

std::span<const Pass> passes() {
    static constexpr auto table = std::to_array<Pass>({
        {"specialiseConstants", specialiseConstants},
        {"bindParameters", bindParameters},
        {"clampIndices", clampIndices},
        {"adoptTarget", adoptTarget},
        {"defineArithmetic", defineArithmetic},
        {"simplifyFunctions", simplifyFunctions},
        {"inlinePartially", inlinePartially},
        {"chooseShared", chooseShared},
        {"promoteArguments", promoteArguments},
        {"inlineCalls", inlineCalls},
        {"eliminateArguments", eliminateArguments},
        {"foldInitialisers", foldInitialisers},
        {"boundIndices", boundIndices},
        {"promote", promote},
        {"mergeBytes", mergeBytes},
        {"widenHalf", widenHalf},
        {"shapeControlFlow", shapeControlFlow},
        {"preserveLines", preserveLines},
    });
    return table;
}

} // namespace compute::kernel
