// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The threads that run kernels, and where in a program's text they stand. What is asked of a
// thread that may never come back is found out in signal handlers.
#pragma once

#include "compute/host/locations/SourceLocations.h"
#include "compute/protocol/StatusPage.h"

namespace compute::service {

/// The calling thread will run kernels for the rest of the process.
void addKernelThread();

/// While it exists, what kernel threads run is the kernel with these places; null: nobody knows
/// them. One at a time.
class RunningKernel {
public:
    explicit RunningKernel(const host::SourceLocations* places);
    ~RunningKernel();
    RunningKernel(const RunningKernel&) = delete;
    RunningKernel& operator=(const RunningKernel&) = delete;
};

/// To be called by a signal handler on a kernel thread, with what it was given: writes where the
/// thread stands into the page. Writes no lines when that is not known.
void writePlace(const void* context, protocol::StatusPage& page);

/// Has kernel threads answer the signal of writeHangingPlace(). Once, before the lock-down.
void answerForPlaces();

/// To be called by the handler of SIGTRAP. False when the calling thread was not being followed.
bool followThisThread(void* context);

/// Looks several times where the kernel threads stand, follows one of them for a while, and writes
/// into the page the innermost loop that it did not leave meanwhile, or else its last place. Takes
/// up to 80 ms.
void writeHangingPlace(protocol::StatusPage& page);

} // namespace compute::service
