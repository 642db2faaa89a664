// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Barriers of a threadgroup. One worker runs all vectors of the threadgroup in turn, so a vector
// that waits has to leave and be resumed: the body of the loop over vectors is taken apart at each
// barrier. There it keeps what lives across in a frame of its vector, notes where it is, and goes
// on to the next vector. The loop begins again until every vector has come to its end.
//
// Nothing depends on whether all vectors wait at the same barrier, or all threads of a vector:
// a barrier waits until no vector can go on without it.
#pragma once

#include "compute/host/loop/ThreadLoop.h"
#include "platform/base/Result.h"

#include <string_view>

namespace compute::host {

/// Bytes of the frame of one vector; 0 when there are no barriers. Frames lie one after the other
/// at KernelMemory::vectors, for as many vectors as the largest
/// threadgroup has. Fails, naming the kernel, when the frames of a threadgroup would be too large.
platform::Result<std::uint64_t> splitAtBarriers(const ThreadLoop& loop, std::string_view kernel);

} // namespace compute::host
